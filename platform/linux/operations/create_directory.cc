#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/linux/errors.h"
#include "platform/linux/operations/target.h"
#include "platform/managers/file_manager.h"

namespace tessary {

Status FSCreateDirectoryUnicode(const FSRef& parent, std::u16string_view name, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  *folder = FSRef{};
  Target target;
  const std::u16string newName(name);
  const Status status = FindTarget(parent, &newName, {}, &target);
  if (status != noErr) return status;
  if (mkdirat(target.place.descriptor(), target.place.name.c_str(), 0777) != 0) {
    // Some filesystems report EINVAL for a character that they cannot store in a name.
    return errno == EINVAL ? bdNamErr : LastError();
  }
  struct statx made = {};
  made.stx_mode = S_IFDIR;
  *folder = MakeTargetRef(target, InfoOfCopy(made, target));
  return noErr;
}

}  // namespace tessary
