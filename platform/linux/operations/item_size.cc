#include <fcntl.h>
#include <sys/stat.h>

#include <set>
#include <utility>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/tree_walk.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/errors.h"
#include "platform/managers/item_details.h"

namespace tessary {
namespace {

class SizeSum : public TreeVisitor {
 public:
  uint64_t bytes() const { return bytes_; }

  Status VisitObject(int /*folder*/, const char* /*name*/, const struct statx& info) override {
    const Identity identity = Identity::Of(info);
    const bool isNew =
        info.stx_nlink < 2 || linked_.emplace(identity.device, identity.inode).second;
    if (isNew) bytes_ += info.stx_size;
    return noErr;
  }

 private:
  uint64_t bytes_ = 0;
  std::set<std::pair<uint32_t, uint64_t>> linked_;  // the files with several names
};

Status SumFolder(const CachedStat& cached, uint64_t* bytes) {
  const Place& place = cached.place;
  const UniqueFd folder =
      OpenWithoutAtime(place.descriptor(), place.name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  if (!folder) return LastError();
  // Another folder may have got the name since the stat. The identity of a copy that is only
  // planned is not that of its original.
  const bool isThere = place.planned == PlannedState::kNone;
  if (isThere && !IsNameOf(folder.get(), "", Identity::Of(cached.info))) return fnfErr;
  SizeSum sum;
  const Status status = WalkTree(folder.get(), sum);
  if (status == noErr) *bytes = sum.bytes();
  return status;
}

}  // namespace

Status CopyItemSize(const FSRef& ref, uint64_t* bytes) {
  if (bytes == nullptr) return paramErr;
  const CachedStat* cached = nullptr;
  const Status status = Catalog::Get().Stat(ReferenceOf(ref), &cached);
  if (status != noErr) return status;
  if (S_ISDIR(cached->info.stx_mode)) return SumFolder(*cached, bytes);
  *bytes = cached->info.stx_size;
  return noErr;
}

}  // namespace tessary
