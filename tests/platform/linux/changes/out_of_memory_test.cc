#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/move_across_filesystems.h"
#include "platform/linux/changes/temp_item.h"
#include "platform/linux/sidecars/sidecar_moves.h"
#include "platform/linux/sidecars/sidecar_recovery.h"
#include "tests/support/fault_injection/failing_allocations.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

// Copies and moves in which each of their allocations fails once.
namespace tessary::test {
namespace {

using Names = std::vector<std::string>;
using Operation = Status (*)(const CopySource& source, const CopyTarget& target);

// Returns the names in a folder, except temporary ones, which a later run cleans up.
Names VisibleNamesIn(const std::string& folder) {
  Names names = NamesIn(folder);
  std::erase_if(names, IsTempName);
  return names;
}

// One transfer of an item between two new folders.
class TransferAttempt {
 public:
  explicit TransferAttempt(const std::string& name) : name_(name) {
    MakeFolder(folder_ / "to");
    MakeFolder(folder_ / "from");
    if (name == "file") WriteFile(Source(), "contents");
    if (name == "link") MakeLink("nowhere", Source());
    if (name != "package.app") return;
    WriteFile(Source() + "/a name that is longer than what a string holds", "a");
    MakeLink("nowhere", Source() + "/in/a link");
    MakeFolder(Source() + "/in/a folder");
  }

  // Calls the operation, in which the allocation of that index, counted from 0, fails. Returns
  // false if it made fewer allocations.
  bool Call(Operation operation, int allocation) {
    const UniqueFd from = OpenFolder(folder_ / "from");
    const UniqueFd to = OpenFolder(folder_ / "to");
    const CopySource source = {from.get(), name_, IdentityAt(from.get(), name_)};
    const CopyTarget target = {to.get(), "new name", IdentityAt(to.get(), "")};
    bool hasFailed = false;
    status_ = CallWithFailedAllocation(
        allocation, [&] { return operation(source, target); }, &hasFailed);
    return hasFailed;
  }

  Status status() const { return status_; }
  bool IsAtSource() const { return VisibleNamesIn(folder_ / "from") == Names{name_}; }
  bool IsAtTarget() const { return VisibleNamesIn(folder_ / "to") == Names{"new name"}; }
  Names AtSource() const {
    Names files = FilesBelow(folder_ / "from");
    std::erase_if(files, [this](const std::string& file) { return !file.starts_with(name_); });
    return files;
  }
  // Counts the files of the item at the target. Their number shows whether it is complete.
  size_t CountAtTarget() const {
    Names files = FilesBelow(folder_ / "to");
    std::erase_if(files, [](const std::string& file) { return !file.starts_with("new name"); });
    return files.size();
  }

 private:
  std::string Source() const { return folder_ / ("from/" + name_); }

  TemporaryFolder folder_;
  std::string name_;
  Status status_ = noErr;
};

class OutOfMemory : public testing::TestWithParam<const char*> {
 protected:
  static void FailEachAllocation(Operation operation, bool isMove) {
    constexpr int kMostAllocations = 10'000;
    bool hasFailed = true;
    for (int allocation = 0; hasFailed; ++allocation) {
      ASSERT_LT(allocation, kMostAllocations);
      SCOPED_TRACE(allocation);
      TransferAttempt attempt(GetParam());
      const Names before = attempt.AtSource();
      hasFailed = attempt.Call(operation, allocation);
      if (attempt.status() != noErr) {
        ASSERT_EQ(memFullErr, attempt.status());
        ASSERT_TRUE(hasFailed);
      }
      const bool isDone = attempt.status() == noErr;
      ASSERT_EQ(isDone, attempt.IsAtTarget());
      ASSERT_EQ(!isDone || !isMove, attempt.IsAtSource());
      ASSERT_EQ(isDone && isMove ? Names{} : before, attempt.AtSource());
      ASSERT_EQ(isDone ? before.size() : 0, attempt.CountAtTarget());
    }
  }
};

TEST_P(OutOfMemory, CopyIsCompleteOrAbsent) { FailEachAllocation(CopyItem, false); }

TEST_P(OutOfMemory, MoveAcrossIsCompleteOrRolledBack) {
  FailEachAllocation(MoveItemAcrossFilesystems, true);
}

INSTANTIATE_TEST_SUITE_P(Of, OutOfMemory, testing::Values("file", "link", "package.app"));

using SidecarOperation = Status (*)(const ItemWithSidecar& pair, const TargetWithPath& target);

// Calls the operation once for each of its allocations, which then fails, and recovers both folders
// after each call.
void FailEachAllocationWithSidecar(SidecarOperation operation, bool isMove) {
  constexpr int kMostAllocations = 10'000;
  bool hasFailed = true;
  for (int allocation = 0; hasFailed; ++allocation) {
    ASSERT_LT(allocation, kMostAllocations);
    SCOPED_TRACE(allocation);
    const TemporaryFolder folder;
    WriteFile(folder / "from/item", "item");
    WriteFile(folder / "from/._item", "sidecar");
    MakeFolder(folder / "to");
    Place place = PlaceAt(folder / "from/item");
    place.mayHaveSidecar = true;
    std::optional<ItemWithSidecar> pair;
    ASSERT_EQ(noErr, FindWithSidecar(place, &pair));
    ASSERT_TRUE(pair);
    const UniqueFd to = OpenFolder(folder / "to");
    TargetWithPath target;
    target.folder = to.get();
    target.name = "item";
    target.identity = IdentityAt(to.get(), "");
    target.path = folder / "to";
    const Status status = CallWithFailedAllocation(
        allocation, [&] { return operation(*pair, target); }, &hasFailed);
    if (status != noErr) {
      ASSERT_EQ(memFullErr, status);
      ASSERT_TRUE(hasFailed);
    }
    const Names both = {"._item", "item"};
    RecoverFolder(folder / "from");
    RecoverFolder(folder / "to");
    ASSERT_EQ(status == noErr ? both : Names{}, VisibleNamesIn(folder / "to"));
    ASSERT_EQ(status == noErr && isMove ? Names{} : both, VisibleNamesIn(folder / "from"));
  }
}

TEST(OutOfMemoryWithSidecar, CopyIsCompleteOrAbsent) {
  FailEachAllocationWithSidecar(CopyWithSidecar, false);
}

TEST(OutOfMemoryWithSidecar, MoveIsCompleteOrRolledBack) {
  FailEachAllocationWithSidecar(MoveWithSidecarAcrossFilesystems, true);
  const auto move = [](const ItemWithSidecar& pair, const TargetWithPath& target) {
    try {
      return MoveWithSidecar(pair, target);
    } catch (const std::bad_alloc&) {
      return memFullErr;
    }
  };
  FailEachAllocationWithSidecar(move, true);
}

TEST(FSTryFastCopy, LeavesNothingIfOutOfMemory) {
  const TemporaryFolder folder;
  const std::string name = "a name that is longer than what a string holds";
  WriteFile(folder / ("from/" + name), "contents");
  MakeFolder(folder / "to");
  const FSRef item = RefAt(folder / ("from/" + name));
  const FSRef to = RefAt(folder / "to");
  FSRef copied;
  ExpectMemFullOnFailedAllocations([&] { return FSTryFastCopy(item, to, &copied); },
                                   [&] { EXPECT_EQ(Names{}, NamesIn(folder / "to")); });
  EXPECT_EQ(Names{name}, NamesIn(folder / "to"));
}

}  // namespace
}  // namespace tessary::test
