#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/status.h"

// The Internet Config service: the user's table of file mappings.
namespace tessary {

struct ICMapEntry {
  uint32_t fileType = 0;     // four-character code in host order, 0 for none
  std::u16string extension;  // as the table spells it, usually with its leading "."
};

// The mapping table as a preference value, owned by the caller.
using ICMapHandle = std::vector<ICMapEntry>;

// One use of the service. Stopped by ICStop or by dropping it.
struct ICInstance {
  uint32_t signature = 0;
  bool isStarted = false;
  bool isReading = false;
};

enum class ICPerm { icReadOnlyPerm = 1 };

// Starts an instance for the application of that signature. Answers noErr, paramErr.
Status ICStart(ICInstance* instance, uint32_t signature);

// Begins access to the preferences. Answers noErr, paramErr (an instance that was not started).
Status ICBegin(ICInstance* instance, ICPerm permission);

// Reads the preference "Mapping": the built-in table of classic types, then the lines of the user's
// file in their order. A line that cannot be read is skipped.
// Answers noErr, fnfErr (another preference), paramErr (no access begun, or no out-argument).
// `*mapping` is written on success only.
Status ICGetPrefHandle(const ICInstance& instance, std::string_view preference,
                       ICMapHandle* mapping);

// The number of entries. Answers noErr, paramErr (no out-argument).
Status ICCountMapEntries(const ICMapHandle& mapping, size_t* count);

// The entry at `index`, counted from 1. Answers noErr, paramErr (index out of range, or no
// out-argument). `*entry` is written on success only.
Status ICGetIndMapEntry(const ICMapHandle& mapping, size_t index, ICMapEntry* entry);

// Ends the access. Answers noErr, paramErr (none begun).
Status ICEnd(ICInstance* instance);

// Ends the use. Answers noErr, paramErr (not started).
Status ICStop(ICInstance* instance);

// The lines of the user's mapping file that cannot be read, each as one sentence that names the
// file, the line number, what is wrong and what is expected; beyond twenty of them, one sentence
// for the rest. One sentence when the file as a whole cannot be read. Empty when all is well or
// there is no file. For the program's front, which tells the user; the service itself stays silent.
std::vector<std::string> DescribeBadMappingLines();

}  // namespace tessary
