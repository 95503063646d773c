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
#include "platform/linux/changes/rename_pin.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/errors.h"
#include "platform/managers/log.h"
#include "platform/managers/uuid.h"

namespace tessary {
namespace {

// Makes a new name that every filesystem accepts. Without the leading dot of a temporary name it is
// visible, and no cleanup removes it.
Status MakeVisibleName(std::string* name) {
  std::string tempName;
  const Status status = MakeTempName(&tempName);
  if (status == noErr) *name = tempName.substr(1);
  return status;
}

// Makes a new name from the object's own, by which people recognise it, and a later run files it,
// if a crash leaves it there. Returns none if the object is hidden, or if the name would be too
// long. That is checked here because not every filesystem reports it properly (sshfs reports a mere
// failure).
std::optional<std::string> MakeStagedNameLike(std::string_view name) {
  const std::optional<std::string> uuid = CFUUIDCreateString();
  if (!uuid || name.starts_with('.')) return std::nullopt;
  const std::string_view stem = name.substr(0, name.rfind('.'));
  std::string made = std::string(stem) + " - " + *uuid + std::string(name.substr(stem.size()));
  return made.size() <= NAME_MAX ? std::optional(std::move(made)) : std::nullopt;
}

// Between this check and the removal nobody can put another object under the name, because nobody
// knows it.
Status RemoveStaged(int folder, const char* stagedName, const RenamePin& pin,
                    const UnchangedCheck& isUnchanged) {
  struct statx info = {};
  if (const Status status = ReadObjectInfo(folder, stagedName, &info)) return status;
  pin.RestoreIdentity(&info);
  if (!isUnchanged(info)) return fBsyErr;
  return unlinkat(folder, stagedName, 0) == 0 ? noErr : LastError();
}

}  // namespace

Status RemoveIfUnchanged(int folder, const char* name, const UnchangedCheck& isUnchanged,
                         bool* isDisplaced) {
  if (const std::optional<std::string> stagedName = MakeStagedNameLike(name)) {
    const Status status = RemoveViaStagedName(folder, name, *stagedName, isUnchanged, isDisplaced);
    // bdNamErr: some filesystems have a lower limit than NAME_MAX, in other units.
    if (status != bdNamErr) return status;
  }
  std::string stagedName;
  if (const Status status = MakeVisibleName(&stagedName)) return status;
  return RemoveViaStagedName(folder, name, stagedName, isUnchanged, isDisplaced);
}

Status RemoveViaStagedName(int folder, const char* name, const std::string& stagedName,
                           const UnchangedCheck& isUnchanged, bool* isDisplaced) {
  // The staged name does not exist, so a plain rename, which every filesystem has, replaces
  // nothing. RenameWithoutReplacing could fall back to a link and an unlink of the old name, and
  // would then have the very window between check and removal that staging closes.
  const RenamePin pin(folder, name);
  if (renameat(folder, name, folder, stagedName.c_str()) != 0) return LastError();
  const Status status = RemoveStaged(folder, stagedName.c_str(), pin, isUnchanged);
  // fnfErr: nothing is left that could get its name back.
  if (status == noErr || status == fnfErr) return status;
  if (RenameWithoutReplacing(folder, stagedName.c_str(), folder, name) != noErr) {
    *isDisplaced = true;
    NSLog("\"" + std::string(name) + "\" could not keep its name and is now \"" + stagedName +
          "\"");
  }
  return status;
}

}  // namespace tessary
