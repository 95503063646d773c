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

  Status Run() {
    if (TryReflink()) return noErr;
    // Fewer blocks than bytes is the sign of holes.
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
    if (errno == EOPNOTSUPP || errno == ENOTTY || errno == ENOSYS || errno == EXDEV) {
      RememberProbeResult(device, ProbeResult::kNoReflink, other);
    }
    return false;
  }

  // Only reading tells where the end is: kernel files have no size, and others a wrong one.
  Status CopyWhole() {
    off_t reached = 0;
    Status status = noErr;
    if (size() < kBufferSize) {
      // With room for a byte more, a file that ends where it says so takes a single reading.
      ssize_t got = 0;
      status = CopyBlock(0, size() + 1, &got);
      if (status != noErr || got == 0 || got == size()) return status;
      reached = got;
    }
    if (reached < size()) status = CopyRange(reached, size(), &reached);
    return status == noErr && reached >= size() ? CopyPastSize(reached) : status;
  }

  Status CopyAroundHoles() {
    off_t at = 0;
    while (true) {
      const off_t data = lseek(from_, at, SEEK_DATA);
      if (data < 0 && errno == ENXIO) break;
      if (data < 0 && at == 0 && (errno == EINVAL || errno == ENOTSUP)) return CopySkippingZeros();
      if (data < 0) return LastError();
      const off_t hole = lseek(from_, data, SEEK_HOLE);
      if (hole < 0) return LastError();
      // What a volume answers that cannot tell its holes.
      if (data == 0 && hole >= size()) return CopySkippingZeros();
      if (const Status status = CopyRange(data, hole, &at)) return status;
      if (at < hole || at > size()) break;
    }
    return SetLength();
  }

  // Where the volume does not tell where its holes are, they are the stretches without content.
  Status CopySkippingZeros() {
    skipsZeros_ = true;
    const Status status = CopyWhole();
    return status == noErr ? SetLength() : status;
  }

  // A hole at the end is made of nothing but the length.
  Status SetLength() const {
    const off_t end = lseek(from_, 0, SEEK_END);
    return end < 0 || ftruncate(to_, end) != 0 ? LastError() : noErr;
  }

  // Copies the bytes from `start` up to `limit` or the file's end; `*reached` is where it ended.
  Status CopyRange(off_t start, off_t limit, off_t* reached) {
    off_t at = start;
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

  // Copies as far as the kernel will by itself. Where it stops, for whatever reason, reading and
  // writing go on and tell why: some file systems report an end where there is none.
  off_t CopyInKernel(off_t start, off_t limit) const {
    constexpr off_t kMaxChunkSize = 1 << 30;
    off_t in = start;
    off_t out = start;
    while (in < limit) {
      const auto size = static_cast<size_t>(std::min(limit - in, kMaxChunkSize));
      if (copy_file_range(from_, &in, to_, &out, size, 0) <= 0) break;
    }
    return in;
  }

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

  // Whether there is really more than the size says. A volume that is driven elsewhere reads zeros
  // for a while where the end was, until it has noticed that somebody has cut the file.
  bool HasDataPastSize() const {
    const Identity identity = Identity::Of(info_);
    if (VolumeOf(identity.device, from_).hasCoherentAttributes) return true;
    struct statx latest = {};
    char byte = 0;
    return ReadLatestInfo(from_, identity, &latest) != noErr || pread(from_, &byte, 1, size()) != 0;
  }

  // Copies at most `wanted` bytes at `at`; `*size` is how many there were, 0 at the end.
  Status CopyBlock(off_t at, off_t wanted, ssize_t* size) {
    const auto room = static_cast<size_t>(std::min(wanted, BufferSize()));
    if (!buffer_) buffer_.reset(new char[static_cast<size_t>(BufferSize())]);
    do {
      *size = pread(from_, buffer_.get(), room, at);
    } while (*size < 0 && errno == EINTR);
    if (*size < 0) return LastError();
    const auto got = static_cast<size_t>(*size);
    return skipsZeros_ ? WriteSkippingZeros(at, got) : Write(at, 0, got);
  }

  // Writes the bytes from `begin` to `end` of the buffer, the first of which belongs at `at`.
  Status Write(off_t at, size_t begin, size_t end) const {
    while (begin < end) {
      const ssize_t count =
          pwrite(to_, buffer_.get() + begin, end - begin, at + static_cast<off_t>(begin));
      if (count < 0 && errno != EINTR) return LastError();
      if (count > 0) begin += static_cast<size_t>(count);
    }
    return noErr;
  }

  // The same of all that was read, but for the blocks that hold nothing but zeros.
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
  bool skipsZeros_ = false;  // what holds nothing becomes a hole
};

}  // namespace

Status CopyContents(int from, const struct statx& info, int to, const struct statx& made) {
  return ContentsCopy(from, info, to, made).Run();
}

}  // namespace tessary
