#include "platform/managers/file_attributes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <array>
#include <cerrno>
#include <string>

#include "platform/linux/catalog/creation_date.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr DateAttribute kModified = DateAttribute::NSFileModificationDate;
constexpr DateAttribute kCreated = DateAttribute::NSFileCreationDate;

TEST(CopyFileDateAtPath, ModificationDateInNanoseconds) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  const std::array<timespec, 2> times = {timespec{1, 2}, timespec{1236139200, 123456789}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, (folder / "file").c_str(), times.data(), 0));
  EXPECT_EQ((Timestamp{1236139200, 123456789}), CopyFileDateAtPath(folder / "file", kModified));
}

TEST(CopyFileDateAtPath, FollowsLink) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink("file", folder / "link");
  SetModificationDate(folder / "file", 1'000'000);
  SetModificationDate(folder / "link", 2'000'000);
  EXPECT_EQ((Timestamp{1'000'000, 0}), CopyFileDateAtPath(folder / "link", kModified));
}

TEST(CopyFileDateAtPath, NoneWithoutTarget) {
  const TemporaryFolder folder;
  MakeLink("nowhere", folder / "dangling");
  MakeLink("loop", folder / "loop");
  for (const char* name : {"dangling", "loop", "absent"}) {
    EXPECT_EQ(std::nullopt, CopyFileDateAtPath(folder / name, kModified)) << name;
    EXPECT_EQ(std::nullopt, CopyFileDateAtPath(folder / name, kCreated)) << name;
  }
  EXPECT_EQ(std::nullopt, CopyFileDateAtPath("", kModified));
}

TEST(CopyFileDateAtPath, TargetThatCannotBeRead) {
  const TemporaryFolder folder;
  ASSERT_EQ(0, chmod(folder.path().c_str(), 0755));
  WriteFile(folder / "closed/file");
  WriteFile(folder / "file");
  MakeLink("closed/file", folder / "link");
  MakeLink("file/below", folder / "broken");
  ASSERT_EQ(0, chmod((folder / "closed").c_str(), 0));
  EXPECT_TRUE(RunAsOrdinaryUser([&folder] {
    Status status = noErr;
    EXPECT_EQ(std::nullopt, CopyFileDateAtPath(folder / "link", kModified, &status));
    EXPECT_EQ(afpAccessDenied, status);
    EXPECT_EQ(std::nullopt, CopyFileDateAtPath(folder / "broken", kModified, &status));
    EXPECT_EQ(noErr, status);
  }));
  RunWithPausedCalls({{SYS_statx, "link", 1, {}, EIO}}, [&folder] {
    Status status = noErr;
    EXPECT_EQ(std::nullopt, CopyFileDateAtPath(folder / "link", kModified, &status));
    EXPECT_EQ(ioErr, status);
  });
}

TEST(CopyFileDateAtPath, PrefersCreationDateAttribute) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink("file", folder / "link");
  if (!SetAttribute(folder / "file", kCreationDateAttribute, "2009-03-04T05:06:07.000000089Z")) {
    GTEST_SKIP() << "no attributes here";
  }
  const Timestamp carried = {1236143167, 89};
  EXPECT_EQ(carried, CopyFileDateAtPath(folder / "file", kCreated));
  EXPECT_EQ(carried, CopyFileDateAtPath(folder / "link", kCreated));
}

TEST(CopyFileDateAtPath, FallsBackToBirthTime) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  struct statx info = {};
  ASSERT_EQ(0, statx(AT_FDCWD, (folder / "file").c_str(), 0, STATX_BTIME, &info));
  if ((info.stx_mask & STATX_BTIME) == 0) GTEST_SKIP() << "no birth times here";
  EXPECT_EQ((Timestamp{info.stx_btime.tv_sec, info.stx_btime.tv_nsec}),
            CopyFileDateAtPath(folder / "file", kCreated));
}

}  // namespace
}  // namespace tessary::test
