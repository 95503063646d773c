// Transfers by an ordinary user, with and without permission.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tests/conformance/conformance_fixture.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"

namespace tessary::test {
namespace {

using testing::IsEmpty;

TEST_P(Conformance, ForeignFileInStickyFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to change owners";
  if (!Traits().hasOwners || !Traits().ownsWhatItCreates) {
    GTEST_SKIP() << "no users on this filesystem";
  }
  WriteFile(From("foreign"), "contents");
  ASSERT_EQ(0, chmod(FromFolder().c_str(), 01777));
  ASSERT_EQ(0, chmod(ToFolder().c_str(), 0777));
  OpenToEverybody();
  SealTestData();
  ASSERT_TRUE(RunAsOrdinaryUser([this] {
    if (IsMove()) {
      ExpectTransferError("foreign", afpAccessDenied);
      EXPECT_THAT(NamesIn(ToFolder()), IsEmpty());
    } else {
      EXPECT_EQ(noErr, Transfer("foreign"));
    }
  }));
  EXPECT_EQ("contents", ReadFile(From("foreign")));
}

TEST_P(PermissionConformance, ReadOnlySourceFolder) {
  MakeFileAndPackage();
  AsOrdinaryUser([this] {
    ASSERT_EQ(0, chmod(FromFolder().c_str(), 0555));
    for (const std::string name : {"file", "Tool.app"}) {
      if (IsMove()) {
        ExpectTransferError(name, afpAccessDenied);
      } else {
        EXPECT_EQ(noErr, Transfer(name));
      }
    }
    ASSERT_EQ(0, chmod(FromFolder().c_str(), 0755));
  });
}

TEST_P(PermissionConformance, ReadOnlyTargetFolder) {
  MakeFileAndPackage();
  AsOrdinaryUser([this] {
    ASSERT_EQ(0, chmod(ToFolder().c_str(), 0555));
    ExpectTransferError("file", afpAccessDenied);
    ExpectTransferError("Tool.app", afpAccessDenied);
    ASSERT_EQ(0, chmod(ToFolder().c_str(), 0755));
  });
}

TEST_P(PermissionConformance, UnreadableFile) {
  WriteFile(From("file"), "contents");
  AsOrdinaryUser([this] {
    ASSERT_EQ(0, chmod(From("file").c_str(), 0));
    if (IsRename()) {
      EXPECT_EQ(noErr, Transfer("file"));
    } else {
      EXPECT_EQ(afpAccessDenied, Transfer("file"));
      EXPECT_TRUE(Exists(From("file")));
      EXPECT_THAT(NamesIn(ToFolder()), IsEmpty());
    }
  });
}

TEST_P(PermissionConformance, UnreadableFolderInPackage) {
  WriteFile(From("Tool.app/a"), "contents");
  WriteFile(From("Tool.app/closed/b"), "contents");
  AsOrdinaryUser([this] {
    ASSERT_EQ(0, chmod(From("Tool.app/closed").c_str(), 0));
    // A folder of a lower layer is copied.
    if (IsRename() && !IsSourceInLowerLayer()) {
      EXPECT_EQ(noErr, Transfer("Tool.app"));
      ASSERT_EQ(0, chmod(To("Tool.app/closed").c_str(), 0755));
      EXPECT_EQ("contents", ReadFile(To("Tool.app/closed/b")));
      return;
    }
    EXPECT_EQ(afpAccessDenied, Transfer("Tool.app"));
    EXPECT_THAT(NamesIn(ToFolder()), IsEmpty());
    ASSERT_EQ(0, chmod(From("Tool.app/closed").c_str(), 0755));
    EXPECT_EQ("contents", ReadFile(From("Tool.app/closed/b")));
  });
}

TEST_P(PermissionConformance, ReadOnlyFile) {
  WriteFile(From("file"), "contents");
  AsOrdinaryUser([this] {
    ASSERT_EQ(0, chmod(From("file").c_str(), 0444));
    ExpectWholeTransfer("file");
  });
}

TEST_P(PermissionConformance, ReadOnlyKeyFolderLoggedPerItem) {
  for (const std::string name : {"a.txt", "b.txt"}) WriteFile(From(name), name);
  MakeFolder(To("txt"));
  AsOrdinaryUser([this] {
    ASSERT_EQ(0, chmod(To("txt").c_str(), 0555));
    const std::vector<std::string> messages = RunEngine();
    EXPECT_EQ(2, std::ranges::count(messages, "An error occurred: -5000"));
    EXPECT_EQ(2, std::ranges::count_if(messages, [](const std::string& message) {
                return message.starts_with("The file \"");
              }));
    EXPECT_EQ(5U, messages.size());
    EXPECT_THAT(NamesIn(To("txt")), IsEmpty());
    EXPECT_THAT(NamesIn(FromFolder()), testing::ElementsAre("a.txt", "b.txt"));
    ASSERT_EQ(0, chmod(To("txt").c_str(), 0755));
  });
}

}  // namespace
}  // namespace tessary::test
