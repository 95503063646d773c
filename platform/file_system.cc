#include "platform/file_system.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

namespace tessary {
namespace {

// The number of references per call of FSGetCatalogInfoBulk.
constexpr size_t kListingBatch = 10;

// The first capacity of a block, in references. It is doubled whenever the block is full.
constexpr size_t kInitialCapacity = 64;

constexpr size_t kMaximumCapacity = std::numeric_limits<size_t>::max() / (2 * sizeof(FSRef));

// Appends all remaining items of the iteration to the block. Sets `*containerChanged` if a batch
// reports a change, and never clears it.
Status ReadChildren(FSIteratorState& iterator, FSRefBlock* block, uint8_t* containerChanged) {
  std::array<FSRef, kListingBatch> batch;
  for (;;) {
    size_t actual = 0;
    bool changed = false;
    const Status status =
        FSGetCatalogInfoBulk(iterator, batch.size(), &actual, &changed, batch.data());
    if (changed) *containerChanged = 1;
    if (status != noErr && status != errFSNoMoreItems) return status;
    // The call that ends the listing can still return items.
    if (actual > 0) {
      const Status appended = block->Append(batch.data(), actual);
      if (appended != noErr) return appended;
    }
    if (status == errFSNoMoreItems) return noErr;
  }
}

}  // namespace

Status GetItemName(const FSRef& item, std::u16string* name) {
  if (name == nullptr) return paramErr;
  return FSGetCatalogInfo(item, kFSCatInfoNone, nullptr, name, nullptr, nullptr);
}

Status GetParentFolder(const FSRef& item, FSRef* parent) {
  if (parent == nullptr) return paramErr;
  FSCatalogInfo info;
  const Status status = FSGetCatalogInfo(item, kFSCatInfoNodeID, &info, nullptr, nullptr, parent);
  if (status != noErr) return status;
  if (info.nodeID == kFSRootNodeID) *parent = FSRef{};
  return noErr;
}

Status GetNodeIdAndKind(const FSRef& item, uint32_t* nodeId, uint8_t* isFolder) {
  FSCatalogInfoBitmap wanted = kFSCatInfoNone;
  if (nodeId != nullptr) wanted |= kFSCatInfoNodeID;
  if (isFolder != nullptr) wanted |= kFSCatInfoNodeFlags;

  FSCatalogInfo info;
  const Status status = FSGetCatalogInfo(item, wanted, &info, nullptr, nullptr, nullptr);
  if (status != noErr) return status;
  if (nodeId != nullptr) *nodeId = info.nodeID;
  if (isFolder != nullptr) *isFolder = (info.nodeFlags & kFSNodeIsDirectoryMask) != 0 ? 1 : 0;
  return noErr;
}

Status GetFinderInfo(const FSRef& item, FileInfo* info, ExtendedFileInfo* extendedInfo,
                     uint8_t* isFolder) {
  FSCatalogInfoBitmap wanted = kFSCatInfoNone;
  if (info != nullptr) wanted |= kFSCatInfoFinderInfo;
  if (extendedInfo != nullptr) wanted |= kFSCatInfoFinderXInfo;
  if (isFolder != nullptr) wanted |= kFSCatInfoNodeFlags;

  FSCatalogInfo catalogInfo;
  const Status status = FSGetCatalogInfo(item, wanted, &catalogInfo, nullptr, nullptr, nullptr);
  if (status != noErr) return status;
  if (info != nullptr) *info = catalogInfo.finderInfo;
  if (extendedInfo != nullptr) *extendedInfo = catalogInfo.extFinderInfo;
  if (isFolder != nullptr) {
    *isFolder = (catalogInfo.nodeFlags & kFSNodeIsDirectoryMask) != 0 ? 1 : 0;
  }
  return noErr;
}

Status GetLegacyFileSpec(const FSRef& item, FSSpec* spec) {
  if (spec == nullptr) return paramErr;
  return FSGetCatalogInfo(item, kFSCatInfoNone, nullptr, nullptr, spec, nullptr);
}

void FSRefBlock::FreeDeleter::operator()(FSRef* refs) const { std::free(refs); }

Status FSRefBlock::Append(const FSRef* refs, size_t count) {
  static_assert(std::is_trivially_copyable_v<FSRef>);
  if (count > capacity_ - count_) {
    size_t capacity = capacity_ == 0 ? kInitialCapacity : capacity_;
    while (capacity - count_ < count) {
      if (capacity > kMaximumCapacity) return memFullErr;
      capacity *= 2;
    }
    // realloc moves a large block by remapping its pages (mremap), without a second copy.
    void* grown = std::realloc(refs_.get(), capacity * sizeof(FSRef));
    if (grown == nullptr) return memFullErr;
    (void)refs_.release();
    refs_.reset(static_cast<FSRef*>(grown));
    capacity_ = capacity;
  }
  if (count > 0) std::memcpy(refs_.get() + count_, refs, count * sizeof(FSRef));
  count_ += count;
  return noErr;
}

Status ListFolderItems(const FSRef& folder, std::unique_ptr<FSRefBlock>* items, uint32_t* count,
                       uint8_t* containerChanged) {
  if (items == nullptr || count == nullptr || containerChanged == nullptr) return paramErr;
  items->reset();
  *count = 0;
  *containerChanged = 0;

  std::unique_ptr<FSRefBlock> block(new (std::nothrow) FSRefBlock);
  if (block == nullptr) return memFullErr;
  FSIterator iterator;
  Status status = FSOpenIterator(folder, &iterator);
  if (status != noErr) return status;
  status = ReadChildren(*iterator, block.get(), containerChanged);
  // The listing is complete or has failed; the status of closing does not matter.
  (void)FSCloseIterator(&iterator);
  if (status != noErr) return status;

  *count = static_cast<uint32_t>(block->size());
  *items = std::move(block);
  return noErr;
}

bool MakeChildRef(const FSRef& parent, std::u16string_view name, FSRef* child) {
  return FSMakeFSRefUnicode(parent, name, child) != fnfErr;
}

}  // namespace tessary
