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

// Returns none if the object does not exist or its path does not fit.
std::optional<std::string> MakeRunPath(const FSRef& ref) {
  std::array<char, kRunPathSize> path;
  if (FSRefMakePath(ref, path.data(), path.size()) != noErr) return std::nullopt;
  return std::string(path.data());
}

void ReportOutcome(const std::optional<ItemOutcome>& outcome, const std::string& path) {
  if (outcome) ObserveItem(path, *outcome);
}

void ReportItem(const std::optional<ItemOutcome>& outcome, const FSRef& item) {
  if (outcome) ReportOutcome(outcome, StringWithFSRef(&item).value_or(""));
}

// Reports no path: making one would need memory.
void ReportOutOfMemory(const std::optional<ItemOutcome>& outcome) {
  NSLog(kOutOfMemory);
  ReportOutcome(outcome, "");
}

struct KeyFolder {
  std::string path;
  FSRef ref;  // of the object that had the path when the folder was added
};

// The key folders of one pass, so that each is looked up or created once.
class KeyFolderTable {
 public:
  explicit KeyFolderTable(const FSRef& parent) : parent_(parent) {
    folders_.reserve(kExpectedKeys);
  }

  // Returns the folder for a key, or null if it cannot be looked up or created. A failure is not
  // remembered: the next item with the key tries again.
  const KeyFolder* FindOrCreate(const std::u16string& key) {
    const auto entry = folders_.find(key);
    if (entry != folders_.end()) return &entry->second;
    FSRef folder;
    if (GetOrCreateKeyFolder(parent_, key, &folder) != noErr) return nullptr;
    // Before anything is done in it, as a crashed run may have left an item without its sidecar.
    FSRecoverFolder(folder);
    std::optional<std::string> path = MakeRunPath(folder);
    if (!path) return nullptr;
    return &folders_.emplace(key, KeyFolder{*std::move(path), folder}).first->second;
  }

 private:
  FSRef parent_;
  std::unordered_map<std::u16string, KeyFolder> folders_;
};

// Takes one item of a pass from the listing to its key folder.
class PassItem {
 public:
  PassItem(const FSRef& item, const FSRef& parent, const PassRules& rules)
      : item_(item), parent_(parent), rules_(rules) {}

  void Process(KeyFolderTable* table);

 private:
  // Finds the item's path and key folder. Returns false if the item is not to be transferred; that
  // has then been reported.
  bool Prepare(KeyFolderTable* table);

  void ReportTransfer(bool isFiled, bool wasInPlace) const;

  const FSRef& item_;
  const FSRef& parent_;
  const PassRules& rules_;
  std::string path_;  // this and folder_ are set by Prepare
  const KeyFolder* folder_ = nullptr;
};

void PassItem::Process(KeyFolderTable* table) try {
  const FSStatCacheScope statCache;
  if (!Prepare(table)) return;
  rules_.reportProgress("Moving: " + path_);
  const bool copy = rules_.isCopyWanted();
  bool wasInPlace = false;
  const bool isFiled = TryFastTransfer(item_, parent_, folder_->ref, copy, &wasInPlace) ||
                       TransferItemAtPath(path_, folder_->path, copy, &wasInPlace);
  ReportTransfer(isFiled, wasInPlace);
} catch (const std::bad_alloc&) {
  ReportOutOfMemory(rules_.onUnlogged);
}

bool PassItem::Prepare(KeyFolderTable* table) {
  if (!FSIsFSRefValid(item_)) {
    if (FSIsDisappearanceExpected(item_)) return false;
    NSLog("Inavlid FSRef");
    ReportItem(rules_.onUnlogged, item_);
    return false;
  }
  if (IsHiddenItem(item_)) return false;
  bool isUnreadable = false;
  const std::optional<std::u16string> key = rules_.copyKey(item_, &isUnreadable);
  // A name that ends in "." has the empty key, which cannot name a folder.
  if (!key || key->empty()) {
    ReportItem(isUnreadable ? rules_.onUnlogged : rules_.onNoKey, item_);
    return false;
  }
  folder_ = table->FindOrCreate(*key);
  std::optional<std::string> path = folder_ != nullptr ? MakeRunPath(item_) : std::nullopt;
  if (!path) {
    ReportItem(rules_.onUnlogged, item_);
    return false;
  }
  path_ = *std::move(path);
  return true;
}

void PassItem::ReportTransfer(bool isFiled, bool wasInPlace) const {
  if (isFiled) {
    ReportOutcome(wasInPlace ? rules_.onInPlace : rules_.onFiled, path_);
    return;
  }
  NSLog("The file \"" + path_ + "\" could not be moved to \"" + folder_->path +
        "\". A file by the same name may exists there already.");
  ReportOutcome(rules_.onFailed, path_);
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
