#include "tests/support/access_list.h"

#include <endian.h>
#include <linux/capability.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace tessary::test {
namespace {

constexpr uint32_t kVersion = 2;
constexpr uint32_t kNobody = 0xffffffff;
constexpr uint16_t kUserObject = 0x01;
constexpr uint16_t kUser = 0x02;
constexpr uint16_t kGroupObject = 0x04;
constexpr uint16_t kMask = 0x10;
constexpr uint16_t kOther = 0x20;

struct Entry {
  uint16_t tag;
  uint16_t permissions;
  uint32_t id;
};

template <typename Record>
std::string BytesOf(const Record& record) {
  std::string bytes(sizeof(record), '\0');
  std::memcpy(bytes.data(), &record, sizeof(record));
  return bytes;
}

}  // namespace

std::string AccessListWithUser(uid_t user) {
  const std::array<Entry, 5> entries = {Entry{kUserObject, 7, kNobody}, Entry{kUser, 6, user},
                                        Entry{kGroupObject, 4, kNobody}, Entry{kMask, 6, kNobody},
                                        Entry{kOther, 0, kNobody}};
  std::string list = BytesOf(htole32(kVersion));
  for (const Entry& entry : entries) {
    list += BytesOf(Entry{htole16(entry.tag), htole16(entry.permissions), htole32(entry.id)});
  }
  return list;
}

std::string MakeFileCapability() {
  struct vfs_cap_data capability = {};
  capability.magic_etc = htole32(VFS_CAP_REVISION_2 | VFS_CAP_FLAGS_EFFECTIVE);
  capability.data[0].permitted = htole32(1U << CAP_NET_BIND_SERVICE);
  return BytesOf(capability);
}

}  // namespace tessary::test
