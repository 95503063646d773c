#include "platform/linux/catalog/attribute_names.h"

#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/errors.h"

namespace tessary {

namespace {

// The cache entry of the object whose attributes are requested, or null. The entry of a link is
// that of the link itself, so it cannot hold the attributes of the link's target.
CachedStat* FindCachedStat(const Place& place, LinkHandling linkHandling) {
  CachedStat* cached = Catalog::Get().stats().Find(place);
  if (cached == nullptr || linkHandling == LinkHandling::kNoFollow) return cached;
  return KindOf(cached->info) == NodeKind::kLink ? nullptr : cached;
}

}  // namespace

Status AttributeNames::Read(const Place& place, LinkHandling linkHandling) {
  if (place.planned == PlannedState::kNewFolder) return noErr;
  CachedStat* cached = FindCachedStat(place, linkHandling);
  if (cached != nullptr && cached->attributes) {
    large_ = *cached->attributes;
    names_ = large_;
    return noErr;
  }
  const Status status = List(place, linkHandling);
  if (status == noErr && cached != nullptr) cached->attributes = names_;
  return status;
}

Status AttributeNames::List(const Place& place, LinkHandling linkHandling) {
  names_ = {};
  ssize_t size = ListAttributes(place, small_.data(), small_.size(), linkHandling);
  if (size >= 0) {
    names_ = {small_.data(), static_cast<size_t>(size)};
    return noErr;
  }
  if (errno == ENOTSUP) return noErr;
  if (errno != ERANGE) return LastError();
  // The kernel returns no longer list than this, so there is no third attempt.
  large_.resize(XATTR_LIST_MAX);
  size = ListAttributes(place, large_.data(), large_.size(), linkHandling);
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
