#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/linux/changes/copy_ahead.h"
#include "platform/linux/errors.h"
#include "platform/linux/operations/announced_change.h"
#include "platform/linux/operations/planned_operations.h"
#include "platform/linux/operations/target.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

Status MakeFolder(const Place& place) {
  if (mkdirat(place.descriptor(), place.name.c_str(), 0777) == 0) return noErr;
  // Some filesystems report EINVAL for a character that they cannot store in a name.
  return errno == EINVAL ? bdNamErr : LastError();
}

}  // namespace

Status FSCreateDirectoryUnicode(const FSRef& parent, std::u16string_view name, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  *folder = FSRef{};
  if (auto* plan = PlannedOperations::Current()) return plan->CreateFolder(parent, name, folder);
  Target target;
  const std::u16string newName(name);
  Status status = FindTarget(parent, &newName, {}, &target);
  if (status != noErr) return status;
  AnnouncedChange change;
  status = change.AnnounceFolder(target);
  if (status != noErr) return status;
  status = RetryWithoutPreparedCopies([&target] { return MakeFolder(target.place); });
  status = change.Conclude(status, &target);
  if (status != noErr) return status;
  struct statx made = {};
  made.stx_mode = S_IFDIR;
  *folder = MakeTargetRef(target, InfoOfCopy(made, target));
  return noErr;
}

}  // namespace tessary
