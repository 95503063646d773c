#include "platform/linux/configuration/stamped_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

constexpr int64_t kNanosecondsPerSecond = 1000000000;

// The coarsest time that a file system keeps is the two seconds of FAT.
constexpr int64_t kCoarsestTimestamp = 2 * kNanosecondsPerSecond;

int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

FileStamp StampOf(const struct stat& info) {
  return {info.st_dev, info.st_ino, info.st_size, Nanoseconds(info.st_mtim),
          Nanoseconds(info.st_ctim)};
}

// A clock that was set back leaves times in the future, which prove nothing either.
bool IsRecentlyModified(const FileStamp& stamp) {
  timespec now = {};
  // This clock is always there.
  (void)clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now) - std::max(stamp.modified, stamp.changed) <= kCoarsestTimestamp;
}

// Room is made as it is needed: most files are far smaller than they may be.
Status ReadUpTo(int fd, size_t most, std::string* text) {
  constexpr size_t kPiece = size_t{16} << 10U;
  std::string bytes;
  size_t size = 0;
  while (size < most) {
    bytes.resize(std::min(most, size + kPiece));
    const ssize_t got = read(fd, bytes.data() + size, bytes.size() - size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return LastError();
    if (got == 0) break;
    size += static_cast<size_t>(got);
  }
  bytes.resize(size);
  *text = std::move(bytes);
  return noErr;
}

}  // namespace

Status ReadFileStamp(const char* path, FileStamp* stamp) {
  struct stat info = {};
  if (stat(path, &info) != 0) return LastError();
  *stamp = StampOf(info);
  return noErr;
}

Status ReadStampedFile(const char* path, size_t most, StampedFile* file) {
  // Without blocking, because a FIFO of that name would wait for a writer for ever.
  const UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!fd) return LastError();
  struct stat info = {};
  if (fstat(fd.get(), &info) != 0) return LastError();
  if (!S_ISREG(info.st_mode)) return paramErr;
  // The stamp is older than the bytes, so that a change in between shows at the next look.
  StampedFile result;
  result.stamp = StampOf(info);
  result.isRecentlyModified = IsRecentlyModified(result.stamp);
  const Status status = ReadUpTo(fd.get(), most, &result.text);
  if (status != noErr) return status;
  *file = std::move(result);
  return noErr;
}

}  // namespace tessary
