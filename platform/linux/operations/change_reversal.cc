#include "platform/managers/change_reversal.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/place.h"
#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/delete_tree.h"
#include "platform/linux/changes/manifest.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/removal.h"
#include "platform/linux/changes/rename.h"
#include "platform/linux/changes/same_contents.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/open_without_symlinks.h"
#include "platform/linux/errors.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/operations/move_object.h"
#include "platform/linux/operations/object_state.h"
#include "platform/linux/operations/recover_folder.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

// A path whose folder is open. The object itself need not exist.
struct OpenedPath {
  Place place;
  std::string folderPath;
  Identity folder;
  Status status = noErr;  // of reading the object: fnfErr if the name is free
  struct statx info = {};

  int descriptor() const { return place.descriptor(); }
  const char* name() const { return place.name.c_str(); }
  NamedObject Object() const { return {descriptor(), place.name}; }
  void Read() { status = ReadObjectInfo(descriptor(), name(), &info); }
};

Reversal FailedReversal(Status status) { return {ReversalOutcome::kFailed, status}; }

// Opens the folder above the last component without following a link.
Status OpenAbove(const std::string& path, OpenedPath* opened, bool* isLink) {
  const size_t slash = path.rfind('/');
  opened->folderPath = slash == 0 ? "/" : path.substr(0, slash);
  UniqueFd folder = OpenFolderWithoutSymlinks(opened->folderPath);
  if (!folder) {
    *isLink = errno == ELOOP;
    return LastError();
  }
  struct statx info = {};
  if (const Status status = ReadObjectInfo(folder.get(), "", &info)) return status;
  opened->folder = Identity::Of(info);
  // Only after this is known how identities are compared on the filesystem.
  VolumeOf(opened->folder.device, folder.get());
  opened->place.folder = std::make_shared<const UniqueFd>(std::move(folder));
  opened->place.name = path.substr(slash + 1);
  return noErr;
}

// Gives a staged folder its name back, or another visible one. Returns `status`.
Status RestoreStagedTree(const OpenedPath& copy, TempItem* staged, Status status) {
  if (staged->Publish(copy.name()) == noErr) return status;
  const std::string visibleName = staged->name().substr(1);
  if (staged->Publish(visibleName.c_str()) == noErr) {
    NSLog("\"" + copy.place.name + "\" could not keep its name and is now \"" + visibleName + "\"");
  }
  return status;
}

// Returns false if both paths may lead to the only name of one object, as through a bind mount or
// on a filesystem that ignores case.
bool AreTwoNames(const OpenedPath& first, const OpenedPath& second) {
  if (!Identity::Of(first.info).Equals(Identity::Of(second.info))) return true;
  const bool isSameEntry =
      first.folder.Equals(second.folder) && first.place.name == second.place.name;
  return !S_ISDIR(first.info.stx_mode) && first.info.stx_nlink > 1 && !isSameEntry;
}

// Deletes the folder with everything in it, if it has the same contents as `original`.
Status DeleteSecondTree(const OpenedPath& copy, const NamedObject& original) {
  UniqueFd folder = OpenWithoutAtime(copy.descriptor(), copy.name(), O_DIRECTORY | O_NOFOLLOW);
  if (!folder) return LastError();
  Manifest before;
  Manifest after;
  if (const Status status = ReadManifest(folder.get(), &before)) return status;
  if (CompareContents(copy.Object(), original) != noErr) return fBsyErr;
  if (const Status status = ReadManifest(folder.get(), &after)) return status;
  if (!before.Matches(after)) return fBsyErr;
  // Staged under a temporary name, so that no half of it is ever seen under its own name, and
  // recovery deletes the rest after a crash.
  TempItem staged;
  Status status =
      TempItem::StageForDeletion(copy.descriptor(), copy.name(), std::move(folder), &staged);
  if (status != noErr) return status;
  bool hasBegun = false;
  struct statx info = {};
  // Through a bind mount, both paths may lead to the same folder, which is then gone from both.
  status = ReadObjectInfo(original.folder, original.name.c_str(), &info);
  if (status == noErr) {
    status = DeleteTree(copy.descriptor(), staged.name().c_str(), staged.fd(), &hasBegun);
  }
  // If another program has used the name, recovery must not delete the only copy.
  if (status != noErr && !hasBegun) return RestoreStagedTree(copy, &staged, status);
  return status;
}

// Deletes the file or link, if it has the same contents as the original, which is checked once more
// when the copy is staged.
Status DeleteSecondFile(const OpenedPath& copy, const OpenedPath& original,
                        const std::string& stagedName) {
  const auto isUnchanged = [&copy, &original](const struct statx& staged) {
    struct statx info = {};
    return IsUnchangedButForName(copy.info, staged) &&
           ReadObjectInfo(original.descriptor(), original.name(), &info) == noErr &&
           IsUnchangedButForName(original.info, info);
  };
  bool isDisplaced = false;
  return RemoveViaStagedName(copy.descriptor(), copy.name(), stagedName, isUnchanged, &isDisplaced);
}

class LinuxChangeReversal : public ChangeReversal {
 public:
  explicit LinuxChangeReversal(bool isDryRun) : isDryRun_(isDryRun) {}

  Reversal ReverseItem(const FiledItem& item) override try {
    OpenedPath original;
    bool isLink = false;
    const auto returned = returned_.find(item.original);
    const bool wouldBeBack = item.isCopy && returned != returned_.end();
    const std::string& path = wouldBeBack ? returned->second : item.original;
    const Status status = OpenAbove(path, &original, &isLink);
    if (isLink) return {ReversalOutcome::kLinkInPath};
    if (status == noErr) {
      if (!item.isCopy) PrepareFolder(original.folderPath, original.descriptor());
      RestoreStagedItem(original, item.places.front().stagingUuid);
      original.Read();
    }
    OpenedPath filed;
    const FiledItem::Place* found = nullptr;
    const ReversalOutcome outcome = FindFiled(item, &filed, &found);
    if (found == nullptr) return WithoutFiledItem(item, original, status, outcome);
    const bool hasOriginal = status == noErr && original.status == noErr;
    if (hasOriginal && (wouldBeBack || !IsVacated(item.original))) {
      return DeleteIfSecond(item, *found, filed, original);
    }
    if (item.isCopy) return {ReversalOutcome::kOriginalChanged};
    if (status != noErr) return FailedReversal(status);
    if (original.status != noErr && original.status != fnfErr) {
      return FailedReversal(original.status);
    }
    return MoveBack(item, *found, filed, original);
  } catch (const std::bad_alloc&) {
    return FailedReversal(memFullErr);
  }

  Reversal RemoveFolder(const CreatedFolder& folder) override try {
    OpenedPath opened;
    bool isLink = false;
    const Status status = OpenAbove(folder.path, &opened, &isLink);
    if (isLink) return {ReversalOutcome::kLinkInPath};
    if (status == fnfErr || status == dirNFErr) return {ReversalOutcome::kNothingToDo};
    if (status != noErr) return FailedReversal(status);
    opened.Read();
    if (opened.status == fnfErr || IsVacated(folder.path)) return {ReversalOutcome::kNothingToDo};
    if (opened.status != noErr) return FailedReversal(opened.status);
    const bool isSame = S_ISDIR(opened.info.stx_mode) &&
                        (!folder.state || IsObjectInState(opened.info, *folder.state));
    if (!isSame) return {ReversalOutcome::kChanged};
    return RemoveOpened(folder.path, opened);
  } catch (const std::bad_alloc&) {
    return FailedReversal(memFullErr);
  }

 private:
  // Recovers the folder once, so that what a killed run or reversal has left in it is completed or
  // removed. `folder` need not be open for reading.
  void PrepareFolder(const std::string& path, int folder) {
    if (isDryRun_ || !prepared_.insert(path).second) return;
    const UniqueFd readable = OpenWithoutAtime(folder, ".", O_DIRECTORY);
    bool hasSidecars = false;
    // A folder that cannot be read is not recovered. What is to be done in it fails by itself or
    // works.
    if (readable) (void)RecoverOpenFolder(readable.get(), path, &hasSidecars);
  }

  // Gives an item its name back that was staged for deletion when the process was killed.
  void RestoreStagedItem(const OpenedPath& opened, const std::string& stagingUuid) const {
    if (isDryRun_) return;
    const std::string stagedName = VisibleTempName(stagingUuid);
    struct statx info = {};
    if (ReadObjectInfo(opened.descriptor(), stagedName.c_str(), &info) != noErr) return;
    // If the name exists, the staged item stays: it is complete.
    (void)RenameWithoutReplacing(opened.descriptor(), stagedName.c_str(), opened.descriptor(),
                                 opened.name());
  }

  // Finds the item where the run has put it. The last change of a killed run may not have been
  // made, so that the places before are searched, too. Returns why there is none.
  ReversalOutcome FindFiled(const FiledItem& item, OpenedPath* filed,
                            const FiledItem::Place** found) {
    ReversalOutcome outcome = ReversalOutcome::kMissing;
    for (auto place = item.places.rbegin(); place != item.places.rend(); ++place) {
      OpenedPath opened;
      bool isLink = false;
      const Status status = OpenAbove(place->path, &opened, &isLink);
      if (isLink) outcome = ReversalOutcome::kLinkInPath;
      if (status != noErr) continue;
      PrepareFolder(opened.folderPath, opened.descriptor());
      RestoreStagedItem(opened, place->stagingUuid);
      opened.Read();
      if (opened.status != noErr || IsVacated(place->path)) continue;
      if (IsInState(opened.info, place->state)) {
        *filed = std::move(opened);
        *found = &*place;
        return outcome;
      }
      outcome = ReversalOutcome::kChanged;
    }
    return outcome;
  }

  static Reversal WithoutFiledItem(const FiledItem& item, const OpenedPath& original, Status status,
                                   ReversalOutcome outcome) {
    const bool isBack = status == noErr && original.status == noErr &&
                        HasSameSizeAndTime(original.info, item.originalState);
    const bool isCopyGone = item.isCopy && outcome == ReversalOutcome::kMissing;
    if (isBack || isCopyGone) return {ReversalOutcome::kNothingToDo};
    return {outcome};
  }

  // The original path has an object: that of a copy, the second one of a move across filesystems
  // that was killed, the second link of one without RENAME_NOREPLACE, or another program's.
  Reversal DeleteIfSecond(const FiledItem& item, const FiledItem::Place& place,
                          const OpenedPath& filed, const OpenedPath& original) {
    const bool isSame = HasSameSizeAndTime(original.info, item.originalState) &&
                        AreTwoNames(filed, original) &&
                        CompareContents(filed.Object(), original.Object()) == noErr &&
                        HasSameSidecar(item, filed, original);
    if (!isSame) {
      return {item.isCopy ? ReversalOutcome::kOriginalChanged : ReversalOutcome::kNameUsed};
    }
    if (!isDryRun_) {
      const Status status = DeleteSecond(item, place, filed, original);
      if (status == fBsyErr) return {ReversalOutcome::kChanged};
      if (status != noErr) return FailedReversal(status);
    }
    NoteVacated(item, place.path);
    return {ReversalOutcome::kCopyDeleted};
  }

  // Returns false if the item has a sidecar that would be deleted and is not the original's.
  static bool HasSameSidecar(const FiledItem& item, const OpenedPath& filed,
                             const OpenedPath& original) {
    if (!item.hasSidecar) return true;
    const NamedObject sidecar = {filed.descriptor(), SidecarName(filed.place.name)};
    struct statx info = {};
    if (ReadObjectInfo(sidecar.folder, sidecar.name.c_str(), &info) == fnfErr) return true;
    const NamedObject originalSidecar = {original.descriptor(), SidecarName(original.place.name)};
    return CompareContents(sidecar, originalSidecar) == noErr;
  }

  static Status DeleteSecond(const FiledItem& item, const FiledItem::Place& place,
                             const OpenedPath& filed, const OpenedPath& original) {
    const auto removeItem = [&filed, &original](const std::string& stagedName) {
      return S_ISDIR(filed.info.stx_mode) ? DeleteSecondTree(filed, original.Object())
                                          : DeleteSecondFile(filed, original, stagedName);
    };
    std::optional<ItemWithSidecar> withSidecar;
    if (const Status status = FindSidecarOf(item, filed, &withSidecar)) return status;
    return withSidecar ? DeleteWithSidecar(*withSidecar, removeItem)
                       : removeItem(VisibleTempName(place.stagingUuid));
  }

  // A "._" file beside an item that had no sidecar belongs to another item.
  static Status FindSidecarOf(const FiledItem& item, const OpenedPath& filed,
                              std::optional<ItemWithSidecar>* withSidecar) {
    if (!item.hasSidecar) return noErr;
    Place place = filed.place;
    place.mayHaveSidecar = true;
    if (const Status status = FindWithSidecar(place, withSidecar)) return status;
    if (withSidecar->has_value()) (*withSidecar)->path = filed.folderPath;
    return noErr;
  }

  Reversal MoveBack(const FiledItem& item, const FiledItem::Place& place, const OpenedPath& filed,
                    const OpenedPath& original) {
    if (!isDryRun_) {
      const Status status = Move(item, place, filed, original);
      if (status == dupFNErr) return {ReversalOutcome::kNameUsed};
      if (status != noErr) return FailedReversal(status);
    }
    NoteVacated(item, place.path);
    if (isDryRun_) returned_.emplace(item.original, place.path);
    return {ReversalOutcome::kMovedBack};
  }

  static Status Move(const FiledItem& item, const FiledItem::Place& place, const OpenedPath& filed,
                     const OpenedPath& original) {
    std::optional<ItemWithSidecar> withSidecar;
    if (const Status status = FindSidecarOf(item, filed, &withSidecar)) return status;
    const Target target = {0, original.folder, original.place};
    if (withSidecar) {
      return RenameOrCopyWithSidecar(*withSidecar, {CopyTargetOf(target), original.folderPath});
    }
    const CopySource source = {.folder = filed.descriptor(),
                               .name = filed.place.name,
                               .identity = Identity::Of(filed.info),
                               .stagedName = VisibleTempName(place.stagingUuid)};
    bool isRenamed = false;
    return RenameOrCopy(source, filed.place, filed.info, target, &isRenamed);
  }

  Reversal RemoveOpened(const std::string& path, const OpenedPath& opened) {
    UniqueFd folder =
        OpenWithoutAtime(opened.descriptor(), opened.name(), O_DIRECTORY | O_NOFOLLOW);
    if (folder) PrepareFolder(path, folder.get());
    std::vector<std::string> names;
    const auto remains = [&](std::string_view name) {
      return !IsVacated(path + "/" + std::string(name));
    };
    // rmdir decides about a folder that cannot be read.
    if (folder && ReadFolderNames(folder.get(), remains, &names) == noErr && !names.empty()) {
      return {ReversalOutcome::kFolderNotEmpty};
    }
    if (!isDryRun_ && unlinkat(opened.descriptor(), opened.name(), AT_REMOVEDIR) != 0) {
      const Status status = errno == EEXIST ? fBsyErr : LastError();
      return status == fBsyErr ? Reversal{ReversalOutcome::kFolderNotEmpty}
                               : FailedReversal(status);
    }
    if (isDryRun_) vacated_.insert(path);
    return {ReversalOutcome::kFolderRemoved};
  }

  bool IsVacated(const std::string& path) const { return isDryRun_ && vacated_.contains(path); }

  void NoteVacated(const FiledItem& item, const std::string& path) {
    if (!isDryRun_) return;
    vacated_.insert(path);
    if (!item.hasSidecar) return;
    const size_t name = path.rfind('/') + 1;
    vacated_.insert(path.substr(0, name) + SidecarName(path.substr(name)));
  }

  const bool isDryRun_;
  std::unordered_set<std::string> prepared_;  // the paths of the folders that were recovered
  std::unordered_set<std::string> vacated_;   // in a dry run: what would be gone by now
  // In a dry run: where the items are now that would be back at their original paths.
  std::unordered_map<std::string, std::string> returned_;
};

}  // namespace

std::unique_ptr<ChangeReversal> MakeChangeReversal(bool isDryRun) {
  return std::make_unique<LinuxChangeReversal>(isDryRun);
}

}  // namespace tessary
