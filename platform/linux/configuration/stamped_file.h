#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/managers/status.h"

// A small file that others may change at any time: its contents, and a stamp by which a change is
// noticed for the price of one stat.
namespace tessary {

// What tells one state of a file from another. The time of the last change of state is in it
// because nobody can set it back, as the modification date can be.
struct FileStamp {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  int64_t modified = 0;  // nanoseconds since 1970
  int64_t changed = 0;   // the same, of the last change of state

  bool operator==(const FileStamp&) const = default;
};

struct StampedFile {
  std::string text;
  FileStamp stamp;
  // The file was changed so shortly before it was read that a further change might leave the stamp
  // as it is; the stamp then proves nothing.
  bool isRecentlyModified = false;
};

// Stamps the file at `path`, links followed. fnfErr when there is none, else what the file system
// reports.
Status ReadFileStamp(const char* path, FileStamp* stamp);

// Reads the file at `path`, links followed, but no more than `most` bytes of it. fnfErr when there
// is none, paramErr when it is no file, else what the file system reports.
Status ReadStampedFile(const char* path, size_t most, StampedFile* file);

}  // namespace tessary
