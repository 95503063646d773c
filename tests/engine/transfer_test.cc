#include "engine/transfer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "platform/managers/text.h"
#include "tests/engine/engine_fixture.h"
#include "tests/support/memory_volume.h"
#include "tests/support/ordinary_user.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr char kReplace[] = "ReplaceFilesBySameName = true\n";

class TransferTest : public EngineFixture {
 protected:
  // Transfer an item of the source folder into the destination folder.
  bool Move(const std::string& name) const {
    return TransferItemAtPath(InSource(name), destination_, /*copy=*/false);
  }
  bool Copy(const std::string& name) const {
    return TransferItemAtPath(InSource(name), destination_, /*copy=*/true);
  }

  enum class Transfer { kFiled, kInPlace, kNotFiled };

  // Tries the fast path for an item of the source folder.
  Transfer TryFast(const std::string& name, const FSRef& folder, bool copy) const {
    TransferResult result;
    const bool isFiled =
        TryFastTransfer(RefAt(InSource(name)), RefAt(source_), folder, copy, &result);
    EXPECT_EQ(noErr, result.status);
    if (!isFiled) {
      EXPECT_EQ(ItemOutcome::kNotTransferred, result.outcome);
      return Transfer::kNotFiled;
    }
    const bool wasInPlace = result.outcome == ItemOutcome::kSkipped;
    EXPECT_EQ(wasInPlace ? "" : name, Utf8FromUtf16(result.newName));
    return wasInPlace ? Transfer::kInPlace : Transfer::kFiled;
  }

  std::string DistinctNameOf(const std::string& name) const {
    const std::optional<std::u16string> distinctName =
        MakeDistinctName(RefAt(destination_), RefAt(InSource(name)));
    return distinctName ? Utf8FromUtf16(*distinctName) : "(none)";
  }
};

using TryFastTransferTest = TransferTest;
using TransferItemAtPathTest = TransferTest;
using TransferItemTest = TransferTest;
using RemoveSameNamedItemTest = TransferTest;
using MakeDistinctNameTest = TransferTest;

TEST_F(TryFastTransferTest, MovesOrCopies) {
  for (const bool copy : {false, true}) {
    const std::string name = copy ? "copied" : "moved";
    WriteFile(InSource(name), name);
    EXPECT_EQ(Transfer::kFiled, TryFast(name, RefAt(destination_), copy));
    EXPECT_EQ(name, ReadFile(InDestination(name)));
    EXPECT_EQ(copy, Exists(InSource(name)));
    EXPECT_EQ(MovedLine(name, "destination"), Messages().back());
  }
}

TEST_F(TryFastTransferTest, KeepsItemInPlace) {
  WriteFile(InSource("a.txt"), "a");
  for (const bool copy : {false, true}) {
    EXPECT_EQ(Transfer::kInPlace, TryFast("a.txt", RefAt(source_), copy));
  }
  EXPECT_THAT(NamesIn(source_), ElementsAre("a.txt"));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TryFastTransferTest, ChangesNothingOutsideTheFastPath) {
  WriteFile(InSource("a.txt"), "new");
  WriteFile(InDestination("a.txt"), "old");
  WriteFile(InSource("b.txt"), "b");
  MakeFolder(InSource("Tool.app"));
  MakeFolder(InDestination("gone"));
  const FSRef gone = RefAt(InDestination("gone"));
  ASSERT_EQ(0, rename(InDestination("gone").c_str(), InDestination("elsewhere").c_str()));
  for (const bool copy : {false, true}) {
    WritePreferencesInChild(kReplace);
    EXPECT_EQ(Transfer::kNotFiled, TryFast("a.txt", RefAt(destination_), copy)) << copy;
    EXPECT_EQ(Transfer::kNotFiled, TryFast("Tool.app", RefAt(destination_), copy)) << copy;
    EXPECT_EQ(Transfer::kNotFiled, TryFast("b.txt", gone, copy)) << copy;
    WritePreferencesInChild("PreserveComments = false\n");
    EXPECT_EQ(Transfer::kNotFiled, TryFast("b.txt", RefAt(destination_), copy)) << copy;
  }
  EXPECT_EQ("old", ReadFile(InDestination("a.txt")));
  EXPECT_THAT(NamesIn(source_), ElementsAre("Tool.app", "a.txt", "b.txt"));
  EXPECT_THAT(NamesIn(destination_), ElementsAre("a.txt", "elsewhere"));
  EXPECT_THAT(NamesIn(InDestination("elsewhere")), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TryFastTransferTest, CopiesNoLink) {
  MakeLink("nowhere", InSource("link"));
  EXPECT_EQ(Transfer::kNotFiled, TryFast("link", RefAt(destination_), /*copy=*/true));
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TransferItemAtPathTest, MovesOrCopies) {
  WriteFile(InSource("a.txt"), "a");
  WriteFile(InSource("b.txt"), "b");
  EXPECT_TRUE(Move("a.txt"));
  EXPECT_TRUE(Copy("b.txt"));
  EXPECT_THAT(NamesIn(source_), ElementsAre("b.txt"));
  EXPECT_EQ("a", ReadFile(InDestination("a.txt")));
  EXPECT_EQ("b", ReadFile(InDestination("b.txt")));
  EXPECT_THAT(Messages(),
              ElementsAre(MovedLine("a.txt", "destination"), MovedLine("b.txt", "destination")));
}

TEST_F(TransferItemAtPathTest, LogsNothingForMissingItem) {
  TransferResult result;
  EXPECT_FALSE(TransferItemAtPath(InSource("none"), destination_, false, &result));
  EXPECT_EQ(ItemOutcome::kNotTransferred, result.outcome);
  EXPECT_EQ(fnfErr, result.status);
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TransferItemAtPathTest, LogsStatusOfMissingFolder) {
  WriteFile(InSource("a.txt"));
  TransferResult result;
  EXPECT_FALSE(TransferItemAtPath(InSource("a.txt"), InDestination("none"), false, &result));
  EXPECT_EQ(fnfErr, result.status);
  EXPECT_THAT(Messages(), ElementsAre("An error occurred moving an object. Error number = -43"));
  EXPECT_TRUE(Exists(InSource("a.txt")));
}

TEST_F(TransferItemAtPathTest, KeepsItemInPlace) {
  WritePreferencesInChild(kReplace);
  WriteFile(InDestination("a.txt"), "a");
  for (const bool copy : {false, true}) {
    TransferResult result;
    EXPECT_TRUE(TransferItemAtPath(InDestination("a.txt"), destination_, copy, &result));
    EXPECT_EQ(ItemOutcome::kSkipped, result.outcome);
    EXPECT_EQ(noErr, result.status);
  }
  EXPECT_THAT(NamesIn(destination_), ElementsAre("a.txt"));
  EXPECT_EQ("a", ReadFile(InDestination("a.txt")));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TransferItemTest, WritesNoNewItemForItemInPlace) {
  WriteFile(InDestination("a.txt"));
  FSRef newItem = RefAt("/usr");
  EXPECT_EQ(noErr,
            TransferItem(RefAt(InDestination("a.txt")), RefAt(destination_), &newItem, false));
  EXPECT_EQ(noErr, FSCompareFSRefs(newItem, RefAt("/usr")));
}

// The existing item is deleted first, so that it is lost even if the copy then fails.
TEST_F(TransferItemAtPathTest, DeletesBeforeFailedCopy) {
  WritePreferencesInChild(kReplace);
  WriteFile(InDestination("a"), "old");
  ASSERT_EQ(0, mkfifo(InSource("a").c_str(), 0600));
  EXPECT_FALSE(TransferItemAtPath(InSource("a"), destination_, true));
  EXPECT_THAT(Messages(), ElementsAre("An error occurred: -50"));
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
  EXPECT_TRUE(Exists(InSource("a")));
}

TEST_F(TransferItemTest, WritesNewItem) {
  WriteFile(InSource("a.txt"));
  FSRef newItem;
  ASSERT_EQ(noErr, TransferItem(RefAt(InSource("a.txt")), RefAt(destination_), &newItem, false));
  EXPECT_EQ(noErr, FSCompareFSRefs(newItem, RefAt(InDestination("a.txt"))));
}

TEST_F(TransferItemTest, RejectsBadArguments) {
  WriteFile(InSource("a.txt"));
  TransferResult result;
  EXPECT_EQ(paramErr,
            TransferItem(RefAt(InSource("a.txt")), RefAt(destination_), nullptr, false, &result));
  EXPECT_EQ(paramErr, result.status);
  const FSRef gone = RefAt(InSource("a.txt"));
  ASSERT_EQ(0, unlink(InSource("a.txt").c_str()));
  FSRef newItem;
  EXPECT_EQ(fnfErr, TransferItem(gone, RefAt(destination_), &newItem, false));
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(TransferItemAtPathTest, MakesDistinctName) {
  for (const bool copy : {false, true}) {
    WriteFile(InSource("a.txt"), "new");
    WriteFile(InDestination("a.txt"), "old");
    EXPECT_TRUE(TransferItemAtPath(InSource("a.txt"), destination_, copy));
    EXPECT_EQ(copy, Exists(InSource("a.txt")));
    EXPECT_EQ("old", ReadFile(InDestination("a.txt")));
    const std::vector<std::string> names = NamesIn(destination_);
    ASSERT_EQ(2U, names.size());
    EXPECT_THAT(names[0], MatchesRegex(DistinctName("a - ", "\\.txt")));
    EXPECT_EQ("new", ReadFile(InDestination(names[0])));
    EXPECT_EQ(MovedLine(names[0], "destination"), Messages().back());
    ASSERT_EQ(0, unlink(InDestination(names[0]).c_str()));
  }
}

TEST_F(TransferItemAtPathTest, ReplacesExistingItem) {
  WritePreferencesInChild(kReplace);
  for (const bool copy : {false, true}) {
    WriteFile(InSource("a.txt"), "new");
    WriteFile(InDestination("a.txt"), "old");
    EXPECT_TRUE(TransferItemAtPath(InSource("a.txt"), destination_, copy));
    EXPECT_THAT(NamesIn(destination_), ElementsAre("a.txt"));
    EXPECT_EQ("new", ReadFile(InDestination("a.txt")));
    EXPECT_EQ(copy, Exists(InSource("a.txt")));
  }
}

TEST_F(TransferItemAtPathTest, ReplacesHardLinkToItem) {
  WritePreferencesInChild(kReplace);
  WriteFile(InSource("a.txt"), "same");
  ASSERT_EQ(0, link(InSource("a.txt").c_str(), InDestination("a.txt").c_str()));
  EXPECT_TRUE(Move("a.txt"));
  EXPECT_THAT(NamesIn(source_), IsEmpty());
  EXPECT_THAT(NamesIn(destination_), ElementsAre("a.txt"));
  EXPECT_EQ("same", ReadFile(InDestination("a.txt")));
}

TEST_F(TransferItemAtPathTest, ReplacesLinkNotTarget) {
  WritePreferencesInChild(kReplace);
  WriteFile(InSource("a.txt"), "new");
  WriteFile(root_ / "precious", "kept");
  MakeLink(root_ / "precious", InDestination("a.txt"));
  EXPECT_TRUE(Move("a.txt"));
  EXPECT_EQ("new", ReadFile(InDestination("a.txt")));
  EXPECT_EQ("kept", ReadFile(root_ / "precious"));
}

TEST_F(TransferItemAtPathTest, KeepsNonEmptyFolder) {
  WritePreferencesInChild(kReplace);
  WriteFile(InSource("a.txt"), "new");
  WriteFile(InDestination("a.txt/inside"), "kept");
  EXPECT_TRUE(Move("a.txt"));
  EXPECT_EQ("kept", ReadFile(InDestination("a.txt/inside")));
  const std::vector<std::string> names = NamesIn(destination_);
  ASSERT_EQ(2U, names.size());
  EXPECT_EQ("new", ReadFile(InDestination(names[0])));
  EXPECT_THAT(Messages(),
              ElementsAre("unlink error: Is a directory", MovedLine(names[0], "destination")));
}

TEST_F(TransferItemAtPathTest, MakesDistinctNameForPackage) {
  WriteFile(InSource("Tool.app/Contents/Info.plist"), "new");
  WriteFile(InDestination("Tool.app/Contents/Info.plist"), "old");
  EXPECT_TRUE(Move("Tool.app"));
  const std::vector<std::string> names = NamesIn(destination_);
  ASSERT_EQ(2U, names.size());
  EXPECT_THAT(names[0], MatchesRegex(DistinctName("Tool - ", "\\.app")));
  EXPECT_EQ("new", ReadFile(InDestination(names[0] + "/Contents/Info.plist")));
  EXPECT_EQ("old", ReadFile(InDestination("Tool.app/Contents/Info.plist")));
}

TEST_F(TransferItemAtPathTest, FailsForTooLongDistinctName) {
  const std::string name = std::string(251, 'x') + ".txt";
  WriteFile(InSource(name), "new");
  WriteFile(InDestination(name), "old");
  EXPECT_FALSE(Move(name));
  EXPECT_FALSE(Copy(name));
  EXPECT_THAT(Messages(), ElementsAre("An error occurred: -37", "An error occurred: -37"));
  EXPECT_EQ("new", ReadFile(InSource(name)));
  EXPECT_EQ("old", ReadFile(InDestination(name)));
  EXPECT_THAT(NamesIn(destination_), ElementsAre(name));
}

TEST_F(TransferItemAtPathTest, LogsStatusOfEachFailure) {
  WriteFile(InSource("a.txt"), "a");
  MakeFolder(InSource("Tool.app/inside"));
  ASSERT_EQ(0, mkfifo(InSource("pipe").c_str(), 0600));
  WriteFile(InDestination("file"));
  const struct {
    std::string item;
    std::string folder;
    bool copy;
    std::string message;
  } rows[] = {
      {"a.txt", InDestination("file"), false, "An error occurred: -1407"},
      {"a.txt", InDestination("file"), true, "An error occurred: -1407"},
      {"Tool.app", InSource("Tool.app/inside"), false, "An error occurred: -122"},
      {"Tool.app", InSource("Tool.app/inside"), true, "An error occurred: -122"},
      {"pipe", destination_, true, "An error occurred: -50"},
  };
  for (const auto& row : rows) {
    EXPECT_FALSE(TransferItemAtPath(InSource(row.item), row.folder, row.copy));
    EXPECT_EQ(row.message, Messages().back()) << row.item << row.copy;
    EXPECT_TRUE(Exists(InSource(row.item)));
  }
  EXPECT_EQ(std::size(rows), Messages().size());
  EXPECT_THAT(NamesIn(destination_), ElementsAre("file"));
  EXPECT_THAT(NamesIn(InSource("Tool.app/inside")), IsEmpty());
}

TEST_F(TransferItemAtPathTest, FollowsNoLinkToFolder) {
  WriteFile(InSource("a.txt"));
  MakeFolder(root_ / "elsewhere");
  MakeLink(root_ / "elsewhere", InDestination("link"));
  EXPECT_FALSE(TransferItemAtPath(InSource("a.txt"), InDestination("link"), false));
  EXPECT_THAT(NamesIn(root_ / "elsewhere"), IsEmpty());
  EXPECT_THAT(Messages(), ElementsAre("An error occurred: -1407"));
}

TEST_F(TransferItemAtPathTest, LogsNamesOnOneLine) {
  const struct {
    std::string name;
    std::string line;
  } rows[] = {
      {"%@ %s %d", MovedLine("%@ %s %d", "destination")},
      {"a\nb", MovedLine("a\\nb", "destination")},
      {"\"quoted\"", MovedLine("\"quoted\"", "destination")},
      {"50:50", MovedLine("50/50", "destination")},
      {"a\xff", MovedLine("a\xff", "destination")},
  };
  for (const auto& row : rows) {
    WriteFile(InSource(row.name), "contents");
    EXPECT_TRUE(Move(row.name));
    EXPECT_EQ(row.line, Messages().back());
    EXPECT_EQ("contents", ReadFile(InDestination(row.name)));
  }
}

TEST_F(RemoveSameNamedItemTest, ReadsSetting) {
  WriteFile(InSource("a.txt"));
  WriteFile(InDestination("a.txt"));
  const FSRef item = RefAt(InSource("a.txt"));
  const FSRef folder = RefAt(destination_);
  EXPECT_FALSE(RemoveSameNamedItem(item, folder));
  WritePreferencesInChild("ReplaceFilesBySameName = 1\n");
  EXPECT_FALSE(RemoveSameNamedItem(item, folder));
  EXPECT_TRUE(Exists(InDestination("a.txt")));
  WritePreferencesInChild(kReplace);
  EXPECT_TRUE(RemoveSameNamedItem(item, folder));
  EXPECT_FALSE(Exists(InDestination("a.txt")));
  EXPECT_FALSE(RemoveSameNamedItem(item, folder));
  EXPECT_TRUE(Exists(InSource("a.txt")));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(RemoveSameNamedItemTest, DeletesEveryKindOfItem) {
  WritePreferencesInChild(kReplace);
  WriteFile(InSource("a"));
  const FSRef item = RefAt(InSource("a"));
  const FSRef folder = RefAt(destination_);
  MakeLink("nowhere", InDestination("a"));
  EXPECT_TRUE(RemoveSameNamedItem(item, folder));
  ASSERT_EQ(0, mkfifo(InDestination("a").c_str(), 0600));
  EXPECT_TRUE(RemoveSameNamedItem(item, folder));
  MakeFolder(InDestination("a"));
  EXPECT_TRUE(RemoveSameNamedItem(item, folder));
  EXPECT_THAT(NamesIn(destination_), IsEmpty());
}

TEST_F(RemoveSameNamedItemTest, KeepsItemAfterFailedLookup) {
  WritePreferencesInChild(kReplace);
  WriteFile(InSource("a"));
  WriteFile(InDestination("file"), "kept");
  EXPECT_FALSE(RemoveSameNamedItem(RefAt(InSource("a")), RefAt(InDestination("file"))));
  EXPECT_FALSE(RemoveSameNamedItem(RefAt(InSource("a")), FSRef{}));
  EXPECT_FALSE(RemoveSameNamedItem(FSRef{}, RefAt(destination_)));
  EXPECT_EQ("kept", ReadFile(InDestination("file")));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(RemoveSameNamedItemTest, LogsUnlinkError) {
  WritePreferencesInChild(kReplace);
  WriteFile(InSource("a.txt"));
  WriteFile(InDestination("a.txt"), "kept");
  OpenToOrdinaryUser();
  const FSRef item = RefAt(InSource("a.txt"));
  const FSRef folder = RefAt(destination_);
  ASSERT_EQ(0, chmod(destination_.c_str(), 0555));
  EXPECT_TRUE(RunAsOrdinaryUser([&] { EXPECT_FALSE(RemoveSameNamedItem(item, folder)); }));
  EXPECT_THAT(Messages(), ElementsAre("unlink error: Permission denied"));
  EXPECT_EQ("kept", ReadFile(InDestination("a.txt")));
}

// A folder that is not empty can be deleted by neither call. The second one is not made if the path
// does not fit its buffer, which has 4096 bytes.
TEST_F(RemoveSameNamedItemTest, UnlinksPathThatFits) {
  WritePreferencesInChild(kReplace);
  std::string path = destination_;
  while (path.size() < 3900) path += "/" + std::string(99, 'd');
  MakeFolder(path);
  const FSRef folder = RefAt(path);
  const std::string fits(4095 - path.size() - 1, 'n');
  for (const std::string& name : {fits, fits + "n"}) {
    WriteFile(InSource(name));
    FSRef existing;
    FSRef inside;
    const std::u16string unicodeName(name.begin(), name.end());
    ASSERT_EQ(noErr, FSCreateDirectoryUnicode(folder, unicodeName, &existing));
    ASSERT_EQ(noErr, FSCreateDirectoryUnicode(existing, u"inside", &inside));
    EXPECT_FALSE(RemoveSameNamedItem(RefAt(InSource(name)), folder));
    EXPECT_THAT(Messages(), ElementsAre("unlink error: Is a directory")) << name.size();
  }
}

TEST_F(MakeDistinctNameTest, NoneForFreeName) {
  WriteFile(InSource("a.txt"));
  EXPECT_EQ("(none)", DistinctNameOf("a.txt"));
  EXPECT_EQ(std::nullopt, MakeDistinctName(RefAt(destination_), FSRef{}));
}

TEST_F(MakeDistinctNameTest, KeepsExtension) {
  const struct {
    std::string name;
    std::string pattern;
  } rows[] = {
      {"a.txt", DistinctName("a - ", "\\.txt")},
      {"archive.tar.gz", DistinctName("archive\\.tar - ", "\\.gz")},
      {"Makefile", DistinctName("Makefile - ", "")},
      {".bashrc", DistinctName("", "\\.bashrc")},
      {".a.b", DistinctName("\\.a - ", "\\.b")},
      {"name.", DistinctName("name - ", "\\.")},
      {"a..b", DistinctName("a\\. - ", "\\.b")},
      {"x.gz.tar.gz", DistinctName("x\\.gz\\.tar - ", "\\.gz")},
      {"x.gzip.gz", DistinctName("x\\.gzip - ", "\\.gz")},
      {"a.b:c", DistinctName("a\\.b/c - ", "\\.b:c")},  // the extension is not in the name
      {"a b.TXT", DistinctName("a b - ", "\\.TXT")},
      {"%@.%d", DistinctName("%@ - ", "\\.%d")},
  };
  for (const auto& row : rows) {
    WriteFile(InSource(row.name));
    WriteFile(InDestination(row.name));
    EXPECT_THAT(DistinctNameOf(row.name), MatchesRegex(row.pattern));
  }
}

TEST_F(MakeDistinctNameTest, RemovesLastOfEqualExtensions) {
  WriteFile(InSource("x.gz.gz"));
  WriteFile(InDestination("x.gz.gz"));
  EXPECT_THAT(DistinctNameOf("x.gz.gz"), MatchesRegex(DistinctName("x\\.gz - ", "\\.gz")));
}

TEST_F(MakeDistinctNameTest, KeepsInvalidUtf8) {
  WriteFile(InSource("a\xff.\xfe"), "new");
  WriteFile(InDestination("a\xff.\xfe"), "old");
  EXPECT_TRUE(Move("a\xff.\xfe"));
  const std::vector<std::string> names = NamesIn(destination_);
  ASSERT_EQ(2U, names.size());
  // The regular expressions of the C library match no bytes that are not UTF-8.
  ASSERT_THAT(names[0], StartsWith("a\xff"));
  ASSERT_THAT(names[0], EndsWith(".\xfe"));
  EXPECT_THAT(names[0].substr(2, names[0].size() - 4), MatchesRegex(DistinctName(" - ", "")));
  EXPECT_EQ("new", ReadFile(InDestination(names[0])));
}

TEST_F(MakeDistinctNameTest, FailedLookupMeansNameExists) {
  WriteFile(InSource("a.txt"));
  WriteFile(InDestination("file"));
  const std::optional<std::u16string> name =
      MakeDistinctName(RefAt(InDestination("file")), RefAt(InSource("a.txt")));
  ASSERT_TRUE(name);
  EXPECT_THAT(Utf8FromUtf16(*name), MatchesRegex(DistinctName("a - ", "\\.txt")));
}

TEST_F(MakeDistinctNameTest, DiffersEachTime) {
  WriteFile(InSource("a.txt"));
  WriteFile(InDestination("a.txt"));
  EXPECT_NE(DistinctNameOf("a.txt"), DistinctNameOf("a.txt"));
}

}  // namespace
}  // namespace tessary::test
