#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/managers/status.h"

// A small file that other programs may change at any time: its contents, and a stamp that detects a
// change by one stat.
namespace tessary {

// Identifies one state of a file. Includes the time of the last status change, because programs can
// set back the modification date, but not that time.
struct FileStamp {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  int64_t modified = 0;  // nanoseconds since 1970
  int64_t changed = 0;   // nanoseconds since 1970, of the last status change

  bool operator==(const FileStamp&) const = default;
};

struct StampedFile {
  std::string text;
  FileStamp stamp;
  // True if the file was changed so shortly before it was read that a further change could leave
  // the same stamp. Then an equal stamp does not prove that the file is unchanged.
  bool isRecentlyModified = false;
};

// Reads the stamp of the file at `path`, following links. Returns noErr, fnfErr (no such file),
// otherwise the status of the filesystem.
Status ReadFileStamp(const char* path, FileStamp* stamp);

// Reads up to `most` bytes of the file at `path`, following links, and its stamp. Returns noErr,
// fnfErr (no such file), paramErr (not a regular file), otherwise the status of the filesystem.
// `*file` is written on success only.
Status ReadStampedFile(const char* path, size_t most, StampedFile* file);

}  // namespace tessary
