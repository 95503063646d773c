#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/status.h"

// The Internet Config service: the table that maps file-name extensions to file types.
namespace tessary {

struct ICMapEntry {
  uint32_t fileType = 0;     // four-character code in host order, 0 for none
  std::u16string extension;  // as the table spells it, usually with its leading "."
};

// The mapping table as a preference value, owned by the caller.
using ICMapHandle = std::vector<ICMapEntry>;

// One use of the service. Ends with ICStop, or with the instance's lifetime.
struct ICInstance {
  uint32_t signature = 0;
  bool isStarted = false;
  bool isReading = false;
};

enum class ICPerm { icReadOnlyPerm = 1 };

// Starts an instance for the application with that signature. Returns noErr; paramErr (no
// instance).
Status ICStart(ICInstance* instance, uint32_t signature);

// Begins access to the preferences. Returns noErr; paramErr (an instance that was not started).
Status ICBegin(ICInstance* instance, ICPerm permission);

// Reads the preference "Mapping": the built-in table of classic types, followed by the lines of the
// user's file in their order. A malformed line is skipped. Returns noErr; fnfErr (another
// preference); paramErr (access has not begun, or no out-argument). `*mapping` is written on
// success only.
Status ICGetPrefHandle(const ICInstance& instance, std::string_view preference,
                       ICMapHandle* mapping);

// Counts the entries. Returns noErr; paramErr (no out-argument).
Status ICCountMapEntries(const ICMapHandle& mapping, size_t* count);

// Reads the entry at `index`, counted from 1. Returns noErr; paramErr (index out of range, or no
// out-argument). `*entry` is written on success only.
Status ICGetIndMapEntry(const ICMapHandle& mapping, size_t index, ICMapEntry* entry);

// Ends access to the preferences. Returns noErr; paramErr (access has not begun).
Status ICEnd(ICInstance* instance);

// Ends use of the instance. Returns noErr; paramErr (an instance that was not started).
Status ICStop(ICInstance* instance);

// Describes the malformed lines of the user's mapping file, for the front end to print; the service
// itself reports nothing. Each description names the file, the line number, the problem and the
// expected form. After twenty lines, one more description covers the rest. A file that cannot be
// read gives one description. Empty if there is no problem or no file.
std::vector<std::string> DescribeBadMappingLines();

}  // namespace tessary
