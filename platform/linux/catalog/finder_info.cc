#include "platform/linux/catalog/finder_info.h"

#include <cstring>
#include <optional>
#include <string>

#include "platform/linux/catalog/attribute_names.h"
#include "platform/linux/catalog/place_attributes.h"
#include "platform/linux/catalog/sidecar_data.h"
#include "platform/linux/mac_formats/finder_info_forms.h"

namespace tessary {
namespace {

struct FoundInfo {
  std::optional<FinderBytes> bytes;
  std::string origin;
};

Status ReadHfsAttributes(const Place& place, FoundInfo* found) {
  std::optional<std::string> type;
  std::optional<std::string> creator;
  Status status = ReadAttribute(place, kHfsTypeAttribute, LinkHandling::kNoFollow, &type);
  if (status != noErr) return status;
  status = ReadAttribute(place, kHfsCreatorAttribute, LinkHandling::kNoFollow, &creator);
  if (status != noErr || !type || !creator) return status;
  found->bytes = ReadHfsTypeAndCreator(*type, *creator);
  found->origin = kHfsTypeAttribute;
  return noErr;
}

Status ReadAttributes(const Place& place, FoundInfo* found) {
  AttributeNames names;
  const Status listed = names.Read(place);
  if (listed != noErr || names.IsEmpty()) return listed;
  for (const FinderInfoForm& form : kFinderInfoForms) {
    if (!names.Has(form.attribute)) continue;
    std::optional<std::string> value;
    const Status status = ReadAttribute(place, form.attribute, LinkHandling::kNoFollow, &value);
    if (status != noErr) return status;
    if (value) found->bytes = form.read(*value);
    found->origin = form.attribute;
    if (found->bytes) return noErr;
  }
  const bool isHfs = names.Has(kHfsTypeAttribute) && names.Has(kHfsCreatorAttribute);
  return isHfs ? ReadHfsAttributes(place, found) : noErr;
}

void ReadFromSidecar(const Place& place, FoundInfo* found) {
  const std::optional<Place> sidecar = SidecarPlaceOf(place);
  if (!sidecar) return;
  const std::optional<SidecarData> data = ReadSidecar(*sidecar);
  if (!data) return;
  found->bytes = ReadAppleDoubleFinderInfo(data->bytes, data->wholeSize);
  found->origin = sidecar->name;
}

uint16_t Read16(const FinderBytes& bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

uint32_t Read32(const FinderBytes& bytes, size_t at) {
  return static_cast<uint32_t>(Read16(bytes, at)) << 16 | Read16(bytes, at + 2);
}

}  // namespace

Status ReadFinderInfo(const Place& place, NodeKind kind, FileInfo* info,
                      ExtendedFileInfo* extendedInfo, std::string* origin) {
  FoundInfo found;
  if (kind == NodeKind::kFile || kind == NodeKind::kFolder) {
    const Status status = ReadAttributes(place, &found);
    if (status != noErr) return status;
    if (!found.bytes) ReadFromSidecar(place, &found);
  }
  const FinderBytes bytes = found.bytes.value_or(FinderBytes());
  info->fileType = Read32(bytes, 0);
  info->fileCreator = Read32(bytes, 4);
  info->finderFlags = Read16(bytes, 8);
  info->locationV = static_cast<int16_t>(Read16(bytes, 10));
  info->locationH = static_cast<int16_t>(Read16(bytes, 12));
  info->reserved = Read16(bytes, 14);
  std::memcpy(extendedInfo->bytes, bytes.data() + 16, sizeof(extendedInfo->bytes));
  if (origin != nullptr) *origin = found.bytes ? found.origin : "";
  return noErr;
}

}  // namespace tessary
