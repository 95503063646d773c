#include "engine/pass.h"

#include <array>
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
void Tell(const std::optional<ItemOutcome>& outcome, const std::string& path) {
  if (outcome) ObserveItem(path, *outcome);
}

void TellOfItem(const std::optional<ItemOutcome>& outcome, const FSRef& item) {
  if (outcome) Tell(outcome, StringWithFSRef(&item).value_or(""));
}

// The paths of the key folders met in one pass, so that each is looked up or made once.
class KeyFolderTable {
 public:
  explicit KeyFolderTable(const FSRef& parent) : parent_(parent) { paths_.reserve(kExpectedKeys); }

  // The path of the folder for a key, or null where there is none to be had. That is not
  // remembered: the next item of the key tries again.
  const std::string* FindOrMake(const std::u16string& key) {
    const auto known = paths_.find(key);
    if (known != paths_.end()) return &known->second;
    FSRef folder;
    if (GetOrCreateKeyFolder(parent_, key, &folder) != noErr) return nullptr;
    std::optional<std::string> path = MakeRunPath(folder);
    if (!path) return nullptr;
    return &paths_.emplace(key, *std::move(path)).first->second;
  }

 private:
  FSRef parent_;
  std::unordered_map<std::u16string, std::string> paths_;
};

void FileItemAtPath(const std::string& itemPath, const std::string& folderPath,
                    const PassRules& rules) {
  rules.reportProgress("Moving: " + itemPath);
  const bool copy = rules.isCopyWanted();
  bool wasInPlace = false;
  if (TransferItemAtPath(itemPath, folderPath, copy, &wasInPlace)) {
    Tell(wasInPlace ? rules.onInPlace : rules.onFiled, itemPath);
    return;
  }
  NSLog("The file \"" + itemPath + "\" could not be moved to \"" + folderPath +
        "\". A file by the same name may exists there already.");
  Tell(rules.onFailed, itemPath);
}

void FileItem(const FSRef& item, const PassRules& rules, KeyFolderTable* table) {
  if (!FSIsFSRefValid(item)) {
    NSLog("Inavlid FSRef");
    TellOfItem(rules.onUntold, item);
    return;
  }
  if (IsHiddenItem(item)) return;
  bool isUnknown = false;
  const std::optional<std::u16string> key = rules.copyKey(item, &isUnknown);
  // No folder can bear the empty key, which a name that ends in "." has.
  if (!key || key->empty()) {
    TellOfItem(isUnknown ? rules.onUntold : rules.onNoKey, item);
    return;
  }
  const std::string* folderPath = table->FindOrMake(*key);
  const std::optional<std::string> itemPath =
      folderPath != nullptr ? MakeRunPath(item) : std::nullopt;
  if (!itemPath) {
    TellOfItem(rules.onUntold, item);
    return;
  }
  FileItemAtPath(*itemPath, *folderPath, rules);
}

}  // namespace

void RunPass(const FSRef& folder, const FSRef* destination, const PassRules& rules) {
  KeyFolderTable table(destination != nullptr ? *destination : folder);
  bool isListed = false;
  const std::optional<std::vector<FSRef>> items = ListFolderFiles(folder, &isListed);
  if (!isListed) TellOfItem(ItemOutcome::kFolderNotListed, folder);
  if (!items) return;
  for (const FSRef& item : *items) FileItem(item, rules, &table);
}

Status GetOrCreateKeyFolder(const FSRef& parent, std::u16string_view name, FSRef* folder) {
  if (folder == nullptr) return paramErr;
  if (MakeChildRef(parent, name, folder)) return noErr;
  return FSCreateDirectoryUnicode(parent, name, folder);
}

}  // namespace tessary
