#include "platform/linux/operations/recover_folder.h"

#include <fcntl.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/catalog/folder_names.h"
#include "platform/linux/catalog/temp_name.h"
#include "platform/linux/changes/object_info.h"
#include "platform/linux/changes/temp_cleanup.h"
#include "platform/linux/descriptors/open_without_atime.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/sidecars/sidecar_journal.h"
#include "platform/linux/sidecars/sidecar_recovery.h"
#include "platform/managers/file_manager.h"

namespace tessary {
namespace {

// The names that recovery is interested in, from one pass over a folder.
struct FolderScan {
  std::vector<std::string> tempItems;
  std::vector<std::string> journalEntries;
  bool hasSidecars = false;
};

Status ScanForRecovery(int folder, FolderScan* scan) {
  std::vector<std::string> names;
  const auto isWanted = [scan](std::string_view name) {
    scan->hasSidecars |= IsSidecarName(name);
    return IsTempName(name) || IsJournalEntryName(name);
  };
  if (const Status status = ReadFolderNames(folder, isWanted, &names)) return status;
  for (std::string& name : names) {
    (IsTempName(name) ? scan->tempItems : scan->journalEntries).push_back(std::move(name));
  }
  return noErr;
}

// Opens the folder of a reference for reading. Not by the folder table, which would hold it open:
// a folder that is renamed before the first item is filed into it must not be found by its
// descriptor, but be missing at its path.
UniqueFd OpenToScan(const Reference& folder) {
  Place place;
  if (Catalog::Get().Find(folder, &place) != noErr) return UniqueFd();
  UniqueFd opened =
      OpenWithoutAtime(place.descriptor(), place.name.c_str(), O_DIRECTORY | O_NOFOLLOW);
  return opened && IsNameOf(opened.get(), "", folder.GetIdentity()) ? std::move(opened)
                                                                    : UniqueFd();
}

}  // namespace

bool RecoverOpenFolder(int folder, const std::string& path, bool* hasSidecars) {
  FolderScan scan;
  if (ScanForRecovery(folder, &scan) != noErr) return false;
  // A dry run only learns whether there are sidecars.
  if (Catalog::Get().planned() == nullptr) {
    // The temporary items first: one may be the record of a deletion, and the sidecar of an item
    // that is still being deleted would be restored.
    for (const std::string& name : scan.tempItems) DeleteStaleTempItem(folder, name);
    RecoverSidecars(folder, path, scan.journalEntries);
  }
  // A recovered sidecar was not among the names.
  *hasSidecars = scan.hasSidecars || !scan.journalEntries.empty();
  return true;
}

void FSRecoverFolder(const FSRef& folder) {
  const Reference reference = ReferenceOf(folder);
  if (!reference.IsFolder()) return;
  FolderTable& folders = Catalog::Get().folders();
  const uint32_t number = folders.Intern(reference);
  if (folders.IsRecovered(number)) return;
  const UniqueFd opened = OpenToScan(reference);
  bool hasSidecars = false;
  // A folder that cannot be read is not recovered. What the run does in it fails by itself or
  // works.
  if (!opened || !RecoverOpenFolder(opened.get(), folders.PathOf(number), &hasSidecars)) return;
  if (hasSidecars) folders.NoteSidecar(number);
  folders.NoteListed(number);
  folders.NoteRecovered(number);
}

}  // namespace tessary
