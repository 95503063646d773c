#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/catalog/folder_table.h"
#include "platform/linux/catalog/place.h"
#include "platform/linux/catalog/planned_items.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/stat_cache.h"

namespace tessary {

// The tables behind references: interned names and folders, and the stat cache. One per process;
// not safe for use by several threads.
class Catalog {
 public:
  static Catalog& Get();

  NameTable& names() { return names_; }
  FolderTable& folders() { return folders_; }
  StatCache& stats() { return statCache_; }

  // The plan of a dry run. Null if changes are made, not planned. While there is a plan, the
  // functions below find what it says. The operations that change something, and what reads a
  // folder past the catalog, have to ask it.
  PlannedItems* planned() { return planned_.get(); }
  void BeginPlan() { planned_ = std::make_unique<PlannedItems>(&names_, &folders_); }
  void EndPlan() { planned_.reset(); }

  // Opens the folder that holds the object of a reference and writes the object's place. Does not
  // stat the object: it may be gone or replaced. The place of "/" is the name "/" in "/". Returns
  // noErr; paramErr (the all-zero reference); fnfErr (the folder was released, or another object
  // has its path); otherwise a status of FolderTable::Open. On failure `*place` may be partly
  // written.
  Status Find(const Reference& reference, Place* place);

  // The same for a name in an interned folder, whether or not an object has it. In a dry run also
  // fnfErr: by the plan, no object has it.
  Status FindPlace(uint32_t folder, std::string_view name, Place* place);

  // Stats the object of a reference, without following a link: its place, identity, kind and
  // modification date. Within an FSStatCacheScope a cached stat is used if there is one. Returns
  // noErr; fnfErr (no object of that name, or another one); otherwise a status of Find or an error
  // of statx. `*cached` points into the catalog and is valid until the next Stat, Restat or LookUp;
  // it is null on failure.
  Status Stat(const Reference& reference, const CachedStat** cached);

  // Like Stat, but always asks the filesystem. An operation that changes an object calls this
  // first, to make sure that the object was not replaced since it was cached.
  Status Restat(const Reference& reference, const CachedStat** cached);

  // True if the object of a reference exists and is still the one that the reference was made from.
  bool Exists(const Reference& reference);

  // Interns and opens the folder that a reference designates. Writes its number and its descriptor.
  // Returns noErr; errFSNotAFolder; paramErr (the all-zero reference); fnfErr (the folder that
  // holds it was released); otherwise a status of FolderTable::Open. Both are written on success
  // only.
  Status OpenFolder(const Reference& reference, uint32_t* number, FolderHandle* handle);

  // Makes the reference of the object that was found under `name` in an interned folder. `info` is
  // its statx result, asked for with kIdentityMask.
  Reference MakeReference(uint32_t folder, std::string_view name, const struct statx& info);

  // Makes the reference of "/". Returns noErr, or the error of statx. Written on success only.
  Status MakeRootReference(Reference* reference);

  // Makes the reference of the object named `name` in an interned folder; a link is not followed. A
  // cached stat is used if there is one. Returns noErr; fnfErr (no such name); bdNamErr (too long);
  // otherwise a status of FolderTable::Open or an error of statx. Written on success only.
  Status LookUp(uint32_t folder, const std::string& name, Reference* reference);

  // Returns the path of the object of a reference, of any length; empty for the all-zero reference
  // and if its folder was released.
  std::string PathOf(const Reference& reference);

 private:
  Catalog() : folders_(&names_) {}

  Status StatAt(const Reference& reference, CachedStat* entry);

  NameTable names_;
  FolderTable folders_;
  StatCache statCache_;
  std::unique_ptr<PlannedItems> planned_;
};

}  // namespace tessary
