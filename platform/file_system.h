#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/managers/file_manager.h"

// The one place where the system asks the catalog and lists folders. All statuses are the
// platform's, passed through unchanged, but for those named here.
namespace tessary {

// The item's name in the catalog. paramErr, touching nothing, when `name` is null.
Status GetItemName(const FSRef& item, std::u16string* name);

// The folder that holds the item; the all-zero reference, with noErr, for the root folder of a
// volume. paramErr, touching nothing, when `parent` is null. On failure `*parent` is unspecified.
Status GetParentFolder(const FSRef& item, FSRef* parent);

// The node number and whether the item is a folder (0 or 1). Either out-argument may be null; only
// what is wanted is asked for, and with both null the query tells whether the item is there.
Status GetNodeIdAndKind(const FSRef& item, uint32_t* nodeId, uint8_t* isFolder);

// The Finder information, the extended Finder information and whether the item is a folder (0 or
// 1). Any out-argument may be null; only what is wanted is asked for.
Status GetFinderInfo(const FSRef& item, FileInfo* info, ExtendedFileInfo* extendedInfo,
                     uint8_t* isFolder);

// The older-style file specification. paramErr, touching nothing, when `spec` is null.
Status GetLegacyFileSpec(const FSRef& item, FSSpec* spec);

// A growing block of consecutive references. Growing never needs a second copy of the block, so
// that a folder of a million items takes no more memory than its references.
class FSRefBlock {
 public:
  FSRefBlock() = default;

  // Appends `count` references. noErr, or memFullErr and the block as it was.
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

// The folder's direct children, unsorted and unfiltered, into a new block that the caller owns,
// their number, and whether the folder changed while it was read (0 or 1). paramErr when an
// out-argument is null; memFullErr when there is no memory; otherwise the failure of the listing.
// On failure `*items` is null, `*count` 0: never a partial list.
Status ListFolderItems(const FSRef& folder, std::unique_ptr<FSRefBlock>* items, uint32_t* count,
                       uint8_t* containerChanged);

// True when an object of that name is to be taken as present in `parent`: always, unless the file
// system says that there is none. A name that cannot be looked up counts as taken, and `*child` is
// then all zero.
bool MakeChildRef(const FSRef& parent, std::u16string_view name, FSRef* child);

}  // namespace tessary
