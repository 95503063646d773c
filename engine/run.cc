#include "engine/run.h"

#include <optional>
#include <string>
#include <vector>

#include "engine/classification.h"
#include "engine/items.h"
#include "engine/keys.h"
#include "engine/pass.h"
#include "engine/shell.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/log.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

constexpr int kStatusLine = 1;

void ShowInStatusLine(const std::string& text) { ReportProgressText(text, kStatusLine); }

void ShowInLog(const std::string& text) { NSLog(text); }

bool IsCopyChosen() { return GetFileOperation() == kFileOperationCopy; }

std::optional<std::u16string> CopyExtensionKey(const FSRef& item) {
  const std::optional<CFURL> url = CFURLCreateFromFSRef(item);
  if (!url) return std::nullopt;
  return CFURLCopyPathExtension(*url);
}

std::optional<std::u16string> CopyMimeTypeKeyOfItem(const FSRef& item) {
  return CopyMimeTypeKey(CFURLCreateFromFSRef(item));
}

// True for a child that a run looks into.
bool IsFolderToEnter(const FSRef& item) {
  return FSIsFSRefValid(item) && !IsHiddenItem(item) && IsPlainFolder(item);
}

void WalkSubfolders(const FSRef& folder, const FSRef& destination) {
  const std::optional<std::vector<FSRef>> children = CopyFolderItems(folder);
  if (!children) return;
  for (const FSRef& child : *children) {
    if (IsFolderToEnter(child)) WalkFolder(child, destination);
  }
}

}  // namespace

void AggregateFolder(const FSRef& source, const FSRef& destination) {
  if (const std::optional<std::u16string> name = GetItemNameString(source)) {
    NSLog("Aggregating folder " + Utf8FromUtf16(*name));
  }
  const NSAutoreleasePool pool;
  WalkFolder(source, destination);
}

void WalkFolder(const FSRef& folder, const FSRef& destination) {
  if (GetRecurseFolders()) WalkSubfolders(folder, destination);
  AggregateFolderItems(folder, destination);
  // A copy leaves its source as it is.
  if (!IsCopyChosen()) FSSweepFolder(folder);
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

// No window is refreshed while a run goes by file type or by date: their progress is in the log.
void AggregateByFileType(const FSRef& folder, const FSRef* destination) {
  RunPass(folder, destination,
          {.copyKey = CopyFileTypeKey, .reportProgress = ShowInLog, .isCopyWanted = IsCopyChosen});
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
  const std::optional<std::vector<FSRef>> children = CopyFolderItems(destination);
  if (!children) return;
  for (const FSRef& child : *children) {
    if (!IsFolderToEnter(child)) continue;
    AggregateByDateLevel(child, &child, attribute, DateLevel::kDay, /*copy=*/false);
  }
}

void AggregateByDateLevel(const FSRef& folder, const FSRef* destination, DateAttribute attribute,
                          DateLevel level, bool copy) {
  PassRules rules;
  rules.reportProgress = ShowInLog;
  rules.isCopyWanted = [copy] { return copy; };
  if (level == DateLevel::kYear) {
    rules.copyKey = [attribute](const FSRef& item) { return CopyYearKey(item, attribute); };
    // The day level meets these again and tells what becomes of them.
    rules.onFiled = std::nullopt;
    rules.onInPlace = std::nullopt;
  } else {
    rules.copyKey = [attribute](const FSRef& item) { return CopyDayKey(item, attribute); };
    rules.onNoKey = ItemOutcome::kPassedOverInYear;
    rules.onFailed = ItemOutcome::kFailedInYear;
  }
  RunPass(folder, destination, rules);
}

}  // namespace tessary
