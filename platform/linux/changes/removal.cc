#include "platform/linux/changes/removal.h"

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/errors.h"
#include "platform/managers/log.h"
#include "platform/managers/uuid.h"

namespace tessary {
namespace {

// A fresh name that is neither hidden nor swept, and that every volume takes.
Status MakeVisibleName(std::string* name) {
  std::string hidden;
  const Status status = MakeTempName(&hidden);
  if (status == noErr) *name = hidden.substr(1);
  return status;
}

// Such a name that tells whose it is; none where the object's own is a hidden one, or where it
// would be too long, of which not every volume says that it is that.
std::optional<std::string> MakeStagedNameLike(std::string_view name) {
  const std::optional<std::string> uuid = CFUUIDCreateString();
  if (!uuid || name.starts_with('.')) return std::nullopt;
  const std::string_view stem = name.substr(0, name.rfind('.'));
  std::string made = std::string(stem) + " - " + *uuid + std::string(name.substr(stem.size()));
  return made.size() <= NAME_MAX ? std::optional(std::move(made)) : std::nullopt;
}

Status RemoveStaged(int folder, const char* stagedName, const UnchangedCheck& isUnchanged) {
  struct statx info = {};
  if (const Status status = ReadObjectInfo(folder, stagedName, &info)) return status;
  if (!isUnchanged(info)) return fBsyErr;
  return unlinkat(folder, stagedName, 0) == 0 ? noErr : LastError();
}

}  // namespace

Status RemoveIfUnchanged(int folder, const char* name, const UnchangedCheck& isUnchanged,
                         bool* isDisplaced) {
  if (const std::optional<std::string> stagedName = MakeStagedNameLike(name)) {
    const Status status = RemoveViaStagedName(folder, name, *stagedName, isUnchanged, isDisplaced);
    if (status != bdNamErr) return status;
  }
  std::string stagedName;
  if (const Status status = MakeVisibleName(&stagedName)) return status;
  return RemoveViaStagedName(folder, name, stagedName, isUnchanged, isDisplaced);
}

Status RemoveViaStagedName(int folder, const char* name, const std::string& stagedName,
                           const UnchangedCheck& isUnchanged, bool* isDisplaced) {
  // Nothing can bear the new name, so the plain call does, which every volume knows: the ways round
  // a missing flag would look at the old name and remove it, and that is the gap to be closed.
  if (renameat(folder, name, folder, stagedName.c_str()) != 0) return LastError();
  const Status status = RemoveStaged(folder, stagedName.c_str(), isUnchanged);
  if (status == noErr || status == fnfErr) return status;
  if (RenameWithoutReplacing(folder, stagedName.c_str(), folder, name) != noErr) {
    *isDisplaced = true;
    NSLog("\"" + std::string(name) + "\" could not keep its name and is now \"" + stagedName +
          "\"");
  }
  return status;
}

}  // namespace tessary
