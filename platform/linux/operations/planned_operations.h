#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/operations/target.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/planned_changes.h"

namespace tessary {

// The operations of file_manager.h in a dry run: each checks what can be known without trying, in
// the order in which the system calls of the real one would report it, and then changes the plan of
// the catalog. Each returns the statuses of the real one.
class PlannedOperations {
 public:
  // The operations of the dry run that is going on, or null.
  static PlannedOperations* Current();

  Status CreateFolder(const FSRef& parent, std::u16string_view name, FSRef* folder);
  Status Move(const FSRef& source, const FSRef& folder, const std::u16string* newName,
              FSRef* target);
  Status Copy(const FSRef& source, const FSRef& folder, const std::u16string* newName,
              FSRef* target);
  Status Delete(const FSRef& ref);

  // Unlinks a name in an interned folder. Returns 0 or an errno.
  int Unlink(uint32_t folder, const std::string& name);

  std::vector<FSSpaceShortage> FindShortages() const;

 private:
  // What a folder permits. 0 or an errno.
  struct Permissions {
    struct statx info = {};
    int addError = 0;
    int removeError = 0;
  };
  // An item and the place that it is to get.
  struct Transfer {
    Reference source;
    std::string name;  // of the source, by the plan
    Place from;
    struct statx info = {};
    Target to;
    bool hasSidecar = false;
  };
  struct Space {
    FolderHandle folder;  // on the filesystem
    int64_t needed = 0;   // bytes; negative if more is deleted
  };

  const Permissions& PermissionsOf(uint32_t folder);
  Status Begin(const FSRef& source, const FSRef& folder, const std::u16string* newName,
               Transfer* transfer);
  Status CheckRename(const Transfer& transfer);
  Status CheckMoveAcrossFilesystems(const Transfer& transfer);
  Status CheckCopy(const Transfer& transfer, uint64_t* size);
  int CheckRemoval(uint32_t folder, const struct statx& info);
  void Add(const Transfer& transfer, bool isRenamed, bool isMoved, FSRef* target);
  void Free(uint32_t folder, const std::string& name);
  bool HasAttributes(const Target& target);
  void CountSpace(const Target& target, const Transfer& transfer, uint64_t size);
  // Counts bytes that are needed, or freed if negative, on the filesystem of an interned folder.
  void AddSpace(uint32_t folder, int64_t bytes);

  std::unordered_map<uint32_t, Permissions> permissions_;  // by folder
  std::map<uint32_t, bool> hasAttributes_;                 // by device
  std::map<uint32_t, Space> space_;                        // by device
};

}  // namespace tessary
