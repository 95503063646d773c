#include "engine/pass.h"

#include <array>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/items.h"
#include "engine/shell.h"
#include "engine/transfer.h"
#include "platform/file_system.h"
#include "platform/managers/log.h"
#include "platform/strings.h"

namespace tessary {
namespace {

constexpr size_t kRunPathSize = 2048;
constexpr size_t kExpectedKeys = 50;

// The path under which a run handles an object; none for an object that is gone, and for a path
// that does not fit.
std::optional<std::string> MakeRunPath(const FSRef& ref) {
  std::array<char, kRunPathSize> path;
  if (FSRefMakePath(ref, path.data(), path.size()) != noErr) return std::nullopt;
  return std::string(path.data());
}

// Tells the observer what it is to be told, if anything.
void ReportOutcome(const std::optional<ItemOutcome>& outcome, const std::string& path) {
  if (outcome) ObserveItem(path, *outcome);
}

void ReportItem(const std::optional<ItemOutcome>& outcome, const FSRef& item) {
  if (outcome) ReportOutcome(outcome, StringWithFSRef(&item).value_or(""));
}

// Without a path, which would take memory too.
void ReportOutOfMemory(const std::optional<ItemOutcome>& outcome) {
  NSLog(kOutOfMemory);
  ReportOutcome(outcome, "");
}

struct KeyFolder {
  std::string path;
  FSRef ref;  // as it was when the path was made
};

// The key folders met in one pass, so that each is looked up or made once.
class KeyFolderTable {
 public:
  explicit KeyFolderTable(const FSRef& parent) : parent_(parent) {
    folders_.reserve(kExpectedKeys);
  }

  // The folder for a key, or null where there is none to be had. That is not remembered: the next
  // item of the key tries again.
  const KeyFolder* FindOrMake(const std::u16string& key) {
    const auto known = folders_.find(key);
    if (known != folders_.end()) return &known->second;
    FSRef folder;
    if (GetOrCreateKeyFolder(parent_, key, &folder) != noErr) return nullptr;
    std::optional<std::string> path = MakeRunPath(folder);
    if (!path) return nullptr;
    return &folders_.emplace(key, KeyFolder{*std::move(path), folder}).first->second;
  }

 private:
  FSRef parent_;
  std::unordered_map<std::u16string, KeyFolder> folders_;
};

// One item of a pass, on its way from the listing to its key folder.
class PassItem {
 public:
  PassItem(const FSRef& item, const FSRef& parent, const PassRules& rules)
      : item_(item), parent_(parent), rules_(rules) {}

  void Process(KeyFolderTable* table) try {
    const FSStatCacheScope step;
    if (Prepare(table)) Transfer();
  } catch (const std::bad_alloc&) {
    ReportOutOfMemory(rules_.onUnlogged);
  }

 private:
  // Works out where the item goes. False where it goes nowhere, of which has been told.
  bool Prepare(KeyFolderTable* table);

  void Transfer() const;
  bool TransferToFolder(bool* wasInPlace) const;

  const FSRef& item_;
  const FSRef& parent_;
  const PassRules& rules_;
  std::string path_;
  const KeyFolder* folder_ = nullptr;
};

bool PassItem::Prepare(KeyFolderTable* table) {
  if (!FSIsFSRefValid(item_)) {
    if (FSIsDisappearanceExpected(item_)) return false;
    NSLog("Inavlid FSRef");
    ReportItem(rules_.onUnlogged, item_);
    return false;
  }
  if (IsHiddenItem(item_)) return false;
  bool isUnknown = false;
  const std::optional<std::u16string> key = rules_.copyKey(item_, &isUnknown);
  // No folder can bear the empty key, which a name that ends in "." has.
  if (!key || key->empty()) {
    ReportItem(isUnknown ? rules_.onUnlogged : rules_.onNoKey, item_);
    return false;
  }
  folder_ = table->FindOrMake(*key);
  std::optional<std::string> path = folder_ != nullptr ? MakeRunPath(item_) : std::nullopt;
  if (!path) {
    ReportItem(rules_.onUnlogged, item_);
    return false;
  }
  path_ = *std::move(path);
  return true;
}

void PassItem::Transfer() const {
  rules_.reportProgress("Moving: " + path_);
  bool wasInPlace = false;
  if (TransferToFolder(&wasInPlace)) {
    ReportOutcome(wasInPlace ? rules_.onInPlace : rules_.onFiled, path_);
    return;
  }
  NSLog("The file \"" + path_ + "\" could not be moved to \"" + folder_->path +
        "\". A file by the same name may exists there already.");
  ReportOutcome(rules_.onFailed, path_);
}

bool PassItem::TransferToFolder(bool* wasInPlace) const {
  const bool copy = rules_.isCopyWanted();
  const auto tryFastTransfer = copy ? TryFastCopy : TryFastMove;
  if (tryFastTransfer(item_, parent_, folder_->ref, wasInPlace)) return true;
  return TransferItemAtPath(path_, folder_->path, copy, wasInPlace);
}

}  // namespace

void RunPass(const FSRef& folder, const FSRef* destination, const PassRules& rules) try {
  KeyFolderTable table(destination != nullptr ? *destination : folder);
  bool isListed = false;
  const std::optional<std::vector<FSRef>> items = ListFolderFiles(folder, &isListed);
  if (!isListed) ReportItem(ItemOutcome::kFolderNotListed, folder);
  if (!items) return;
  for (const FSRef& item : *items) PassItem(item, folder, rules).Process(&table);
} catch (const std::bad_alloc&) {
  ReportOutOfMemory(ItemOutcome::kFolderNotListed);
}

Status GetOrCreateKeyFolder(const FSRef& parent, std::u16string_view name, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  if (MakeChildRef(parent, name, folder)) return noErr;
  return FSCreateDirectoryUnicode(parent, name, folder);
}

}  // namespace tessary
