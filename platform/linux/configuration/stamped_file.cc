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

// The coarsest timestamps are those of FAT, with a resolution of two seconds.
constexpr int64_t kCoarsestTimestamp = 2 * kNanosecondsPerSecond;

int64_t Nanoseconds(const timespec& time) {
  return time.tv_sec * kNanosecondsPerSecond + time.tv_nsec;
}

FileStamp StampOf(const struct stat& info) {
  return {info.st_dev, info.st_ino, info.st_size, Nanoseconds(info.st_mtim),
          Nanoseconds(info.st_ctim)};
}

// Returns true if a further change could leave the stamp as it is. Also true for times in the
// future, which a clock that was set back leaves.
bool IsRecentlyModified(const FileStamp& stamp) {
  timespec now = {};
  // Cannot fail for this clock.
  (void)clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now) - std::max(stamp.modified, stamp.changed) <= kCoarsestTimestamp;
}

// Reads up to `most` bytes. The buffer grows in steps, because most files are much smaller.
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
  // O_NONBLOCK, because opening a FIFO would wait for a writer.
  const UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!fd) return LastError();
  struct stat info = {};
  if (fstat(fd.get(), &info) != 0) return LastError();
  if (!S_ISREG(info.st_mode)) return paramErr;
  // The stamp is taken before the contents are read, so that a change in between is found by the
  // next comparison of stamps.
  StampedFile result;
  result.stamp = StampOf(info);
  result.isRecentlyModified = IsRecentlyModified(result.stamp);
  const Status status = ReadUpTo(fd.get(), most, &result.text);
  if (status != noErr) return status;
  *file = std::move(result);
  return noErr;
}

}  // namespace tessary
