#include "platform/linux/catalog/finder_info.h"

#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/linux/catalog/place_attributes.h"
#include "platform/linux/errors.h"

namespace tessary {
namespace {

constexpr char kAttribute[] = "user.com.apple.FinderInfo";
constexpr size_t kFinderInfoSize = 32;

using FinderBytes = std::array<unsigned char, kFinderInfoSize>;

bool Names(std::string_view list, std::string_view wanted) {
  while (!list.empty()) {
    const std::string_view name = list.substr(0, list.find('\0'));
    if (name == wanted) return true;
    list.remove_prefix(std::min(name.size() + 1, list.size()));
  }
  return false;
}

Status FindAttribute(const Place& place, bool* isThere) {
  std::array<char, 1024> small;
  const ssize_t size = ListAttributes(place, small.data(), small.size());
  if (size >= 0) {
    *isThere = Names({small.data(), static_cast<size_t>(size)}, kAttribute);
    return noErr;
  }
  if (errno == ENOTSUP) {
    *isThere = false;
    return noErr;
  }
  if (errno != ERANGE) return LastError();
  std::string large(XATTR_LIST_MAX, '\0');
  const ssize_t largeSize = ListAttributes(place, large.data(), large.size());
  if (largeSize < 0) return LastError();
  *isThere = Names(std::string_view(large).substr(0, static_cast<size_t>(largeSize)), kAttribute);
  return noErr;
}

// An attribute of another size is not Finder information, whatever it is.
Status ReadBytes(const Place& place, FinderBytes* bytes) {
  bool isThere = false;
  const Status status = FindAttribute(place, &isThere);
  if (status != noErr || !isThere) return status;
  FinderBytes read = {};
  const ssize_t size = GetAttribute(place, kAttribute, read.data(), read.size());
  if (size == static_cast<ssize_t>(read.size())) *bytes = read;
  if (size < 0 && errno != ERANGE && errno != ENODATA) return LastError();
  return noErr;
}

uint16_t Read16(const FinderBytes& bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

uint32_t Read32(const FinderBytes& bytes, size_t at) {
  return static_cast<uint32_t>(Read16(bytes, at)) << 16 | Read16(bytes, at + 2);
}

}  // namespace

Status ReadFinderInfo(const Place& place, NodeKind kind, FileInfo* info,
                      ExtendedFileInfo* extendedInfo) {
  FinderBytes bytes = {};
  if (kind == NodeKind::kFile || kind == NodeKind::kFolder) {
    const Status status = ReadBytes(place, &bytes);
    if (status != noErr) return status;
  }
  info->fileType = Read32(bytes, 0);
  info->fileCreator = Read32(bytes, 4);
  info->finderFlags = Read16(bytes, 8);
  info->locationV = static_cast<int16_t>(Read16(bytes, 10));
  info->locationH = static_cast<int16_t>(Read16(bytes, 12));
  info->reserved = Read16(bytes, 14);
  std::memcpy(extendedInfo->bytes, bytes.data() + 16, sizeof(extendedInfo->bytes));
  return noErr;
}

}  // namespace tessary
