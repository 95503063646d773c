#include "platform/linux/changes/copy_contents.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

#include "platform/linux/catalog/capabilities.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

constexpr off_t kBufferSize = 262'144;

bool IsZeros(std::string_view bytes) {
  return bytes.find_first_not_of('\0') == std::string_view::npos;
}

class ContentsCopy {
 public:
  ContentsCopy(int from, const struct statx& info, int to, const struct statx& made)
      : from_(from), info_(info), to_(to), made_(made) {}

  // A reflink comes first: it copies no data, preserves holes, and takes the contents of one
  // moment.
  Status Run() {
    if (TryReflink()) return noErr;
    // A file without holes has at least as many blocks as its size needs.
    const bool hasHoles = info_.stx_blocks * 512 < info_.stx_size;
    return hasHoles ? CopyAroundHoles() : CopyWhole();
  }

 private:
  off_t size() const { return static_cast<off_t>(info_.stx_size); }

  bool TryReflink() const {
    const uint32_t device = Identity::Of(info_).device;
    const uint32_t other = Identity::Of(made_).device;
    if (info_.stx_size == 0 || HasProbeResult(device, ProbeResult::kNoReflink, other)) return false;
    if (ioctl(to_, FICLONE, from_) == 0) return true;
    // These errors hold for the two filesystems, so that later files need not try. Any other, such
    // as EINVAL for a file with different checksum settings on btrfs, holds for this file only.
    if (errno == EOPNOTSUPP || errno == ENOTTY || errno == ENOSYS || errno == EXDEV) {
      RememberProbeResult(device, ProbeResult::kNoReflink, other);
    }
    return false;
  }

  // Only reading finds the end of a file: files in /proc have the size 0, and the size that a
  // network or FUSE filesystem reports may be out of date.
  Status CopyWhole() {
    off_t reached = 0;
    Status status = noErr;
    if (size() < kBufferSize) {
      // Asking for one byte more than the size finds the end of a small file in a single read.
      ssize_t got = 0;
      status = CopyBlock(0, size() + 1, &got);
      if (status != noErr || got == 0 || got == size()) return status;
      reached = got;
    }
    if (reached < size()) status = CopyRange(reached, size(), &reached);
    return status == noErr && reached >= size() ? CopyPastSize(reached) : status;
  }

  // Copies the ranges of data. What is between them is a hole already, because `to` is empty.
  Status CopyAroundHoles() {
    off_t at = 0;
    while (true) {
      const off_t data = lseek(from_, at, SEEK_DATA);
      if (data < 0 && errno == ENXIO) break;  // only a hole is left
      if (data < 0 && at == 0 && (errno == EINVAL || errno == ENOTSUP)) return CopySkippingZeros();
      if (data < 0) return LastError();
      const off_t hole = lseek(from_, data, SEEK_HOLE);
      if (hole < 0) return LastError();
      // A filesystem that does not know its holes reports one range of data up to the end.
      if (data == 0 && hole >= size()) return CopySkippingZeros();
      if (const Status status = CopyRange(data, hole, &at)) return status;
      // The file has been truncated or is growing, which the caller's check finds.
      if (at < hole || at > size()) break;
    }
    return SetLength();
  }

  // For filesystems that have holes but cannot report them: blocks of zeros become holes.
  Status CopySkippingZeros() {
    skipsZeros_ = true;
    const Status status = CopyWhole();
    return status == noErr ? SetLength() : status;
  }

  // Creates a hole at the end, which no write does.
  Status SetLength() const {
    const off_t end = lseek(from_, 0, SEEK_END);
    return end < 0 || ftruncate(to_, end) != 0 ? LastError() : noErr;
  }

  // Copies the bytes from `start` up to `limit` or the end of the file; sets `*reached` to where it
  // stopped.
  Status CopyRange(off_t start, off_t limit, off_t* reached) {
    off_t at = start;
    // copy_file_range would write the zeros that are to become holes.
    if (limit - start > kBufferSize && !skipsZeros_) at = CopyInKernel(start, limit);
    ssize_t size = 1;
    while (at < limit && size > 0) {
      const Status status = CopyBlock(at, std::min(limit - at, kBufferSize), &size);
      if (status != noErr) return status;
      at += size;
    }
    *reached = at;
    return noErr;
  }

  // Copies as far as copy_file_range goes and returns where it stopped. Neither its errors nor its
  // end of file count: some filesystems do not support it between two of them, and some report an
  // end where there is none. The caller goes on with read and write, which find the actual reason.
  off_t CopyInKernel(off_t start, off_t limit) const {
    constexpr off_t kMaxChunkSize = 1 << 30;  // below the kernel's maximum for one call
    off_t in = start;
    off_t out = start;
    while (in < limit) {
      const auto size = static_cast<size_t>(std::min(limit - in, kMaxChunkSize));
      if (copy_file_range(from_, &in, to_, &out, size, 0) <= 0) break;
    }
    return in;
  }

  // Copies what follows after the recorded size. A file that keeps growing would never end: once
  // the size has changed, the copy is useless anyway, because the caller's check rejects it.
  Status CopyPastSize(off_t at) {
    if (size() > 0 && !HasDataPastSize()) return ftruncate(to_, size()) == 0 ? noErr : LastError();
    ssize_t size = 0;
    while (true) {
      const Status status = CopyBlock(at, kBufferSize, &size);
      if (status != noErr || size == 0) return status;
      at += size;
      struct statx now = {};
      if (ReadObjectInfo(from_, "", &now) != noErr || now.stx_size != info_.stx_size) return noErr;
    }
  }

  // Returns whether the file really has bytes after the recorded size. On a network or FUSE
  // filesystem, a file that another process has truncated reads as zeros up to its old end until
  // the kernel has noticed, so those zeros must not count as contents.
  bool HasDataPastSize() const {
    const Identity identity = Identity::Of(info_);
    if (VolumeOf(identity.device, from_).hasCoherentAttributes) return true;
    struct statx latest = {};
    char byte = 0;
    return ReadLatestInfo(from_, identity, &latest) != noErr || pread(from_, &byte, 1, size()) != 0;
  }

  // Copies at most `wanted` bytes at offset `at`; sets `*size` to the number read, 0 at the end of
  // the file.
  Status CopyBlock(off_t at, off_t wanted, ssize_t* size) {
    const auto room = static_cast<size_t>(std::min(wanted, BufferSize()));
    // Not std::make_unique, which would fill the buffer with zeros.
    if (!buffer_) buffer_.reset(new char[static_cast<size_t>(BufferSize())]);
    do {
      *size = pread(from_, buffer_.get(), room, at);
    } while (*size < 0 && errno == EINTR);
    if (*size < 0) return LastError();
    const auto got = static_cast<size_t>(*size);
    return skipsZeros_ ? WriteSkippingZeros(at, got) : Write(at, 0, got);
  }

  // Writes the bytes of the buffer from `begin` to `end`; the buffer's first byte is at offset
  // `at` in the file.
  Status Write(off_t at, size_t begin, size_t end) const {
    while (begin < end) {
      const ssize_t count =
          pwrite(to_, buffer_.get() + begin, end - begin, at + static_cast<off_t>(begin));
      if (count < 0 && errno != EINTR) return LastError();
      if (count > 0) begin += static_cast<size_t>(count);
    }
    return noErr;
  }

  // Writes the first `size` bytes of the buffer, except blocks of nothing but zeros.
  Status WriteSkippingZeros(off_t at, size_t size) const {
    constexpr size_t kBlock = 4096;
    size_t begin = 0;
    for (size_t block = 0; block < size; block += kBlock) {
      const size_t end = std::min(block + kBlock, size);
      if (!IsZeros({buffer_.get() + block, end - block})) continue;
      if (const Status status = Write(at, begin, block)) return status;
      begin = end;
    }
    return Write(at, begin, size);
  }

  off_t BufferSize() const { return std::clamp<off_t>(size() + 1, 4096, kBufferSize); }

  int from_;
  const struct statx& info_;
  int to_;
  const struct statx& made_;
  std::unique_ptr<char[]> buffer_;
  bool skipsZeros_ = false;  // blocks of zeros become holes
};

}  // namespace

Status CopyContents(int from, const struct statx& info, int to, const struct statx& made) {
  return ContentsCopy(from, info, to, made).Run();
}

}  // namespace tessary
