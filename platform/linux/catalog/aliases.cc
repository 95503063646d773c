#include "platform/linux/catalog/aliases.h"

#include <algorithm>
#include <new>
#include <utility>

namespace tessary {
namespace {

// An alias consists of the bytes of a file specification. That is the one form of a reference that
// outlives the autorelease pool of a run.
AliasRecord RecordOf(const FSSpec& spec) {
  return {std::begin(spec.hidden), std::end(spec.hidden)};
}

Status CheckTarget(const FSSpec& target) {
  FSRef ref;
  return FSpMakeFSRef(target, &ref);
}

}  // namespace

Status NewAlias(const FSSpec& target, AliasHandle* alias) {
  if (alias == nullptr) return paramErr;
  try {
    const Status status = CheckTarget(target);
    if (status != noErr) return status;
    *alias = std::make_unique<AliasRecord>(RecordOf(target));
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

Status UpdateAlias(const FSSpec& target, AliasRecord* alias, bool* wasChanged) {
  if (alias == nullptr || wasChanged == nullptr) return paramErr;
  try {
    const Status status = CheckTarget(target);
    if (status != noErr) return status;
    AliasRecord updated = RecordOf(target);
    *wasChanged = updated != *alias;
    *alias = std::move(updated);
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

Status FollowAlias(const AliasRecord& alias, FSRef* target) {
  FSSpec spec;
  if (target == nullptr || alias.size() != sizeof(spec.hidden)) return paramErr;
  std::copy(alias.begin(), alias.end(), std::begin(spec.hidden));
  FSRef found;
  const Status status = FSpMakeFSRef(spec, &found);
  if (status == noErr) *target = found;
  return status;
}

}  // namespace tessary
