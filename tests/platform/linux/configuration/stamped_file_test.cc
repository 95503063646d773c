#include "platform/linux/configuration/stamped_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

FileStamp KnownStampAt(const std::string& path) {
  FileStamp stamp;
  EXPECT_EQ(noErr, ReadFileStamp(path.c_str(), &stamp)) << path;
  return stamp;
}

TEST(ReadStampedFile, FollowsLinks) {
  const TemporaryFolder folder;
  const std::string text("a\0\xff\r\n", 5);
  WriteFile(folder / "file", text);
  MakeLink("file", folder / "link");
  StampedFile file;
  ASSERT_EQ(noErr, ReadStampedFile((folder / "link").c_str(), 100, &file));
  EXPECT_EQ(text, file.text);
  EXPECT_EQ(KnownStampAt(folder / "file"), file.stamp);
  EXPECT_EQ(KnownStampAt(folder / "link"), file.stamp);
  EXPECT_TRUE(file.isRecentlyModified);
}

TEST(ReadStampedFile, ReadsAtMostLimit) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "0123456789");
  StampedFile file;
  ASSERT_EQ(noErr, ReadStampedFile((folder / "file").c_str(), 4, &file));
  EXPECT_EQ("0123", file.text);
  ASSERT_EQ(noErr, ReadStampedFile((folder / "file").c_str(), 10, &file));
  EXPECT_EQ("0123456789", file.text);
}

TEST(ReadStampedFile, RejectsOtherObjectsWithoutBlocking) {
  const TemporaryFolder folder;
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  MakeLink("nowhere", folder / "dangling");
  MakeLink("loop", folder / "loop");
  WriteFile(folder / "file");
  StampedFile file;
  file.text = "kept";
  EXPECT_EQ(paramErr, ReadStampedFile((folder / "fifo").c_str(), 100, &file));
  EXPECT_EQ(paramErr, ReadStampedFile(folder.path().c_str(), 100, &file));
  EXPECT_EQ(paramErr, ReadStampedFile("/dev/zero", 100, &file));
  EXPECT_EQ(fnfErr, ReadStampedFile((folder / "dangling").c_str(), 100, &file));
  EXPECT_EQ(fnfErr, ReadStampedFile((folder / "absent").c_str(), 100, &file));
  EXPECT_EQ(dirNFErr, ReadStampedFile((folder / "file/below").c_str(), 100, &file));
  EXPECT_EQ(ioErr, ReadStampedFile((folder / "loop").c_str(), 100, &file));
  EXPECT_EQ("kept", file.text);
}

TEST(ReadFileStamp, ChangesWithSizeTimesAndIdentity) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  WriteFile(path, "1");
  const FileStamp first = KnownStampAt(path);
  EXPECT_EQ(first, KnownStampAt(path));
  WriteFile(path, "12");
  const FileStamp grown = KnownStampAt(path);
  EXPECT_NE(first, grown);
  SetModificationDate(path, 1000);
  const FileStamp older = KnownStampAt(path);
  EXPECT_NE(grown, older);
  WriteFile(folder / "other", "12");
  SetModificationDate(folder / "other", 1000);
  ASSERT_EQ(0, rename((folder / "other").c_str(), path.c_str()));
  EXPECT_NE(older, KnownStampAt(path));
}

TEST(ReadFileStamp, ReportsMissingFile) {
  const TemporaryFolder folder;
  FileStamp stamp;
  EXPECT_EQ(fnfErr, ReadFileStamp((folder / "absent").c_str(), &stamp));
}

TEST(ReadStampedFile, FutureTimesAreRecent) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "1");
  SetModificationDate(folder / "file", 4000000000);
  StampedFile file;
  ASSERT_EQ(noErr, ReadStampedFile((folder / "file").c_str(), 100, &file));
  EXPECT_TRUE(file.isRecentlyModified);
}

TEST(ReadStampedFile, OldFileIsNotRecent) {
  StampedFile file;
  // A test cannot create an old file, because the time of the last status change cannot be set
  // back.
  if (ReadStampedFile("/etc/passwd", 100, &file) != noErr) GTEST_SKIP() << "no /etc/passwd here";
  EXPECT_FALSE(file.isRecentlyModified);
}

}  // namespace
}  // namespace tessary::test
