#include "engine/run.h"

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "engine/classification.h"
#include "engine/items.h"
#include "engine/keys.h"
#include "engine/pass.h"
#include "engine/shell.h"
#include "platform/file_system.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/calendar.h"
#include "platform/managers/log.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

constexpr int kStatusLine = 1;

void ShowInStatusLine(const std::string& text) {
  const auto& showProgressText = GetEngineHooks().showProgressText;
  if (showProgressText) showProgressText(text, kStatusLine);
}

bool IsCopyChosen() { return GetFileOperation() == kFileOperationCopy; }

std::optional<std::u16string> CopyExtensionKey(const FSRef& item, Status* status) {
  const std::optional<CFURL> url = CFURLCreateFromFSRef(item);
  if (!url) *status = WhyUnreadable(item);
  return url ? CFURLCopyPathExtension(*url) : std::nullopt;
}

std::optional<std::u16string> CopyMimeTypeKeyOfItem(const FSRef& item, Status* status) {
  const std::optional<CFURL> url = CFURLCreateFromFSRef(item);
  if (!url) *status = WhyUnreadable(item);
  return CopyMimeTypeKey(url);
}

// Reports a child that cannot be entered, unless it is known not to be a folder or its name is
// gone. If another object has the name, what the folder held is not filed. Only folders need this:
// the pass over the parent folder reports an unreadable file.
void ReportUnreadableFolder(const FSRef& child, Status reason) {
  uint8_t isFolder = 0;
  const Status status = GetNodeIdAndKind(child, nullptr, &isFolder);
  const bool isOther = status == noErr && isFolder == 0;
  if (isOther || (status == fnfErr && FSIsNameGone(child))) return;
  ObserveUnlistedFolder(child, status != noErr ? status : reason);
}

// Returns true for a plain folder that is not hidden.
bool IsFolderToEnter(const FSRef& child) {
  if (!FSMayBeFolder(child)) return false;
  const FSStatCacheScope statCache;
  Status status = fnfErr;
  if (FSIsFSRefValid(child)) {
    if (IsHiddenItem(child)) return false;
    if (IsPlainFolder(child, &status)) return true;
  }
  if (status != noErr) ReportUnreadableFolder(child, status);
  return false;
}

// Calls `enter` with each child that is a folder to enter.
template <typename Enter>
void EnterSubfolders(const FSRef& folder, Enter enter) {
  Status status = noErr;
  const std::optional<std::vector<FSRef>> children = CopyFolderItems(folder, &status);
  if (status != noErr) ObserveUnlistedFolder(folder, status);
  if (!children) return;
  for (const FSRef& child : *children) {
    try {
      if (IsFolderToEnter(child)) enter(child);
    } catch (const std::bad_alloc&) {
      ReportFolderOutOfMemory();
    }
  }
}

}  // namespace

void AggregateFolder(const FSRef& source, const FSRef& destination) try {
  if (const std::optional<std::u16string> name = GetItemNameString(source)) {
    LogSuccess("Aggregating folder " + Utf8FromUtf16(*name));
  }
  const NSAutoreleasePool pool;
  // A desktop process may run for weeks, and across time zones.
  CFTimeZoneResetSystem();
  FSRecoverFolder(destination);
  WalkFolder(source, destination);
} catch (const std::bad_alloc&) {
  ReportFolderOutOfMemory();
}

void WalkFolder(const FSRef& folder, const FSRef& destination) {
  // Copying must not change its source.
  if (!IsCopyChosen()) FSRecoverFolder(folder);
  if (GetRecurseFolders()) {
    EnterSubfolders(folder, [&destination](const FSRef& child) { WalkFolder(child, destination); });
  }
  AggregateFolderItems(folder, destination);
}

void AggregateFolderItems(const FSRef& folder, const FSRef& destination) {
  switch (GetAggregationKind()) {
    case AggregationKind::kExtension:
      AggregateByExtension(folder, &destination);
      break;
    case AggregationKind::kFileType:
      AggregateByFileType(folder, &destination);
      break;
    case AggregationKind::kMimeType:
      AggregateByMimeType(folder, &destination);
      break;
    case AggregationKind::kModificationDate:
      AggregateByDate(folder, destination, DateAttribute::NSFileModificationDate, IsCopyChosen());
      break;
    case AggregationKind::kCreationDate:
      AggregateByDate(folder, destination, DateAttribute::NSFileCreationDate, IsCopyChosen());
      break;
  }
}

void AggregateByExtension(const FSRef& folder, const FSRef* destination) {
  RunPass(folder, destination,
          {.copyKey = CopyExtensionKey,
           .reportProgress = ShowInStatusLine,
           .isCopyWanted = IsCopyChosen});
}

// By file type and by date the progress text goes to the log, and no window is refreshed until the
// run ends. This difference between the kinds is deliberate.
void AggregateByFileType(const FSRef& folder, const FSRef* destination) {
  RunPass(folder, destination,
          {.copyKey = CopyFileTypeKey, .reportProgress = LogSuccess, .isCopyWanted = IsCopyChosen});
}

void AggregateByMimeType(const FSRef& folder, const FSRef* destination) {
  RunPass(folder, destination,
          {.copyKey = CopyMimeTypeKeyOfItem,
           .reportProgress = ShowInStatusLine,
           .isCopyWanted = IsCopyChosen});
}

void AggregateByDate(const FSRef& folder, const FSRef& destination, DateAttribute attribute,
                     bool copy) {
  AggregateByDateLevel(folder, &destination, attribute, DateLevel::kYear, copy);
  EnterSubfolders(destination, [attribute](const FSRef& child) {
    FSRecoverFolder(child);
    AggregateByDateLevel(child, &child, attribute, DateLevel::kDay, /*copy=*/false);
  });
}

void AggregateByDateLevel(const FSRef& folder, const FSRef* destination, DateAttribute attribute,
                          DateLevel level, bool copy) {
  PassRules rules;
  rules.reportProgress = LogSuccess;
  rules.isCopyWanted = [copy] { return copy; };
  if (level == DateLevel::kYear) {
    rules.copyKey = [attribute](const FSRef& item, Status* status) {
      return CopyYearKey(item, attribute, status);
    };
    rules.step = FilingStep::kYear;
  } else {
    rules.copyKey = [attribute](const FSRef& item, Status* status) {
      return CopyDayKey(item, attribute, status);
    };
    rules.step = FilingStep::kDay;
  }
  RunPass(folder, destination, rules);
}

}  // namespace tessary
