#include "tests/faults/crash_image.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/support/tool.h"

namespace tessary::test {
namespace {

// XFS_IOC_GOINGDOWN, EXT4_IOC_SHUTDOWN. With this argument not even the filesystem's log is
// flushed.
constexpr unsigned long kShutDown = _IOR('X', 125, uint32_t);
constexpr uint32_t kFlushNothing = 2;

constexpr size_t kChunk = 1 << 20;

// Copies the data of a file, without holes, where the copy differs. `*isSame` is whether it
// differed nowhere. Returns false on error.
bool CopyDifferences(int from, int to, bool* isSame) {
  struct stat info = {};
  if (fstat(from, &info) != 0 || ftruncate(to, info.st_size) != 0) return false;
  *isSame = true;
  std::vector<char> buffer(kChunk);
  std::vector<char> known(kChunk);
  for (off_t at = lseek(from, 0, SEEK_DATA); at >= 0;) {
    const off_t end = lseek(from, at, SEEK_HOLE);
    while (at < end) {
      const size_t wanted = std::min<size_t>(kChunk, static_cast<size_t>(end - at));
      const ssize_t got = pread(from, buffer.data(), wanted, at);
      if (got <= 0) return false;
      const auto size = static_cast<size_t>(got);
      const bool isKnown = pread(to, known.data(), size, at) == got &&
                           std::memcmp(buffer.data(), known.data(), size) == 0;
      if (!isKnown) {
        *isSame = false;
        if (pwrite(to, buffer.data(), size, at) != got) return false;
      }
      at += got;
    }
    at = lseek(from, end, SEEK_DATA);
  }
  return true;
}

// Copies until nothing changes any more. The kernel may write during a copy, which then combines
// two states into one in which the image never was.
bool CopyImage(const std::string& image, const std::string& copy) {
  const UniqueFd from(open(image.c_str(), O_RDONLY | O_CLOEXEC));
  const UniqueFd to(open(copy.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  constexpr int kTries = 100;
  for (int i = 0; from && to && i < kTries; ++i) {
    bool isSame = false;
    if (!CopyDifferences(from.get(), to.get(), &isSame)) return false;
    if (isSame) return true;
  }
  return false;
}

}  // namespace

CrashImage::CrashImage(const ScratchVolume& volume) {
  const std::string image = scratch_ / "image";
  if (!CopyImage(volume.ImagePath(), image)) {
    unavailableReason_ = "cannot copy the image: " + std::string(std::strerror(errno));
    return;
  }
  const std::string point = scratch_ / "mount";
  MakeFolder(point);
  // XFS does not mount two filesystems with one UUID otherwise.
  const std::string options = volume.kind() == VolumeKind::kXfs ? "loop,nouuid" : "loop";
  const ToolResult result =
      RunTool({"mount", "-t", NameOf(volume.kind()), "-o", options, image, point});
  if (result.status != 0) {
    unavailableReason_ = "cannot mount the copy: " + result.output;
    return;
  }
  isMounted_ = true;
  path_ = point + "/" + std::filesystem::path(volume.path()).filename().string();
}

CrashImage::~CrashImage() {
  if (isMounted_) umount2((scratch_ / "mount").c_str(), MNT_DETACH);
}

bool ShutDown(const ScratchVolume& volume) {
  const UniqueFd folder(open(volume.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  uint32_t how = kFlushNothing;
  return folder && ioctl(folder.get(), kShutDown, &how) == 0;
}

}  // namespace tessary::test
