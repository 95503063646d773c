#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/linux/catalog/reference.h"
#include "platform/linux/descriptors/unique_fd.h"

namespace tessary {

// The names that are too long for their reference. Released from the end, by mark; a reference that
// points behind the end has no name.
class NameTable {
 public:
  // Gives the reference its name.
  void SetName(Reference* reference, std::string_view name);

  // The reference's name, valid until the next SetName or release; empty for "/" and for a
  // reference whose name has been released.
  std::string_view NameOf(const Reference& reference) const;

  size_t Mark() const { return bytes_.size(); }
  void ReleaseTo(size_t mark);

 private:
  std::vector<char> bytes_;
};

// A descriptor of a folder, for use in *at() calls only (O_PATH). Whoever holds it keeps it open.
using FolderHandle = std::shared_ptr<const UniqueFd>;

// A folder that references lead through.
struct Folder {
  Reference self;
  uint64_t nameHash = 0;  // of the name of `self`, which may be released before the folder
  std::string path;  // absolute, without links; "/" for the root; none where the kernel takes none
                     // of that length
  FolderHandle descriptor;
  std::list<uint32_t>::iterator use;   // its place among the open folders, valid with a descriptor
  bool hasSidecars = false;            // a name beginning "._" has been seen in it
  bool mayHaveStaleTempFiles = false;  // and one that a run may have left there
  bool isListed = false;               // it has been listed to its end
};

// The interned folders, numbered from 1. Each knows its path, if that is one that the kernel takes:
// kept for every level of a deep tree, longer ones would take memory by the square of its depth.
// And each holds, while it is among the recently used, a descriptor that was found to be of the
// folder that was interned.
class FolderTable {
 public:
  explicit FolderTable(NameTable* names) : names_(names) {}

  // The number of the folder of a reference, interning it where it is new; 0 where the folder that
  // holds it has been released.
  uint32_t Intern(const Reference& reference);

  // The folder's path, of any length; empty where it, or one above it, has been released.
  std::string PathOf(uint32_t number) const;

  // The path of that name in the folder; empty like the folder's own, and for the empty name.
  std::string PathOfChild(uint32_t number, std::string_view name) const;

  // The number of the folder interned last for this path, or 0, as for every path that the kernel
  // does not take.
  uint32_t FindByPath(const std::string& path) const;

  // The folder of a number, or null. Valid until it is released.
  const Folder* Find(uint32_t number) const;

  // Opens the folder, or finds it open. Answers noErr; fnfErr (no such number, or another object is
  // at the folder's path); errFSNotAFolder; else the failure of opening it. `*handle` is written on
  // success only.
  Status Open(uint32_t number, FolderHandle* handle);

  // Keeps in mind that a name beginning "._" has been seen in the folder, so that its items are
  // asked for their sidecars. Nothing is done for a number without a folder.
  void NoteSidecar(uint32_t number);
  bool HasSidecars(uint32_t number) const;

  // The same of a name that objects bear which are being made or unmade.
  void NoteTempFile(uint32_t number);
  bool MayHaveStaleTempFiles(uint32_t number) const;

  // True when such a name has been seen in any folder that is interned.
  bool HasAnySidecars() const { return foldersWithSidecars_ > 0; }

  // Keeps in mind, until anything is released, that the folder has been listed to its end.
  void NoteListed(uint32_t number);
  bool IsListed(uint32_t number) const;

  // Forgets by which path a folder was interned where another object, or none, is found there.
  // References that lead through it keep it.
  void ForgetPathIfStale(const std::string& path);

  size_t Mark() const { return folders_.size(); }
  void ReleaseTo(size_t mark);

 private:
  // Finds interned folders by place. The identity is compared as well. Two paths to one folder are
  // two interned folders.
  struct Key {
    uint64_t nameHash;
    uint32_t device;
    uint32_t parent;
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    size_t operator()(const Key& key) const;
  };

  Key KeyOf(const Reference& reference) const;
  uint32_t FindByReference(const Reference& reference) const;
  Status OpenUncached(uint32_t number, FolderHandle* handle);
  Status OpenVerified(int above, const char* path, uint32_t number, FolderHandle* handle);
  void CloseLeastRecentlyUsed(size_t keep);

  NameTable* names_;
  std::vector<std::unique_ptr<Folder>> folders_;
  std::unordered_map<std::string, uint32_t> byPath_;
  std::unordered_multimap<Key, uint32_t, KeyHash> byKey_;
  std::list<uint32_t> openFolders_;  // most recently used first
  size_t foldersWithSidecars_ = 0;
};

}  // namespace tessary
