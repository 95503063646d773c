#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/catalog/folder_table.h"
#include "platform/linux/catalog/place.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/stat_cache.h"

namespace tessary {

// What the file manager keeps on behalf of the references that it has handed out. One per process.
class Catalog {
 public:
  static Catalog& Get();

  NameTable& names() { return names_; }
  FolderTable& folders() { return folders_; }
  StatCache& statCache() { return statCache_; }

  // The place of the object of a reference, whatever is there now. Answers noErr, paramErr (the
  // all-zero reference), fnfErr (its folder has been released or replaced), else what opening the
  // folder answers. "/" is found under the name "/" in itself.
  Status Find(const Reference& reference, Place* place);

  // Looks at the object of a reference: where it is, what makes it the same object, and the date of
  // its last change. What has been seen of it in the step under way is not asked for again. Answers
  // noErr, fnfErr (none there, or another object), else what Find or statx answers. `*cached`
  // belongs to the catalog and is valid until the next cached at anything; null is written on
  // failure.
  Status Stat(const Reference& reference, const CachedStat** cached);

  // The same, asked of the file system in any case: what is about to change an object looks whether
  // it still is the one that is meant.
  Status Restat(const Reference& reference, const CachedStat** cached);

  // True where the object of a reference is there, and still the one that it was made of.
  bool Exists(const Reference& reference);

  // Opens the folder of a reference and tells its interned number. Answers noErr, errFSNotAFolder,
  // paramErr (the all-zero reference), else what opening it answers.
  Status OpenFolder(const Reference& reference, uint32_t* number, FolderHandle* handle);

  // The reference of the object that `info` is of, found under `name` in an interned folder.
  Reference MakeReference(uint32_t folder, std::string_view name, const struct statx& info);

  // The reference of "/". Answers noErr or the failure of asking about it.
  Status MakeRootReference(Reference* reference);

  // Makes the reference of the object named `name` in an interned folder; a link is not followed.
  // What has been seen of it in the step under way is not looked up again.
  // Answers noErr, fnfErr, bdNamErr (too long), else what opening the folder or statx answers.
  Status LookUp(uint32_t folder, const std::string& name, Reference* reference);

  // The path of the object of a reference, of any length; empty where its folder has been released.
  std::string PathOf(const Reference& reference);

  // Finishes the changes to items and their sidecars whose records lie in the folder open as
  // `folder`, and whose makers have died. How that is done is the affair of whoever changes
  // folders, who registers it.
  using SidecarRecoverer = void (*)(int folder);
  void SetSidecarRecoverer(SidecarRecoverer mender) { recoverSidecars_ = mender; }
  void RecoverSidecars(int folder) const {
    if (recoverSidecars_ != nullptr) recoverSidecars_(folder);
  }

 private:
  Catalog() : folders_(&names_) {}

  NameTable names_;
  FolderTable folders_;
  SidecarRecoverer recoverSidecars_ = nullptr;
  StatCache statCache_;
};

}  // namespace tessary
