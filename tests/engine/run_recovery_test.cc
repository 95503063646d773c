#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/engine/engine_fixture.h"
#include "tests/support/journal_entries.h"

// Which folders a run recovers, and when.
namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

using Names = std::vector<std::string>;

const std::string kStaleName = ".tessary-01234567-89AB-CDEF-0123-456789ABCDEF";

class RunRecovery : public EngineFixture {
 protected:
  void Set(int kind, bool copies, bool recurses = true) const {
    preferences_.Write("TessaryType = " + std::to_string(kind) +
                       "\nFileOperation = " + (copies ? "2" : "1") +
                       "\nRecurseFolders = " + (recurses ? "true" : "false") + "\n");
  }

  // A temporary file whose owner has crashed.
  static void LeaveStaleFile(const std::string& folder) { WriteFile(folder + "/" + kStaleName); }
  static bool HasStaleFile(const std::string& folder) { return Exists(folder + "/" + kStaleName); }
};

TEST_F(RunRecovery, MoveRecoversEverySourceFolderThatItVisits) {
  for (const bool recurses : {false, true}) {
    Set(1, /*copies=*/false, recurses);
    LeaveStaleFile(source_);
    LeaveStaleFile(InSource("below"));
    LeaveStaleFile(InSource("Tool.app"));
    Run();
    EXPECT_FALSE(HasStaleFile(source_));
    EXPECT_EQ(recurses, !HasStaleFile(InSource("below")));
  }
}

TEST_F(RunRecovery, CopyLeavesSourceAlone) {
  Set(1, /*copies=*/true);
  LeaveStaleFile(source_);
  LeaveStaleFile(InSource("below"));
  WriteJournalEntry(source_, JournalEntry());
  Run();
  EXPECT_TRUE(HasStaleFile(source_));
  EXPECT_TRUE(HasStaleFile(InSource("below")));
  EXPECT_TRUE(Exists(InSource(JournalEntryName())));
}

TEST_F(RunRecovery, RecoversDestinationAndKeyFoldersInUse) {
  for (const bool copies : {false, true}) {
    Set(1, copies);
    WriteFile(InSource("a.txt"));
    for (const std::string folder : {"", "txt", "unused"}) LeaveStaleFile(InDestination(folder));
    Run();
    EXPECT_FALSE(HasStaleFile(destination_));
    EXPECT_FALSE(HasStaleFile(InDestination("txt")));
    EXPECT_TRUE(HasStaleFile(InDestination("unused")));
  }
}

// The day pass goes over every plain folder of the destination.
TEST_F(RunRecovery, RunByDateRecoversYearFolders) {
  for (const bool copies : {false, true}) {
    Set(4, copies);
    LeaveStaleFile(InDestination("2009"));
    LeaveStaleFile(InDestination("2009/Mar 04, 2009"));
    WriteFile(InDestination("2009/a.txt"));
    SetModificationDate(InDestination("2009/a.txt"), 1'236'168'000);
    Run();
    EXPECT_THAT(NamesIn(InDestination("2009")), ElementsAre("Mar 04, 2009"));
    EXPECT_FALSE(HasStaleFile(InDestination("2009/Mar 04, 2009")));
  }
}

// The sidecar of an item that a crashed move left in the source is filed with it, in one run.
TEST_F(RunRecovery, RecoveredSidecarIsFiledInTheSameRun) {
  Set(1, /*copies=*/false, /*recurses=*/false);
  WriteFile(InSource("a.txt"), "item");
  WriteFile(InSource("._a.txt"), "sidecar");
  MakeFolder(InDestination("txt"));
  WriteJournalEntry(source_, MakeJournalEntry(JournalOperation::kMove, source_, "a.txt", "a.txt",
                                              InDestination("txt")));
  ASSERT_EQ(0, rename(InSource("._a.txt").c_str(), InDestination("txt/._a.txt").c_str()));
  Run();
  EXPECT_EQ(Names(), NamesIn(source_));
  EXPECT_THAT(NamesIn(InDestination("txt")), ElementsAre("._a.txt", "a.txt"));
  EXPECT_THAT(MessagesAfterFirst(), ElementsAre(MovedLine("a.txt", "txt")));
}

TEST_F(RunRecovery, UnfinishableEntryIsLoggedOnce) {
  Set(1, /*copies=*/false);
  JournalEntry entry;
  entry.operation = JournalOperation::kDelete;
  entry.name = std::string(254, 'x');
  WriteJournalEntry(source_, entry);
  // Not the item that was to be deleted: both are to be restored, but the name of the sidecar would
  // be too long.
  WriteFile(InSource(StagedItemNameOf(JournalEntryName())), "another");
  WriteFile(InSource(StagedSidecarNameOf(JournalEntryName())), "sidecar");
  Run();
  EXPECT_THAT(MessagesAfterFirst(),
              ElementsAre(testing::HasSubstr("\"" + InSource(JournalEntryName()) + "\"")));
  EXPECT_TRUE(Exists(InSource(JournalEntryName())));
}

}  // namespace
}  // namespace tessary::test
