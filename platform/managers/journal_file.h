#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/managers/status.h"

// A file of lines to which a run appends what it does, and from which it can be undone.
namespace tessary {

// The longest line, with its line end, that is written and read. Two paths of any length that
// occurs fit in, escaped.
inline constexpr size_t kMaxJournalLine = size_t{1} << 20;

// Holds the exclusive lock of the file (flock) while it exists, so that no other process writes or
// undoes the same journal.
class JournalFile {
 public:
  JournalFile() = default;
  JournalFile(const JournalFile&) = delete;
  JournalFile& operator=(const JournalFile&) = delete;
  virtual ~JournalFile() = default;

  // Appends the line and a line end with one write(2). Returns noErr; dskFulErr also if only a part
  // could be written; paramErr (the line is too long); otherwise a filesystem error. After an
  // error, nothing more can be appended: each call returns the first error.
  virtual Status Append(std::string_view line) = 0;

  // Makes everything that was appended durable.
  virtual Status Sync() = 0;

  // Reads the next line without its line end. Returns none at the end, which is also an incomplete
  // last line: the process that wrote it was killed, or the disk was full, before the change that
  // the line announces. `*status` is set to noErr, to paramErr if the line is too long, or to a
  // filesystem error.
  virtual std::optional<std::string> ReadLine(Status* status) = 0;
};

// Creates a new file, for appending, that only its owner may read and write. Returns noErr;
// dupFNErr (the name exists); otherwise a filesystem error. `path` may be relative.
Status CreateJournalFile(const std::string& path, std::unique_ptr<JournalFile>* file);

// Opens an existing regular file for reading. Returns noErr; fBsyErr (another process has locked
// it); fnfErr; paramErr (not a regular file); otherwise a filesystem error.
Status OpenJournalFile(const std::string& path, std::unique_ptr<JournalFile>* file);

}  // namespace tessary
