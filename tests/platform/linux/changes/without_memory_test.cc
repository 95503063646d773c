#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/changes/copy_item.h"
#include "platform/linux/changes/hidden_name.h"
#include "platform/linux/changes/pair.h"
#include "platform/linux/changes/pair_mending.h"
#include "tests/support/copying.h"
#include "tests/support/refused_memory.h"
#include "tests/support/temporary_folder.h"

// What becomes of items where memory runs out, at any moment.
namespace tessary {
namespace {

using testing::CallWithoutMemory;
using testing::ExpectMemFullWithoutMemory;
using testing::FilesBelow;
using testing::IdentityAt;
using testing::MakeFolder;
using testing::MakeLink;
using testing::NamesIn;
using testing::OpenFolder;
using testing::RefAt;
using testing::TemporaryFolder;
using testing::WriteFile;

using Names = std::vector<std::string>;
using Operation = Status (*)(const CopySource& source, const CopyTarget& target);

// The names in a folder but those that a later run sweeps away.
Names VisibleNamesIn(const std::string& folder) {
  Names names = NamesIn(folder);
  std::erase_if(names, IsHiddenName);
  return names;
}

// A folder with an item to be filed into another.
class Filing {
 public:
  explicit Filing(const std::string& name) : name_(name) {
    MakeFolder(folder_ / "to");
    MakeFolder(folder_ / "from");
    if (name == "file") WriteFile(Source(), "contents");
    if (name == "link") MakeLink("nowhere", Source());
    if (name != "package.app") return;
    WriteFile(Source() + "/a name that is longer than what a string holds", "a");
    MakeLink("nowhere", Source() + "/in/a link");
    MakeFolder(Source() + "/in/a folder");
  }

  // Calls the operation, which has all its memory but for one allocation. False when it did not
  // need that one.
  bool Call(Operation operation, int allocation) {
    const UniqueFd from = OpenFolder(folder_ / "from");
    const UniqueFd to = OpenFolder(folder_ / "to");
    const CopySource source = {from.get(), name_, IdentityAt(from.get(), name_)};
    const CopyTarget target = {to.get(), "new name", IdentityAt(to.get(), "")};
    bool wasRefused = false;
    status_ = CallWithoutMemory(
        allocation, [&] { return operation(source, target); }, &wasRefused);
    return wasRefused;
  }

  Status status() const { return status_; }
  bool IsAtSource() const { return VisibleNamesIn(folder_ / "from") == Names{name_}; }
  bool IsAtTarget() const { return VisibleNamesIn(folder_ / "to") == Names{"new name"}; }
  Names AtSource() const {
    Names files = FilesBelow(folder_ / "from");
    std::erase_if(files, [this](const std::string& file) { return !file.starts_with(name_); });
    return files;
  }
  // As many as there were, whatever the item is called; all of them where it is whole.
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

class WithoutMemory : public ::testing::TestWithParam<const char*> {
 protected:
  static void FileWithoutMemory(Operation operation, bool isMove) {
    constexpr int kMostAllocations = 10'000;
    bool wasRefused = true;
    for (int allocation = 0; wasRefused; ++allocation) {
      ASSERT_LT(allocation, kMostAllocations);
      SCOPED_TRACE(allocation);
      Filing filing(GetParam());
      const Names before = filing.AtSource();
      wasRefused = filing.Call(operation, allocation);
      if (filing.status() != noErr) {
        ASSERT_EQ(memFullErr, filing.status());
        ASSERT_TRUE(wasRefused);
      }
      const bool isDone = filing.status() == noErr;
      ASSERT_EQ(isDone, filing.IsAtTarget());
      ASSERT_EQ(!isDone || !isMove, filing.IsAtSource());
      ASSERT_EQ(isDone && isMove ? Names{} : before, filing.AtSource());
      ASSERT_EQ(isDone ? before.size() : 0, filing.CountAtTarget());
    }
  }
};

TEST_P(WithoutMemory, ACopyIsWholeOrNotThere) { FileWithoutMemory(CopyItem, false); }

TEST_P(WithoutMemory, AMoveAcrossVolumesLeavesTheItemWholeOnOneSide) {
  FileWithoutMemory(MoveItemAcrossVolumes, true);
}

INSTANTIATE_TEST_SUITE_P(Of, WithoutMemory, ::testing::Values("file", "link", "package.app"));

using PairOperation = Status (*)(const Pair& pair, const PairTarget& target);

// Calls it without one allocation after the other, and has each that failed mended by a look.
void TransferPairWithoutMemory(PairOperation operation, bool isMove) {
  constexpr int kMostAllocations = 10'000;
  bool wasRefused = true;
  for (int allocation = 0; wasRefused; ++allocation) {
    ASSERT_LT(allocation, kMostAllocations);
    SCOPED_TRACE(allocation);
    const TemporaryFolder folder;
    WriteFile(folder / "from/item", "item");
    WriteFile(folder / "from/._item", "sidecar");
    MakeFolder(folder / "to");
    Place place = testing::PlaceAt(folder / "from/item");
    place.mayHaveSidecar = true;
    std::optional<Pair> pair;
    ASSERT_EQ(noErr, FindPair(place, &pair));
    ASSERT_TRUE(pair);
    const UniqueFd to = OpenFolder(folder / "to");
    PairTarget target;
    target.folder = to.get();
    target.name = "item";
    target.identity = IdentityAt(to.get(), "");
    target.path = folder / "to";
    const Status status = CallWithoutMemory(
        allocation, [&] { return operation(*pair, target); }, &wasRefused);
    if (status != noErr) {
      ASSERT_EQ(memFullErr, status);
      ASSERT_TRUE(wasRefused);
    }
    const Names both = {"._item", "item"};
    MendPairs(OpenFolder(folder / "from").get());
    MendPairs(to.get());
    ASSERT_EQ(status == noErr ? both : Names{}, VisibleNamesIn(folder / "to"));
    ASSERT_EQ(status == noErr && isMove ? Names{} : both, VisibleNamesIn(folder / "from"));
  }
}

TEST(PairsWithoutMemory, AreCopiedTogetherOrNotAtAll) {
  TransferPairWithoutMemory(CopyPair, false);
}

TEST(PairsWithoutMemory, AreMovedTogetherOrNotAtAll) {
  TransferPairWithoutMemory(MovePairAcrossVolumes, true);
  const auto move = [](const Pair& pair, const PairTarget& target) {
    try {
      return MovePair(pair, target);
    } catch (const std::bad_alloc&) {
      return memFullErr;
    }
  };
  TransferPairWithoutMemory(move, true);
}

TEST(FSCopyObjectAtOnce, LeavesNothingBehindWithoutMemory) {
  const TemporaryFolder folder;
  const std::string name = "a name that is longer than what a string holds";
  WriteFile(folder / ("from/" + name), "contents");
  MakeFolder(folder / "to");
  const FSRef item = RefAt(folder / ("from/" + name));
  const FSRef to = RefAt(folder / "to");
  FSRef copied;
  ExpectMemFullWithoutMemory([&] { return FSCopyObjectAtOnce(item, to, &copied); },
                             [&] { EXPECT_EQ(Names{}, NamesIn(folder / "to")); });
  EXPECT_EQ(Names{name}, NamesIn(folder / "to"));
}

}  // namespace
}  // namespace tessary
