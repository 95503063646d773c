#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/linux/catalog/folder_table.h"
#include "platform/linux/catalog/place.h"
#include "platform/managers/status.h"

namespace tessary {

// The changes that a dry run has planned: which names would have which object, and which would be
// free. The catalog asks it before it asks the filesystem, so that the rest of the run sees the
// folders as they would be. Nothing here changes a filesystem.
//
// A planned object is found under its new place, and read where it is now. A moved object keeps its
// identity. A new folder and a copy have an inode number of their own, which no filesystem uses,
// and the device of the folder that they would be in.
//
// Folders are distinguished by their identity, because one folder can be interned twice. Takes some
// 250 bytes for each object. Valid for one run: it holds references.
class PlannedItems {
 public:
  // A planned object.
  struct Item {
    Reference object = {};  // the object, or the original of a copy, where it is now
    uint64_t inode = 0;     // of a copy or a new folder; 0 for an object that keeps its identity
    PlannedState state = PlannedState::kNone;
  };

  PlannedItems(NameTable* names, FolderTable* folders) : names_(names), folders_(folders) {}

  // Returns true if the plan decides what has the name in an interned folder. Otherwise the
  // filesystem does.
  bool Covers(uint32_t folder, std::string_view name) const;

  // Returns the object that has the name by the plan, valid until the next change. Null if there is
  // none, and if the plan does not cover the name.
  const Item* Find(uint32_t folder, std::string_view name) const;

  // The functions below are Catalog::LookUp, Find and Stat for a name that the plan covers.

  // Returns noErr; fnfErr; bdNamErr (too long); otherwise an error of statx.
  Status LookUp(uint32_t folder, const std::string& name, Reference* reference) const;

  // Returns noErr; fnfErr (no object has the name); otherwise a status of FolderTable::Open.
  Status FindPlace(uint32_t folder, std::string_view name, Place* place) const;

  // Stats the object of that name at its place. Returns noErr; fnfErr (it is gone or replaced);
  // otherwise an error of statx.
  Status Stat(uint32_t folder, std::string_view name, const Place& place, unsigned mask,
              struct statx* info) const;

  // Returns whether the plan has put an object into the folder.
  bool HasItemsIn(uint32_t folder) const;

  // Returns references to the objects that the plan has put into the folder.
  std::vector<Reference> ItemsIn(uint32_t folder) const;

  // Puts an object under a name that is free. Returns its reference.
  Reference Add(uint32_t folder, std::string_view name, const Item& item);

  // Puts a new, empty folder there.
  Reference AddFolder(uint32_t folder, std::string_view name);

  // Frees a name.
  void Remove(uint32_t folder, std::string_view name);

  // If the object of the reference, whose folder number is `number`, is a folder that is planned to
  // be where it is not: has that folder opened where it is now.
  void PrepareFolder(const Reference& reference, uint32_t number);

  // Returns the inode number for the next copy.
  uint64_t NewInode() { return nextInode_++; }

 private:
  struct NameHash {
    using is_transparent = void;
    size_t operator()(std::string_view name) const { return std::hash<std::string_view>()(name); }
  };
  struct FolderPlan {
    std::unordered_map<std::string, Item, NameHash, std::equal_to<>> items;
    std::unordered_set<std::string, NameHash, std::equal_to<>> freed;  // names in the filesystem
  };
  struct FolderKey {
    uint64_t inode;
    uint32_t device;
    bool operator==(const FolderKey&) const = default;
  };
  struct FolderKeyHash {
    size_t operator()(const FolderKey& key) const {
      return std::hash<uint64_t>()(key.inode * 0x9E3779B97F4A7C15 ^ key.device);
    }
  };

  FolderKey KeyOf(uint32_t folder) const;
  const FolderPlan* FindPlan(uint32_t folder) const;
  Reference MakeReference(uint32_t folder, std::string_view name, const Item& item) const;
  bool HasOwnSidecar(uint32_t folder, std::string_view name, const Item& item) const;

  const uid_t user_ = geteuid();
  NameTable* names_;
  FolderTable* folders_;
  std::unordered_map<FolderKey, FolderPlan, FolderKeyHash> plans_;
  // The upper half of the numbers: filesystems count from below.
  uint64_t nextInode_ = uint64_t{1} << 63;
};

}  // namespace tessary
