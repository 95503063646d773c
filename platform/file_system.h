#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/managers/file_manager.h"

// Catalog queries and folder listings for the layers above. Statuses are those of the platform,
// passed through unchanged, except the ones named here.
namespace tessary {

// Reads the item's name in the catalog. Errors: paramErr if `name` is null (the catalog is not
// asked).
Status GetItemName(const FSRef& item, std::u16string* name);

// Finds the folder that holds the item. For the root folder of a filesystem, returns noErr and the
// all-zero reference. Errors: paramErr if `parent` is null (the catalog is not asked). On failure
// `*parent` is unspecified.
Status GetParentFolder(const FSRef& item, FSRef* parent);

// Reads the node number and whether the item is a folder (0 or 1). Either out-argument may be null
// and is then not queried. With both null, the status still says whether the item exists.
Status GetNodeIdAndKind(const FSRef& item, uint32_t* nodeId, uint8_t* isFolder);

// Reads the Finder information, the extended Finder information and whether the item is a folder (0
// or 1). Any out-argument may be null and is then not queried.
Status GetFinderInfo(const FSRef& item, FileInfo* info, ExtendedFileInfo* extendedInfo,
                     uint8_t* isFolder);

// Makes the older-style file specification. Errors: paramErr if `spec` is null (the catalog is not
// asked).
Status GetLegacyFileSpec(const FSRef& item, FSSpec* spec);

// A growing block of consecutive references. The block is never copied when it grows, so that the
// listing of a large folder needs memory for its references only once.
class FSRefBlock {
 public:
  FSRefBlock() = default;

  // Appends `count` references. Returns noErr, or memFullErr; then the block is unchanged.
  Status Append(const FSRef* refs, size_t count);

  size_t size() const { return count_; }
  const FSRef* begin() const { return refs_.get(); }
  const FSRef* end() const { return refs_.get() + count_; }
  const FSRef& operator[](size_t index) const { return refs_.get()[index]; }

 private:
  struct FreeDeleter {
    void operator()(FSRef* refs) const;
  };

  std::unique_ptr<FSRef, FreeDeleter> refs_;
  size_t count_ = 0;
  size_t capacity_ = 0;
};

// Lists the folder's direct children, unsorted and unfiltered, into a new block that the caller
// owns. `*containerChanged` says whether the folder changed during the listing (0 or 1). Errors:
// paramErr (a null out-argument), memFullErr, or the status of the listing. On failure `*items` is
// null and `*count` 0: there is never a partial list.
Status ListFolderItems(const FSRef& folder, std::unique_ptr<FSRefBlock>* items, uint32_t* count,
                       uint8_t* containerChanged);

// Looks up a name in `parent`. Returns false only if there is no object of that name. If the lookup
// fails for another reason, returns true and writes an all-zero `*child`: callers must not assume
// that such a name is free.
bool MakeChildRef(const FSRef& parent, std::u16string_view name, FSRef* child);

}  // namespace tessary
