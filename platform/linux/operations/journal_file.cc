#include "platform/managers/journal_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

class LockedJournalFile : public JournalFile {
 public:
  explicit LockedJournalFile(UniqueFd opened) : opened_(std::move(opened)) {}

  Status Append(std::string_view line) override {
    if (error_ == noErr) error_ = Write(line);
    return error_;
  }

  Status Sync() override {
    if (error_ == noErr && fsync(opened_.get()) != 0) error_ = LastError();
    return error_;
  }

  std::optional<std::string> ReadLine(Status* status) override {
    *status = noErr;
    for (size_t searched = 0;;) {
      const size_t end = buffer_.find('\n', begin_ + searched);
      if (end != std::string::npos) {
        std::string line = buffer_.substr(begin_, end - begin_);
        begin_ = end + 1;
        return line;
      }
      buffer_.erase(0, std::exchange(begin_, 0));
      searched = buffer_.size();
      if (searched >= kMaxJournalLine) *status = paramErr;
      if (*status != noErr || !ReadMore(status)) return std::nullopt;
    }
  }

 private:
  // The line is written at once: O_APPEND and one call leave either the whole line or the beginning
  // of one at the end of the file.
  Status Write(std::string_view line) {
    if (line.size() >= kMaxJournalLine) return paramErr;
    buffer_.assign(line).push_back('\n');
    const ssize_t written = write(opened_.get(), buffer_.data(), buffer_.size());
    if (written < 0) return LastError();
    return static_cast<size_t>(written) == buffer_.size() ? noErr : dskFulErr;
  }

  bool ReadMore(Status* status) {
    std::array<char, 65536> bytes;
    const ssize_t count = read(opened_.get(), bytes.data(), bytes.size());
    if (count < 0) *status = LastError();
    if (count <= 0) return false;
    buffer_.append(bytes.data(), static_cast<size_t>(count));
    return true;
  }

  UniqueFd opened_;
  Status error_ = noErr;
  std::string buffer_;  // the line that is being written, or what has been read of the file
  size_t begin_ = 0;    // of the next line in the buffer
};

// A journal may be on a filesystem without locks.
Status Lock(int file) {
  if (flock(file, LOCK_EX | LOCK_NB) == 0) return noErr;
  return errno == EWOULDBLOCK ? fBsyErr : noErr;
}

}  // namespace

Status CreateJournalFile(const std::string& path, std::unique_ptr<JournalFile>* file) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC;
  UniqueFd opened(open(path.c_str(), kFlags, 0600));
  if (!opened) return LastError();
  if (const Status status = Lock(opened.get())) return status;
  *file = std::make_unique<LockedJournalFile>(std::move(opened));
  return noErr;
}

Status OpenJournalFile(const std::string& path, std::unique_ptr<JournalFile>* file) {
  // O_NONBLOCK: a FIFO is opened without waiting for a writer, and refused.
  UniqueFd opened(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!opened) return LastError();
  struct stat info = {};
  if (fstat(opened.get(), &info) != 0) return LastError();
  if (!S_ISREG(info.st_mode)) return paramErr;
  if (const Status status = Lock(opened.get())) return status;
  *file = std::make_unique<LockedJournalFile>(std::move(opened));
  return noErr;
}

}  // namespace tessary
