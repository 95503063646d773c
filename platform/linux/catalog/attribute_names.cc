#include "platform/linux/catalog/attribute_names.h"

#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/errors.h"

namespace tessary {

namespace {

// What the step under way remembers of the very object that is asked about, or null.
Look* LookAt(const Place& place, AtLink atLink) {
  Look* look = Catalog::Get().step().Find(place);
  if (look == nullptr || atLink == AtLink::kStay) return look;
  return KindOf(look->info) == NodeKind::kLink ? nullptr : look;
}

}  // namespace

Status AttributeNames::Read(const Place& place, AtLink atLink) {
  Look* look = LookAt(place, atLink);
  if (look != nullptr && look->attributes) {
    large_ = *look->attributes;
    names_ = large_;
    return noErr;
  }
  const Status status = List(place, atLink);
  if (status == noErr && look != nullptr) look->attributes = names_;
  return status;
}

Status AttributeNames::List(const Place& place, AtLink atLink) {
  names_ = {};
  ssize_t size = ListAttributes(place, small_.data(), small_.size(), atLink);
  if (size >= 0) {
    names_ = {small_.data(), static_cast<size_t>(size)};
    return noErr;
  }
  if (errno == ENOTSUP) return noErr;
  if (errno != ERANGE) return LastError();
  large_.resize(XATTR_LIST_MAX);
  size = ListAttributes(place, large_.data(), large_.size(), atLink);
  if (size < 0) return LastError();
  names_ = std::string_view(large_).substr(0, static_cast<size_t>(size));
  return noErr;
}

bool AttributeNames::Has(std::string_view name) const {
  std::string_view rest = names_;
  while (!rest.empty()) {
    const std::string_view found = rest.substr(0, rest.find('\0'));
    if (found == name) return true;
    rest.remove_prefix(std::min(found.size() + 1, rest.size()));
  }
  return false;
}

}  // namespace tessary
