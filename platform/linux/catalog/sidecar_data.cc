#include "platform/linux/catalog/sidecar_data.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"

namespace tessary {
namespace {

// A Mac writes all tables of a sidecar within this.
constexpr size_t kBeginningSize = 65'536;

// Checked before a sidecar is opened, because opening a FIFO or a device can block or have side
// effects. The open flags cover an object that takes the file's place in between.
bool IsFile(const Place& place) {
  struct stat info = {};
  return fstatat(place.descriptor(), place.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(info.st_mode);
}

constexpr int kOpenFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

std::optional<SidecarData> ReadBeginning(int file) {
  struct stat info = {};
  if (fstat(file, &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  SidecarData data;
  data.wholeSize = static_cast<uint64_t>(info.st_size);
  data.bytes.resize(std::min<uint64_t>(data.wholeSize, kBeginningSize));
  const ssize_t size = pread(file, data.bytes.data(), data.bytes.size(), 0);
  if (size < 0) return std::nullopt;
  data.bytes.resize(static_cast<size_t>(size));
  return data;
}

}  // namespace

std::optional<Place> SidecarPlaceOf(const Place& place) {
  if (!place.mayHaveSidecar || IsSidecarName(place.name)) return std::nullopt;
  return Place{place.folder, SidecarName(place.name)};
}

bool HasSidecar(const Place& place) {
  const std::optional<Place> sidecar = SidecarPlaceOf(place);
  return sidecar && IsFile(*sidecar);
}

std::optional<SidecarData> ReadSidecar(const Place& sidecar) {
  if (!IsFile(sidecar)) return std::nullopt;
  const UniqueFd file = OpenWithoutAtime(sidecar.descriptor(), sidecar.name.c_str(), kOpenFlags);
  return file ? ReadBeginning(file.get()) : std::nullopt;
}

Status RewriteSidecar(const Place& sidecar, const SidecarData& before, const std::string& after) {
  // Only the bytes that differ are written: a crash in between leaves the rest intact.
  const auto [old, changed] = std::ranges::mismatch(before.bytes, after);
  if (changed == after.end()) return noErr;
  auto end = after.size();
  while (before.bytes[end - 1] == after[end - 1]) --end;
  const auto begin = static_cast<size_t>(changed - after.begin());

  if (!IsFile(sidecar)) return fnfErr;
  const UniqueFd file(
      openat(sidecar.descriptor(), sidecar.name.c_str(), O_RDWR | O_CLOEXEC | kOpenFlags));
  if (!file) return LastError();
  const std::optional<SidecarData> found = ReadBeginning(file.get());
  if (!found || found->bytes != before.bytes) return fnfErr;
  const ssize_t written =
      pwrite(file.get(), after.data() + begin, end - begin, static_cast<off_t>(begin));
  if (written < 0) return LastError();
  return static_cast<size_t>(written) == end - begin ? noErr : dskFulErr;
}

}  // namespace tessary
