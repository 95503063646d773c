#include "engine/pass.h"

#include <array>
#include <cstdint>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/items.h"
#include "engine/shell.h"
#include "engine/transfer.h"
#include "platform/file_system.h"
#include "platform/managers/item_details.h"
#include "platform/managers/log.h"

namespace tessary {
namespace {

constexpr size_t kRunPathSize = 2048;
constexpr size_t kExpectedKeys = 50;

// Fails if the object does not exist or its path does not fit.
Status MakeRunPath(const FSRef& ref, std::string* path) {
  std::array<char, kRunPathSize> buffer;
  const Status status = FSRefMakePath(ref, buffer.data(), buffer.size());
  if (status == noErr) *path = buffer.data();
  return status;
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

  // Returns the folder for a key, or null and why it cannot be looked up or created. A failure is
  // not remembered: the next item with the key tries again.
  const KeyFolder* FindOrCreate(const std::u16string& key, Status* status) {
    const auto entry = folders_.find(key);
    if (entry != folders_.end()) return &entry->second;
    FSRef folder;
    *status = GetOrCreateKeyFolder(parent_, key, &folder);
    if (*status != noErr) return nullptr;
    // Before anything is done in it, as a crashed run may have left an item without its sidecar.
    FSRecoverFolder(folder);
    std::string path;
    *status = MakeRunPath(folder, &path);
    if (*status == noErr) {
      return &folders_.emplace(key, KeyFolder{std::move(path), folder}).first->second;
    }
    // The reference is all zero if the name could not be looked up. Only a second lookup has the
    // reason.
    const Status lookUp = FSMakeFSRefUnicode(parent_, key, &folder);
    if (lookUp != noErr) *status = lookUp;
    return nullptr;
  }

  // The path that the folder for a key has, or would have.
  std::string PathFor(const std::u16string& key) const { return FSPathOfChild(parent_, key); }

 private:
  FSRef parent_;
  std::unordered_map<std::u16string, KeyFolder> folders_;
};

// Takes one item of a pass from the listing to its key folder.
class PassItem {
 public:
  PassItem(const FSRef& item, const FSRef& parent, const PassRules& rules)
      : item_(item), parent_(parent), rules_(rules) {}

  // `copyAhead` knows the list that the item is an element of.
  void Process(KeyFolderTable* table, FSCopyAhead* copyAhead);

 private:
  // Finds the item's path and key folder. Returns false if the item is not to be transferred; that
  // has then been reported.
  bool Prepare(KeyFolderTable* table);

  // Reports an item that is not transferred. `folderPath` makes the path of the key folder, if that
  // is known; it is called only if the report is observed.
  void ReportUntransferred(ItemOutcome outcome, Status status,
                           const std::function<std::string()>& folderPath = {}) const;

  void ReportTransfer(bool copy, const TransferResult& result) const;

  // Reads the size for the reports. An item whose size cannot be read is reported without it.
  void ReadSize();

  const FSRef& item_;
  const FSRef& parent_;
  const PassRules& rules_;
  std::string path_;  // this and the members below are set by Prepare
  const KeyFolder* folder_ = nullptr;
  std::optional<uint64_t> size_;
};

void PassItem::Process(KeyFolderTable* table, FSCopyAhead* copyAhead) try {
  const FSStatCacheScope statCache;
  if (!Prepare(table)) return;
  rules_.reportProgress("Moving: " + path_);
  const bool copy = rules_.isCopyWanted();
  if (copy) copyAhead->WillCopy(item_);
  TransferResult result;
  const bool isFiled = TryFastTransfer(item_, parent_, folder_->ref, copy, &result) ||
                       TransferItemAtPath(path_, folder_->path, copy, &result);
  if (!isFiled) {
    NSLog("The file \"" + path_ + "\" could not be moved to \"" + folder_->path +
          "\". A file by the same name may exists there already.");
  }
  ReportTransfer(copy, result);
} catch (const std::bad_alloc&) {
  NSLog(kOutOfMemory);
  ObserveItem({.path = path_,
               .outcome = ItemOutcome::kNotTransferred,
               .step = rules_.step,
               .status = memFullErr});
}

bool PassItem::Prepare(KeyFolderTable* table) {
  if (!FSIsFSRefValid(item_)) {
    if (FSIsDisappearanceExpected(item_)) return false;
    NSLog("Inavlid FSRef");
    ReportUntransferred(ItemOutcome::kNotRead, WhyUnreadable(item_));
    return false;
  }
  if (IsHiddenItem(item_)) return false;
  if (GetEngineHooks().wantsSizes) ReadSize();
  Status status = noErr;
  const std::optional<std::u16string> key = rules_.copyKey(item_, &status);
  // A name that ends in "." has the empty key, which cannot name a folder.
  if (!key || key->empty()) {
    ReportUntransferred(status == noErr ? ItemOutcome::kSkipped : ItemOutcome::kNotRead, status);
    return false;
  }
  folder_ = table->FindOrCreate(*key, &status);
  if (folder_ == nullptr) {
    ReportUntransferred(ItemOutcome::kNoKeyFolder, status, [&] { return table->PathFor(*key); });
    return false;
  }
  status = MakeRunPath(item_, &path_);
  if (status == noErr) return true;
  ReportUntransferred(ItemOutcome::kNotRead, status, [&] { return folder_->path; });
  return false;
}

void PassItem::ReportUntransferred(ItemOutcome outcome, Status status,
                                   const std::function<std::string()>& folderPath) const {
  if (!GetEngineHooks().observeItem) return;
  ObserveItem({.path = FSLastKnownPath(item_),
               .folderPath = folderPath ? folderPath() : std::string(),
               .outcome = outcome,
               .step = rules_.step,
               .status = status,
               .size = size_});
}

void PassItem::ReportTransfer(bool copy, const TransferResult& result) const {
  ObserveItem({.path = path_,
               .folderPath = folder_->path,
               .newName = result.newName,
               .outcome = result.outcome,
               .step = rules_.step,
               .isCopy = copy,
               .status = result.status,
               .replace = result.replace,
               .size = size_});
}

void PassItem::ReadSize() {
  uint64_t bytes = 0;
  if (CopyItemSize(item_, &bytes) == noErr) size_ = bytes;
}

}  // namespace

void RunPass(const FSRef& folder, const FSRef* destination, const PassRules& rules) try {
  const FSRef& parent = destination != nullptr ? *destination : folder;
  KeyFolderTable table(parent);
  Status status = noErr;
  const std::optional<std::vector<FSRef>> items = ListFolderFiles(folder, &status);
  if (status != noErr) ObserveUnlistedFolder(folder, status);
  if (!items) return;
  FSCopyAhead copyAhead(items->data(), items->size(), parent);
  for (const FSRef& item : *items) PassItem(item, folder, rules).Process(&table, &copyAhead);
} catch (const std::bad_alloc&) {
  ReportFolderOutOfMemory();
}

void ObserveUnlistedFolder(const FSRef& folder, Status status) {
  if (!GetEngineHooks().observeItem) return;
  ObserveItem({.path = FSLastKnownPath(folder),
               .outcome = ItemOutcome::kFolderNotListed,
               .status = status});
}

void ReportFolderOutOfMemory() {
  NSLog(kOutOfMemory);
  ObserveItem({.path = "", .outcome = ItemOutcome::kFolderNotListed, .status = memFullErr});
}

Status GetOrCreateKeyFolder(const FSRef& parent, std::u16string_view name, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  if (MakeChildRef(parent, name, folder)) return noErr;
  return FSCreateDirectoryUnicode(parent, name, folder);
}

}  // namespace tessary
