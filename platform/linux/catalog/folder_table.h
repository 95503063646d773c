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

// The names that do not fit into their reference. Released from the end, by mark: a reference whose
// name has been released has no name.
class NameTable {
 public:
  // Gives the reference its name.
  void SetName(Reference* reference, std::string_view name);

  // Returns the reference's name, valid until the next SetName or release. Empty for "/" and for a
  // reference whose name has been released.
  std::string_view NameOf(const Reference& reference) const;
  std::string_view NameOf(Reference&&) const = delete;  // the text may be inside the reference

  size_t Mark() const { return bytes_.size(); }
  void ReleaseTo(size_t mark);

 private:
  std::vector<char> bytes_;
};

// A folder's descriptor, for *at() calls only (O_PATH). It stays open while anybody holds it.
using FolderHandle = std::shared_ptr<const UniqueFd>;

// A folder that references lead through.
struct Folder {
  Reference self;
  uint64_t nameHash = 0;  // of the name of `self`, which may be released before the folder
  std::string path;  // absolute, without symbolic links; "/" for the root; empty if it is longer
                     // than the kernel accepts
  FolderHandle descriptor;
  std::list<uint32_t>::iterator use;  // position among the open folders, valid with a descriptor
  bool hasSidecars = false;           // a name beginning with "._" has been seen in it
  bool isListed = false;              // all its names have been read in this run
  bool isRecovered = false;           // FSRecoverFolder has recovered it in this run
  // In a dry run, the folder to open instead of one that is not there; 0 otherwise. For a folder
  // that would be moved, the one that it is now. For one that would be made, the one around it,
  // which is on the same filesystem.
  uint32_t standIn = 0;
  bool isPlanned = false;  // it would be made
};

// The interned folders, numbered from 1. Each knows its path if the kernel accepts one of that
// length: longer paths, kept for every level of a deep tree, would take memory quadratic in the
// tree's depth. The most recently used folders hold a descriptor, which has been verified to be
// that of the folder that was interned.
class FolderTable {
 public:
  explicit FolderTable(NameTable* names) : names_(names) {}

  // Returns the number of the folder of a reference, interning it if it is new. 0 if the folder
  // that holds it has been released.
  uint32_t Intern(const Reference& reference);

  // Returns the folder's path, of any length. Empty if the folder, or one above it, has been
  // released.
  std::string PathOf(uint32_t number) const;

  // Returns the path of a name in the folder. Empty as for PathOf, and for the empty name.
  std::string PathOfChild(uint32_t number, std::string_view name) const;

  // Returns the number of the folder that was interned last for this path. 0 if there is none, and
  // for every path that is longer than the kernel accepts.
  uint32_t FindByPath(const std::string& path) const;

  // Returns the folder of a number, valid until it is released, or null.
  const Folder* Find(uint32_t number) const;

  // Opens the folder, unless it is open. Returns noErr; fnfErr (no such number, or another object
  // is at the folder's path); errFSNotAFolder; otherwise the failure of opening it. `*handle` is
  // written on success only.
  Status Open(uint32_t number, FolderHandle* handle);

  // Has `standIn` opened instead of the folder (Folder).
  void SetStandIn(uint32_t number, uint32_t standIn, bool isPlanned);
  bool IsPlanned(uint32_t number) const;

  // Notes that a name beginning with "._" has been seen in the folder: from now on its items are
  // looked up together with their sidecars. Ignores a number without a folder.
  void NoteSidecar(uint32_t number);
  bool HasSidecars(uint32_t number) const;

  // Notes, until anything is released, that all names of the folder have been read. Ignores a
  // number without a folder.
  void NoteListed(uint32_t number);
  bool IsListed(uint32_t number) const;

  // Notes, until anything is released, that the folder has been recovered. Ignores a number without
  // a folder.
  void NoteRecovered(uint32_t number);
  bool IsRecovered(uint32_t number) const;

  // Forgets the path of a folder if another object, or none, is found there. References that lead
  // through the folder keep the path.
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
  Folder* FindMutable(uint32_t number);
  Status OpenUncached(uint32_t number, FolderHandle* handle);
  Status OpenVerified(int above, const char* path, uint32_t number, FolderHandle* handle);
  void CloseLeastRecentlyUsed(size_t keep);

  NameTable* names_;
  std::vector<std::unique_ptr<Folder>> folders_;
  std::unordered_map<std::string, uint32_t> byPath_;
  std::unordered_multimap<Key, uint32_t, KeyHash> byKey_;
  std::list<uint32_t> openFolders_;  // most recently used first
};

}  // namespace tessary
