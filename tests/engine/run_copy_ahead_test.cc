#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>

#include "platform/linux/catalog/volume.h"
#include "platform/linux/changes/copy_ahead.h"
#include "tests/engine/run_fixture.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"

namespace tessary::test {
namespace {

// Runs that copy files whose copies are prepared ahead, while something changes.
class RunCopyAhead : public RunTest {
 protected:
  static constexpr int kCount = 12;

  void SetUp() override {
    if (!HasSecondProcessor()) GTEST_SKIP() << "there is only one processor";
    const UniqueFd folder = OpenFolder(source_);
    if (!VolumeOf(IdentityAt(folder.get(), "").device, folder.get()).hasReliableEntries) {
      GTEST_SKIP() << "nothing is prepared on the filesystem of the temporary folder";
    }
    Set("FileOperation = 2\n");
    for (int i = 0; i < kCount; ++i) WriteFile(InSource(NameOf(i)), "old");
    // A file that has just been changed is not prepared.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    before_ = CountPreparedCopies();
  }

  static std::string NameOf(int item) { return std::to_string(item) + ".txt"; }
  std::string KeyFolder() const { return InDestination("txt"); }

  uint64_t Prepared() const { return CountPreparedCopies().prepared - before_.prepared; }
  uint64_t Published() const { return CountPreparedCopies().published - before_.published; }

  // Calls `change` in the turn of the second item, when copies of later ones are prepared.
  void ChangeDuringRun(const std::function<void()>& change) {
    onProgress_ = [this, change](const std::string&) {
      if (progress_.size() != 2) return;
      for (int i = 0; i < 10'000 && Prepared() < 3; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      EXPECT_LE(3U, Prepared());
      change();
    };
    Run();
    EXPECT_EQ(size_t{kCount}, progress_.size());
  }

  PreparedCopyCounts before_;
};

TEST_F(RunCopyAhead, LogsAsWithout) {
  ChangeDuringRun([] {});
  EXPECT_LT(0U, Published());
  EXPECT_EQ(size_t{kCount}, MessagesAfterFirst().size());
  for (const auto& [path, outcomes] : outcomes_) {
    const std::string name = path.substr(path.rfind('/') + 1);
    EXPECT_EQ(std::vector{ItemOutcome::kFiled}, outcomes) << name;
    EXPECT_EQ("old", ReadFile(KeyFolder() + "/" + name));
  }
  EXPECT_EQ(size_t{kCount}, outcomes_.size());
}

TEST_F(RunCopyAhead, CopiesChangedSources) {
  ChangeDuringRun([this] {
    for (int i = 0; i < kCount; ++i) WriteFile(InSource(NameOf(i)), "new");
  });
  EXPECT_EQ(size_t{kCount}, NamesIn(KeyFolder()).size());
  int old = 0;
  for (int i = 0; i < kCount; ++i) old += ReadFile(KeyFolder() + "/" + NameOf(i)) == "old" ? 1 : 0;
  EXPECT_EQ(1, old);
}

TEST_F(RunCopyAhead, MovesOnceSettingSaysSo) {
  for (int i = 0; i < kCount; ++i) WriteFile(KeyFolder() + "/" + NameOf(i), "existing");
  // The setting is read for the next item.
  ChangeDuringRun([this] { WritePreferencesInChild("FileOperation = 1\n"); });
  EXPECT_EQ(2U, NamesIn(source_).size());
  EXPECT_EQ(size_t{2 * kCount}, NamesIn(KeyFolder()).size());
}

TEST_F(RunCopyAhead, FilesIntoReplacedKeyFolder) {
  ChangeDuringRun([this] {
    ASSERT_EQ(0, std::rename(KeyFolder().c_str(), InDestination("before").c_str()));
    MakeFolder(KeyFolder());
  });
  EXPECT_EQ(1U, NamesIn(InDestination("before")).size());
  EXPECT_EQ(size_t{kCount - 1}, NamesIn(KeyFolder()).size());
}

TEST_F(RunCopyAhead, ReportsUnreadableSources) {
  OpenToOrdinaryUser();
  for (int i = 0; i < kCount; i += 2) ASSERT_EQ(0, chmod(InSource(NameOf(i)).c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([this] {
    Run();
    EXPECT_EQ(size_t{kCount / 2}, NamesIn(KeyFolder()).size());
    for (int i = 0; i < kCount; ++i) {
      const auto expected = i % 2 == 0 ? ItemOutcome::kNotTransferred : ItemOutcome::kFiled;
      EXPECT_EQ(std::vector{expected}, outcomes_[InSource(NameOf(i))]);
    }
  }));
}

}  // namespace
}  // namespace tessary::test
