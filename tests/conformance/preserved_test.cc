// Contents, names and metadata of an item are preserved if the target filesystem supports them.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>

#include "platform/linux/catalog/volume.h"
#include "tests/conformance/conformance_fixture.h"
#include "tests/support/access_list.h"
#include "tests/support/file_operations.h"

namespace tessary::test {
namespace {

using testing::IsEmpty;

constexpr uid_t kOtherUser = 4711;
constexpr char kSomeAttribute[] = "user.some.note";
constexpr char kComment[] = "user.xdg.comment";

timespec TimeOf(int64_t seconds, long nanoseconds) { return {seconds, nanoseconds}; }

// Sets the access and modification times without following a link.
void SetTimes(const std::string& path, const timespec& time) {
  const std::array<timespec, 2> times = {time, time};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW)) << path;
}

std::string Text(const timespec& time) {
  return std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

TEST_P(Conformance, FileSizes) {
  constexpr size_t kBlock = 4096;
  for (const size_t size :
       {size_t{0}, size_t{1}, kBlock - 1, kBlock, kBlock + 1, size_t{1} << 18}) {
    const std::string name = std::to_string(size);
    std::string contents(size, '\0');
    for (size_t i = 0; i < size; ++i) contents[i] = static_cast<char>('a' + i % 23);
    WriteFile(From(name), contents);
    ExpectWholeTransfer(name);
    EXPECT_EQ(contents, ReadFile(To(name)));
  }
}

TEST_P(AnyTargetLinkConformance, Links) {
  WriteFile(From("target"), "contents");
  MakeFolder(From("folder"));
  MakeLink("target", From("to-file"));
  MakeLink("folder", From("to-folder"));
  MakeLink("nowhere", From("dangling"));
  MakeLink("/", From("absolute"));
  MakeLink(std::string(1000, 'x'), From("long"));
  MakeLink("loop", From("loop"));
  for (const std::string name : {"to-file", "to-folder", "dangling", "absolute", "long", "loop"}) {
    ExpectWholeTransfer(name);
  }
  EXPECT_EQ("contents", ReadFile(From("target")));
}

TEST_P(SymlinkConformance, LinkTargetsThatAreNotUtf8) {
  if (!Traits().takesAnyNameBytes)
    GTEST_SKIP() << "one of the filesystems cannot store bytes that are not UTF-8";
  MakeLink("\xff\n", From("odd"));
  ExpectWholeTransfer("odd");
}

TEST_P(SymlinkConformance, LinkTargetsUntouched) {
  const TemporaryFolder elsewhere;
  WriteFile(elsewhere / "victim", "precious");
  SetTimes(elsewhere / "victim", TimeOf(1236164646, 0));
  MakeLink(elsewhere / "victim", From("link"));
  MakeLink(elsewhere / "victim", From("Tool.app/link"));
  if (geteuid() == 0 && Traits().hasOwners) {
    ASSERT_EQ(0, lchown(From("link").c_str(), kOtherUser, kOtherUser));
  }
  SetTimes(elsewhere / "victim", TimeOf(1236164646, 0));
  const std::vector<std::string> before = TreeLines(elsewhere.path());
  for (const std::string name : {"link", "Tool.app"}) {
    const Status status = Transfer(name);
    // Some filesystems refuse links outside of the mount.
    EXPECT_TRUE(status == noErr || !Traits().takesAnyLinkTarget) << name;
    EXPECT_TRUE(status == noErr || IsRename() || Exists(From(name))) << name;
  }
  EXPECT_EQ(before, TreeLines(elsewhere.path()));
}

TEST_P(Conformance, Folders) {
  WriteFile(From("folder/a.txt"), "a");
  WriteFile(From("folder/.hidden"), "hidden");
  WriteFile(From("folder/deep/er/est/b"), "b");
  MakeFolder(From("folder/empty"));
  ExpectWholeTransfer("folder");
}

TEST_P(Conformance, EmptyFolders) {
  MakeFolder(From("folder"));
  ExpectWholeTransfer("folder");
}

TEST_P(AnyTargetLinkConformance, LinksInsidePackages) {
  WriteFile(From("Kit.framework/Versions/A/Kit"), "code");
  MakeLink("A", From("Kit.framework/Versions/Current"));
  MakeLink("Versions/Current/Kit", From("Kit.framework/Kit"));
  MakeLink("../../outside", From("Kit.framework/out"));
  WriteFile(From("outside"), "outside");
  ExpectWholeTransfer("Kit.framework");
}

TEST_P(HardLinkConformance, HardLinksInsidePackages) {
  WriteFile(From("Tool.app/Contents/a"), "one file");
  MakeFolder(From("Tool.app/Other"));
  for (const std::string name : {"Contents/b", "Other/c"}) {
    ASSERT_EQ(0, link(From("Tool.app/Contents/a").c_str(), From("Tool.app/" + name).c_str()));
  }
  ASSERT_EQ(0, link(From("Tool.app/Contents/a").c_str(), From("outside").c_str()));
  ExpectWholeTransfer("Tool.app");
  EXPECT_EQ("one file", ReadFile(From("outside")));
  EXPECT_EQ(LstatAt(To("Tool.app/Contents/a")).st_ino, LstatAt(To("Tool.app/Other/c")).st_ino);
}

TEST_P(Conformance, Modes) {
  if (!Traits().hasModes) GTEST_SKIP() << "no modes on this filesystem";
  for (const mode_t mode : {0600U, 0444U, 0755U, 0777U, 0000U, 04755U, 02755U, 01644U}) {
    const std::string name = std::to_string(mode);
    WriteFile(From(name), "contents");
    ASSERT_EQ(0, chmod(From(name).c_str(), mode));
    if (geteuid() != 0 && (mode & 0400U) == 0 && !IsRename()) continue;
    ASSERT_EQ(noErr, Transfer(name));
    EXPECT_EQ(mode, LstatAt(To(name)).st_mode & 07777U);
  }
}

TEST_P(Conformance, ModesInsidePackages) {
  if (!Traits().hasModes) GTEST_SKIP() << "no modes on this filesystem";
  WriteFile(From("Tool.app/run"), "code");
  WriteFile(From("Tool.app/folder/read-only"), "text");
  ASSERT_EQ(0, chmod(From("Tool.app/run").c_str(), 0751));
  ASSERT_EQ(0, chmod(From("Tool.app/folder/read-only").c_str(), 0440));
  ASSERT_EQ(0, chmod(From("Tool.app/folder").c_str(), 02750));
  ASSERT_EQ(0, chmod(From("Tool.app").c_str(), 0700));
  ExpectWholeTransfer("Tool.app");
}

TEST_P(Conformance, Owners) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to change owners";
  if (!Traits().hasOwners) GTEST_SKIP() << "no owners on this filesystem";
  MakeFileAndPackage();
  for (const std::string name : kFileAndPackage) {
    ASSERT_EQ(0, chown(From(name).c_str(), kOtherUser, kOtherUser + 1));
    ASSERT_EQ(0, chmod(From(name).c_str(), 06750));
  }
  ExpectWholeTransferOfFileAndPackage();
}

TEST_P(Conformance, OwnersOfLinks) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to change owners";
  if (!Traits().hasOwners || !Traits().hasDatesOfLinks) {
    GTEST_SKIP() << "no owners of links on this filesystem";
  }
  MakeLink("target", From("link"));
  ASSERT_EQ(0, lchown(From("link").c_str(), kOtherUser, kOtherUser + 1));
  ExpectWholeTransfer("link");
  EXPECT_EQ(kOtherUser, LstatAt(To("link")).st_uid);
}

TEST_P(Conformance, AccessLists) {
  if (!Traits().hasAccessLists) GTEST_SKIP() << "no access lists on this filesystem";
  const std::string list = AccessListWithUser(kOtherUser);
  MakeFileAndPackage();
  for (const std::string name : kFileAndPackage) {
    ASSERT_TRUE(SetAttribute(From(name), kAccessListAttribute, list));
  }
  ASSERT_TRUE(SetAttribute(From("Tool.app"), kDefaultAccessListAttribute, list));
  ExpectWholeTransferOfFileAndPackage();
  for (const std::string name : kFileAndPackage) {
    EXPECT_EQ(list, AttributeAt(To(name), kAccessListAttribute)) << name;
  }
  EXPECT_EQ(list, AttributeAt(To("Tool.app"), kDefaultAccessListAttribute));
}

TEST_P(Conformance, TargetAccessListNotInherited) {
  if (!Traits().hasAccessLists) GTEST_SKIP() << "no access lists on this filesystem";
  if (IsRename()) GTEST_SKIP() << "a rename inherits nothing";
  MakeFileAndPackage();
  ASSERT_TRUE(
      SetAttribute(ToFolder(), kDefaultAccessListAttribute, AccessListWithUser(kOtherUser)));
  ExpectWholeTransferOfFileAndPackage();
  for (const std::string name : kFileAndPackage) {
    EXPECT_EQ("(none)", AttributeAt(To(name), kAccessListAttribute)) << name;
    EXPECT_EQ("(none)", AttributeAt(To(name), kDefaultAccessListAttribute)) << name;
  }
}

TEST_P(Conformance, Attributes) {
  if (!Traits().hasAttributes) GTEST_SKIP() << "no attributes on this filesystem";
  MakeFileAndPackage();
  for (const std::string name : kFileAndPackage) {
    ASSERT_TRUE(SetAttribute(From(name), kSomeAttribute, "value of " + name));
    ASSERT_TRUE(SetAttribute(From(name), kComment, "comment"));
  }
  ExpectWholeTransferOfFileAndPackage();
  for (const std::string name : kFileAndPackage) {
    EXPECT_EQ("value of " + name, AttributeAt(To(name), kSomeAttribute));
  }
  // A copy omits the comment of the item itself: the engine carries it over if the settings say so.
  const std::string expected = IsMove() ? "comment" : "(none)";
  EXPECT_EQ(expected, AttributeAt(To("file"), kComment));
  EXPECT_EQ(expected, AttributeAt(To("Tool.app"), kComment));
  EXPECT_EQ("comment", AttributeAt(To("Tool.app/inner"), kComment));
}

TEST_P(Conformance, UnsupportedAttributesDropped) {
  if (Traits().hasAttributes) GTEST_SKIP() << "both filesystems have attributes";
  WriteFile(From("file"), "contents");
  (void)SetAttribute(From("file"), kSomeAttribute, "value");
  ExpectWholeTransfer("file");
}

TEST_P(Conformance, Capabilities) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to set capabilities";
  if (!Traits().hasFileCapabilities) GTEST_SKIP() << "no capabilities on this filesystem";
  WriteFile(From("program"), "code");
  const std::string capability = MakeFileCapability();
  ASSERT_TRUE(SetAttribute(From("program"), kCapabilityAttribute, capability));
  ExpectWholeTransfer("program");
  EXPECT_EQ(capability, AttributeAt(To("program"), kCapabilityAttribute));
}

TEST_P(Conformance, Times) {
  WriteFile(From("Tool.app/inner"), "contents");
  // Even seconds: FAT and exFAT have a resolution of two seconds.
  for (const timespec& time :
       {TimeOf(1236164646, 123456789), TimeOf(2'000'000'000, 1), TimeOf(315'532'900, 0)}) {
    WriteFile(From("file"), "contents");
    SetTimes(From("file"), time);
    // The expected times are those that the target filesystem stores, after rounding.
    WriteFile(To("other"), "other");
    SetTimes(To("other"), LstatAt(From("file")).st_mtim);
    const std::string expected = Text(LstatAt(To("other")).st_mtim);
    const std::string access = Text(LstatAt(To("other")).st_atim);
    ASSERT_EQ(noErr, Transfer("file"));
    EXPECT_EQ(expected, Text(LstatAt(To("file")).st_mtim));
    EXPECT_EQ(access, Text(LstatAt(To("file")).st_atim));
    ASSERT_EQ(0, unlink(To("file").c_str()));
  }
}

TEST_P(Conformance, TimesOfFoldersAndLinks) {
  if (!Traits().hasDatesOfLinks) GTEST_SKIP() << "no dates of links on this filesystem";
  WriteFile(From("Tool.app/folder/inner"), "contents");
  MakeLink("inner", From("Tool.app/folder/link"));
  MakeLink("nowhere", From("link"));
  for (const std::string name :
       {"Tool.app/folder/link", "Tool.app/folder/inner", "Tool.app/folder", "Tool.app", "link"}) {
    SetTimes(From(name), TimeOf(1236164646, 0));
  }
  ASSERT_EQ(noErr, Transfer("Tool.app"));
  ASSERT_EQ(noErr, Transfer("link"));
  for (const std::string name :
       {"Tool.app/folder/link", "Tool.app/folder/inner", "Tool.app/folder", "Tool.app", "link"}) {
    EXPECT_EQ(1236164646, LstatAt(To(name)).st_mtim.tv_sec) << name;
  }
}

TEST_P(Conformance, SparseFilesStaySparse) {
  if (!Traits().hasHoles) GTEST_SKIP() << "no holes on this filesystem";
  constexpr off_t kSize = off_t{48} << 20;
  MakeSparseFile(From("sparse"), "at the start", kSize);
  {
    const UniqueFd file(open(From("sparse").c_str(), O_WRONLY | O_CLOEXEC));
    ASSERT_EQ(6, pwrite(file.get(), "middle", 6, kSize / 2));
    ASSERT_EQ(0, fsync(file.get()));
  }
  ASSERT_EQ(noErr, Transfer("sparse"));
  const struct stat info = LstatAt(To("sparse"));
  EXPECT_EQ(kSize, info.st_size);
  EXPECT_LT(info.st_blocks * 512, kSize / 8);
  const UniqueFd copy(open(To("sparse").c_str(), O_RDONLY | O_CLOEXEC));
  std::string middle(8, 'x');
  ASSERT_EQ(8, pread(copy.get(), middle.data(), 8, kSize / 2 - 1));
  EXPECT_EQ(std::string("\0middle\0", 8), middle);
}

TEST_P(Conformance, SparseFilesOverFourGigabytes) {
  // Without SEEK_HOLE, the copy would read the whole size.
  if (!Traits().hasHoles || !Traits().reportsHoles) GTEST_SKIP() << "holes are not reported";
  constexpr off_t kSize = (off_t{5} << 30) + 1;
  MakeSparseFile(From("huge"), "start", kSize);
  ASSERT_EQ(noErr, Transfer("huge"));
  EXPECT_EQ(kSize, LstatAt(To("huge")).st_size);
  EXPECT_EQ(IsCopy(), Exists(From("huge")));
}

TEST_P(Conformance, UnusualNames) {
  const std::vector<std::string> names = {".hidden",
                                          "..two",
                                          "space ",
                                          " space",
                                          "dot.",
                                          "-rf",
                                          "a'b\"c",
                                          "a:b",
                                          "a?*b",
                                          "b\\c",
                                          "\xff\xfe",
                                          "new\nline",
                                          "tab\t",
                                          "Käthe",
                                          "\xe2\x80\xae",
                                          "CON",
                                          "~",
                                          "%s",
                                          "$(id)",
                                          "café\u0301",
                                          "a\x01b",
                                          "\x7f",
                                          std::string(255, 'n')};
  const VolumeTraits& traits = SharedVolume(GetParam().to).Traits();
  const Volume target = {.hasReliableEntries = false, .hasWindowsNames = !traits.takesAnyNameBytes};
  size_t transferred = 0;
  for (const std::string& name : names) {
    const int file = open(From(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) continue;  // the source filesystem refuses the name
    close(file);
    ++transferred;
    ASSERT_EQ(noErr, Transfer(name)) << name;
    EXPECT_TRUE(Exists(To(NameOnVolume(name, target)))) << name;
    EXPECT_EQ(IsCopy(), Exists(From(name))) << name;
  }
  EXPECT_GE(transferred, 10U);
}

TEST_P(Conformance, NamesThatDifferInCase) {
  if (!SharedVolume(GetParam().from).Traits().isCaseSensitive) {
    GTEST_SKIP() << "the source filesystem is not case-sensitive";
  }
  WriteFile(From("name"), "small");
  WriteFile(From("NAME"), "large");
  ASSERT_EQ(noErr, Transfer("name"));
  const bool areDistinct = SharedVolume(GetParam().to).Traits().isCaseSensitive;
  EXPECT_EQ(areDistinct ? noErr : dupFNErr, Transfer("NAME"));
  EXPECT_EQ("small", ReadFile(To("name")));
  EXPECT_EQ("large", ReadFile(areDistinct ? To("NAME") : From("NAME")));
}

TEST_P(Conformance, SpecialFiles) {
  if (!Traits().hasSpecialFiles) GTEST_SKIP() << "no special files on this filesystem";
  ASSERT_EQ(0, mkfifo(From("fifo").c_str(), 0600));
  WriteFile(From("Tool.app/file"), "contents");
  ASSERT_EQ(0, mkfifo(From("Tool.app/fifo").c_str(), 0600));
  for (const std::string name : {"fifo", "Tool.app"}) {
    // A folder of a lower layer cannot be renamed, but is copied.
    if (IsRename() && !(name == "Tool.app" && IsSourceInLowerLayer())) {
      ExpectWholeTransfer(name);
    } else {
      ExpectTransferError(name, paramErr);
    }
  }
}

TEST_P(Conformance, Sockets) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  // The absolute path would exceed the size of sun_path.
  const UniqueFd folder(open(FromFolder().c_str(), O_PATH | O_CLOEXEC));
  const std::string path = "/proc/self/fd/" + std::to_string(folder.get()) + "/socket";
  path.copy(static_cast<char*>(address.sun_path), sizeof(address.sun_path) - 1);
  const UniqueFd bound(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (bind(bound.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    GTEST_SKIP() << "no sockets on this filesystem";
  }
  if (IsRename()) {
    ExpectWholeTransfer("socket");
  } else {
    ExpectTransferError("socket", paramErr);
  }
}

TEST_P(Conformance, KernelFilesOfSizeZero) {
  for (const std::string path : {"/proc/version", "/proc/sys/kernel/ostype"}) {
    const Status status = TransferTo(path, ToFolder(), "kernel");
    if (IsMove()) {
      // The move fails before it copies, because the source cannot be deleted.
      EXPECT_NE(noErr, status) << path;
      EXPECT_THAT(NamesIn(ToFolder()), IsEmpty());
      continue;
    }
    ASSERT_EQ(noErr, status) << path;
    EXPECT_EQ(ReadFile(path), ReadFile(To("kernel")));
    EXPECT_NE("", ReadFile(To("kernel")));
    ASSERT_EQ(0, unlink(To("kernel").c_str()));
  }
}

TEST_P(Conformance, TargetSetGroupIdNotInherited) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to change owners";
  if (!Traits().hasOwners || !Traits().hasModes) GTEST_SKIP() << "no owners on this filesystem";
  ASSERT_EQ(0, chown(ToFolder().c_str(), kOtherUser, kOtherUser));
  ASSERT_EQ(0, chmod(ToFolder().c_str(), 02775));
  WriteFile(From("file"), "contents");
  WriteFile(From("Tool.app/folder/inner"), "contents");
  ExpectWholeTransferOfFileAndPackage();
  EXPECT_EQ(0U, LstatAt(To("Tool.app/folder")).st_mode & S_ISGID);
}

TEST_P(Conformance, DescriptorsClosedAfterManyItems) {
  constexpr int kItems = 30;
  // An overlay gives the target folder another identity when it is first written to.
  for (const std::string name : {"first", "second"}) {
    WriteFile(From(name), "contents");
    ASSERT_EQ(noErr, Transfer(name));
  }
  const size_t before = CountOpenDescriptors();
  for (int i = 0; i < kItems; ++i) {
    const std::string name = std::to_string(i);
    WriteFile(From(name), name);
    ASSERT_EQ(noErr, Transfer(name));
  }
  EXPECT_EQ(before, CountOpenDescriptors());
}

TEST_P(Conformance, DescriptorsClosedAfterLargePackage) {
  constexpr int kFiles = 40;
  for (const std::string name : {"first", "second"}) {
    WriteFile(From(name), "contents");
    ASSERT_EQ(noErr, Transfer(name));
  }
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = std::to_string(i);
    WriteFile(From("Many.app/" + std::to_string(i % 7) + "/" + name), name);
  }
  const size_t before = CountOpenDescriptors();
  ExpectWholeTransfer("Many.app");
  EXPECT_EQ(before, CountOpenDescriptors());
}

}  // namespace
}  // namespace tessary::test
