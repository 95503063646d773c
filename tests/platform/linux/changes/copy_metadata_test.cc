#include "platform/linux/changes/copy_metadata.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/changes/object_info.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_attributes.h"
#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/access_list.h"
#include "tests/support/captured_log.h"
#include "tests/support/fault_injection/injected_errors.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/file_operations.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/run_in_child.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

constexpr char kNtfsAttribute[] = "system.ntfs_crtime_be";
constexpr Timestamp kDate = {1'236'143'167, 123'456'700};

std::optional<Timestamp> DateAt(const std::string& path, std::string* origin = nullptr) {
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, path.c_str(), &info)) << path;
  return CreationDateAt(PlaceAt(path), info, origin);
}

// Reads the attribute of the NTFS driver, which answers for it but does not list it.
std::string ReadDriverAttribute(const std::string& path) {
  std::string value(8, '\0');
  EXPECT_EQ(8, lgetxattr(path.c_str(), kNtfsAttribute, value.data(), value.size())) << path;
  return value;
}

TEST(CopyMetadata, KeepsModeZero) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser reads such files";
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 0));
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  EXPECT_EQ(0U, LstatAt(folder / "copy").st_mode & 07777);
}

TEST(CopyMetadata, KeepsOwnerAndSetIdIfPermitted) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser gives files away";
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  ASSERT_EQ(0, chown((folder / "file").c_str(), 12, 34));
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 06755));
  ASSERT_EQ(0, chmod(folder.path().c_str(), 0777));
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  EXPECT_EQ(12U, LstatAt(folder / "copy").st_uid);
  EXPECT_EQ(34U, LstatAt(folder / "copy").st_gid);
  EXPECT_EQ(06755U, LstatAt(folder / "copy").st_mode & 07777);

  EXPECT_TRUE(RunAsOrdinaryUser(
      [&] { EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "user's copy")); }));
  EXPECT_NE(12U, LstatAt(folder / "user's copy").st_uid);
  EXPECT_EQ(0755U, LstatAt(folder / "user's copy").st_mode & 07777);
}

// In a user namespace, the numbers of all unmapped owners are equal.
TEST(CopyMetadata, DropsSetIdOfUnmappedOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser gives files away";
  if (!RunInChild([] { _exit(unshare(CLONE_NEWUSER) == 0 ? 0 : 1); })) {
    GTEST_SKIP() << "cannot create a user namespace here";
  }
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  ASSERT_EQ(0, chown((folder / "file").c_str(), 12, 34));
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 06755));
  ASSERT_EQ(0, chmod(folder.path().c_str(), 0777));
  EXPECT_TRUE(RunInChild([&] {
    ASSERT_EQ(0, unshare(CLONE_NEWUSER));
    EXPECT_EQ(LstatAt(folder / "file").st_uid, geteuid()) << "the numbers are equal";
    EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  }));
  EXPECT_EQ(0755U, LstatAt(folder / "copy").st_mode & 07777);
}

// Sets the access date to one before the modification date, so that reading updates it.
void SetAccessDate(const std::string& path, time_t seconds) {
  const std::array<timespec, 2> times = {timespec{seconds, 0}, timespec{0, UTIME_OMIT}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), 0));
}

// The first attempt to copy has read the source, which updates its access date.
TEST(CopyMetadata, SecondAttemptKeepsAccessDate) {
  constexpr time_t kAccessed = 1'000'000'000;
  const TemporaryFolder folder;
  WriteFile(folder / "read", "x");
  SetAccessDate(folder / "read", kAccessed);
  EXPECT_EQ("x", ReadFile(folder / "read"));
  if (LstatAt(folder / "read").st_atime == kAccessed) {
    GTEST_SKIP() << "reading does not update access dates here";
  }
  WriteFile(folder / "file", "first");
  SetAccessDate(folder / "file", kAccessed);
  const auto save = [&folder] { WriteFile(folder / "file", "second version"); };
  RunWithPausedCalls({{SYS_utimensat, "", 1, save}}, [&] {
    // As for another user's file, which cannot be read without updating the date.
    ASSERT_TRUE(InjectErrors({{SYS_openat, EPERM, 2, O_NOATIME}}));
    EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
    EXPECT_EQ(kAccessed, LstatAt(folder / "copy").st_atime);
    EXPECT_NE(kAccessed, LstatAt(folder / "file").st_atime);
    EXPECT_EQ("second version", ReadFile(folder / "copy"));
  });
}

// An access control list in the kernel's format: user 12 may read and write, the group nothing.
std::string AccessList() {
  const uint16_t entries[][2] = {{0x01, 6}, {0x02, 6}, {0x04, 0}, {0x10, 6}, {0x20, 0}};
  std::string list("\2\0\0\0", 4);
  for (const auto& entry : entries) {
    for (const uint16_t number : entry) {
      list += static_cast<char>(number);
      list += '\0';
    }
    list += entry[0] == 0x02 ? std::string("\14\0\0\0", 4) : std::string(4, '\xff');
  }
  return list;
}

TEST(CopyMetadata, KeepsAccessList) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "system.posix_acl_access", AccessList())) {
    GTEST_SKIP() << "the filesystem has no access control lists";
  }
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  EXPECT_EQ(AccessList(), AttributeAt(folder / "copy", "system.posix_acl_access"));
  EXPECT_EQ(0660U, LstatAt(folder / "copy").st_mode & 07777);
}

TEST(CopyMetadata, DroppedAccessListLimitsGroup) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "system.posix_acl_access", AccessList())) {
    GTEST_SKIP() << "the filesystem has no access control lists";
  }
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsetxattr, ENOTSUP, 0, 0}}, [&] {
    EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  }));
  EXPECT_EQ(0600U, LstatAt(folder / "copy").st_mode & 07777);
}

TEST(CopyMetadata, RemovesInheritedAccessList) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 0660));
  MakeFolder(folder / "package/inner");
  MakeFolder(folder / "to");
  if (!SetAttribute(folder / "to", "system.posix_acl_default", AccessList())) {
    GTEST_SKIP() << "the filesystem has no access control lists";
  }
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "to/file"));
  ASSERT_EQ(noErr, CopyAt(folder / "package", folder / "to/package"));
  for (const std::string name : {"to/file", "to/package", "to/package/inner"}) {
    EXPECT_EQ("(none)", AttributeAt(folder / name, "system.posix_acl_access")) << name;
    EXPECT_EQ("(none)", AttributeAt(folder / name, "system.posix_acl_default")) << name;
  }
  EXPECT_EQ(0660U, LstatAt(folder / "to/file").st_mode & 07777);
}

TEST(CopyMetadata, RemembersDateWithoutAttributes) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", kCreationDateAttribute, "1971-01-01T00:00:00Z")) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsetxattr, ENOTSUP, 0, 0}}, [&] {
    EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
    EXPECT_EQ("(none)", AttributeAt(folder / "copy", kCreationDateAttribute));
    struct statx info = {};
    EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, (folder / "copy").c_str(), &info));
    EXPECT_EQ((Timestamp{31'536'000, 0}), CreationDateAt(PlaceAt(folder / "copy"), info));
  }));
}

// ext4 has room for about 4 KiB of attributes per file.
TEST(CopyMetadata, RemembersDateThatDoesNotFit) {
  const ScratchVolume ext4(VolumeKind::kExt4);
  if (!ext4.IsAvailable()) GTEST_SKIP() << ext4.UnavailableReason();
  WriteFile(ext4 / "file", "x");
  for (const std::string name : {"user.a", "user.b"}) {
    size_t size = 4096;
    while (size > 0 && !SetAttribute(ext4 / "file", name, std::string(size, 'x'))) --size;
    ASSERT_GT(size, 0U);
  }
  ASSERT_EQ(noErr, CopyAt(ext4 / "file", ext4 / "copy"));
  EXPECT_EQ("(none)", AttributeAt(ext4 / "copy", kCreationDateAttribute));
  EXPECT_EQ(AttributeAt(ext4 / "file", "user.a"), AttributeAt(ext4 / "copy", "user.a"));
  struct statx source = {};
  struct statx copy = {};
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, (ext4 / "file").c_str(), &source));
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, (ext4 / "copy").c_str(), &copy));
  EXPECT_EQ((Timestamp{source.stx_btime.tv_sec, source.stx_btime.tv_nsec}),
            CreationDateAt(PlaceAt(ext4 / "copy"), copy));
}

// The protocol of sshfs has 32 bits for a date, and FAT begins in 1980.
TEST(CopyMetadata, RemembersDateOutOfRange) {
  for (const VolumeKind kind : {VolumeKind::kSshfs, VolumeKind::kExfat}) {
    const ScratchVolume volume(kind);
    if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
    const TemporaryFolder folder;
    const NSAutoreleasePool pool;
    for (const int64_t seconds : {-315'000'000LL, 5'000'000'000LL, 1'600'000'000LL}) {
      SCOPED_TRACE(NameOf(kind) + ", " + std::to_string(seconds));
      WriteFile(folder / "file", "x");
      const timespec time = {seconds, 0};
      const std::array<timespec, 2> times = {time, time};
      ASSERT_EQ(0, utimensat(AT_FDCWD, (folder / "file").c_str(), times.data(), 0));
      const std::string copy = volume / std::to_string(seconds);
      ASSERT_EQ(noErr, MoveAcrossAt(folder / "file", copy));
      EXPECT_EQ((Timestamp{seconds, 0}),
                CopyFileDateAtPath(copy, DateAttribute::NSFileModificationDate));
      ASSERT_EQ(0, rename(copy.c_str(), (copy + " renamed").c_str()));
      EXPECT_EQ((Timestamp{seconds, 0}),
                CopyFileDateAtPath(copy + " renamed", DateAttribute::NSFileModificationDate));
    }
  }
}

// As a mount of rclone.
TEST(CopyMetadata, IgnoresAttributesOfFilesystemWithErrors) {
  const ScratchVolume bindfs(VolumeKind::kBindfs);
  if (!bindfs.IsAvailable()) GTEST_SKIP() << bindfs.UnavailableReason();
  const TemporaryFolder folder;
  for (const std::string name : {"one", "two", "package/inner"}) WriteFile(bindfs / name, "x");
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.x", "y")) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  EXPECT_TRUE(RunWithInjectedErrors(
      {{SYS_flistxattr, EIO}, {SYS_listxattr, EIO}, {SYS_fgetxattr, EIO}, {SYS_fsetxattr, EIO}},
      [&] {
        const CapturedLog log;
        for (const std::string name : {"one", "two", "package"}) {
          EXPECT_EQ(noErr, CopyAt(bindfs / name, bindfs / (name + " copy"))) << name;
        }
        EXPECT_EQ(ioErr, CopyAt(folder / "file", folder / "copy")) << "not a FUSE filesystem";
        EXPECT_EQ(std::vector<std::string>{"The filesystem of \"" + bindfs.path() +
                                           "\" reports an error for all attributes: they are "
                                           "ignored"},
                  log.Messages());
      }));
}

TEST(CopyMetadata, FailsOnErrorOfOneObject) {
  const ScratchVolume bindfs(VolumeKind::kBindfs);
  if (!bindfs.IsAvailable()) GTEST_SKIP() << bindfs.UnavailableReason();
  WriteFile(bindfs / "file", "x");
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_flistxattr, EIO}}, [&] {
    EXPECT_EQ(ioErr, CopyAt(bindfs / "file", bindfs / "copy")) << "the folder lists its attributes";
  }));
}

TEST(CopyMetadata, FailsOnAttributeError) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.x", "y"))
    GTEST_SKIP() << "the filesystem has no attributes";
  EXPECT_TRUE(RunWithInjectedErrors({{SYS_fsetxattr, EIO, 0, 0}}, [&] {
    EXPECT_EQ(ioErr, CopyAt(folder / "file", folder / "copy"));
  }));
  EXPECT_EQ(std::vector<std::string>{"file"}, NamesIn(folder.path()));
}

TEST(CopyMetadata, FailsOnOwnerModeOrTimesError) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser gives files away";
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  ASSERT_EQ(0, chown((folder / "file").c_str(), 12, 34));
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 06755));
  for (const long call : {SYS_fchown, SYS_fchmod, SYS_utimensat}) {
    EXPECT_TRUE(RunWithInjectedErrors({{call, EIO, 0, 0}}, [&] {
      EXPECT_EQ(ioErr, CopyAt(folder / "file", folder / "copy"));
    })) << call;
    EXPECT_EQ(std::vector<std::string>{"file"}, NamesIn(folder.path()));
  }
}

TEST(CopyMetadata, SetsGroupWithoutOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only the superuser gives files away";
  constexpr gid_t kOrdinaryGroup = 65534;
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  ASSERT_EQ(0, chown((folder / "file").c_str(), 12, kOrdinaryGroup));
  ASSERT_EQ(0, chmod((folder / "file").c_str(), 0644));
  MakeFolder(folder / "to");
  // With set-group-ID, new objects in it get its group.
  ASSERT_EQ(0, chown((folder / "to").c_str(), 0, 34));
  ASSERT_EQ(0, chmod((folder / "to").c_str(), 02777));
  ASSERT_EQ(0, chmod(folder.path().c_str(), 0755));
  EXPECT_TRUE(
      RunAsOrdinaryUser([&] { EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "to/copy")); }));
  EXPECT_EQ(kOrdinaryGroup, LstatAt(folder / "to/copy").st_gid);
  EXPECT_NE(12U, LstatAt(folder / "to/copy").st_uid);
}

TEST(CopyMetadata, OmitsPrivilegedAttributes) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", kCapabilityAttribute, MakeFileCapability())) {
    GTEST_SKIP() << "cannot give a capability here";
  }
  ASSERT_EQ(0, chmod(folder.path().c_str(), 0777));
  EXPECT_TRUE(RunAsOrdinaryUser([&] {
    EXPECT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
    EXPECT_EQ("(none)", AttributeAt(folder / "copy", kCapabilityAttribute));
  }));
}

TEST(CopyMetadata, KeepsManyAttributes) {
  const TemporaryFolder folder{"/dev/shm"};
  WriteFile(folder / "file", "x");
  constexpr int kCount = 40;
  for (int i = 0; i < kCount; ++i) {
    const std::string name = "user." + std::string(60, 'x') + std::to_string(i);
    if (!SetAttribute(folder / "file", name, std::to_string(i))) {
      GTEST_SKIP() << "the filesystem has no room for so many";
    }
  }
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  for (int i = 0; i < kCount; ++i) {
    const std::string name = "user." + std::string(60, 'x') + std::to_string(i);
    EXPECT_EQ(std::to_string(i), AttributeAt(folder / "copy", name));
  }
}

TEST(CopyMetadata, KeepsDateInItsAttribute) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.DOSATTRIB", FromHex(kDosAttributes5))) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  EXPECT_EQ(kDate, DateAt(folder / "copy"));
  EXPECT_EQ("(none)", AttributeAt(folder / "copy", kCreationDateAttribute));
}

TEST(CopyMetadata, StoresDateInOurAttribute) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.DOSATTRIB", "0x20")) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  const std::optional<Timestamp> date = DateAt(folder / "file");
  ASSERT_EQ(noErr, CopyAt(folder / "file", folder / "copy"));
  EXPECT_EQ(date, DateAt(folder / "copy"));
  EXPECT_EQ(date ? FormatCreationDate(*date) : "(none)",
            AttributeAt(folder / "copy", kCreationDateAttribute));
}

TEST(CopyMetadata, UsesCreationDateOfNtfs) {
  const ScratchVolume ntfs(VolumeKind::kNtfs, "", 16);
  if (!ntfs.IsAvailable()) GTEST_SKIP() << ntfs.UnavailableReason();
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  if (!SetAttribute(folder / "file", "user.DOSATTRIB", FromHex(kDosAttributes5))) {
    GTEST_SKIP() << "the filesystem has no attributes";
  }
  ASSERT_EQ(noErr, CopyAt(folder / "file", ntfs / "there"));
  EXPECT_EQ(FromHex("01c99c86ecec6007"), ReadDriverAttribute(ntfs / "there"));
  EXPECT_EQ(kDate, DateAt(ntfs / "there"));
  EXPECT_EQ("(none)", AttributeAt(ntfs / "there", kCreationDateAttribute));

  // Now only the driver knows the date.
  ASSERT_EQ(0, removexattr((ntfs / "there").c_str(), "user.DOSATTRIB"));
  std::string origin;
  EXPECT_EQ(kDate, DateAt(ntfs / "there", &origin));
  EXPECT_EQ(kNtfsAttribute, origin);
  ASSERT_EQ(noErr, CopyAt(ntfs / "there", folder / "back"));
  EXPECT_EQ(kDate, DateAt(folder / "back"));
  EXPECT_EQ(FormatCreationDate(kDate), AttributeAt(folder / "back", kCreationDateAttribute));
  ASSERT_EQ(noErr, MoveAcrossAt(folder / "back", ntfs / "moved"));
  EXPECT_EQ(ReadDriverAttribute(ntfs / "there"), ReadDriverAttribute(ntfs / "moved"));
}

}  // namespace
}  // namespace tessary::test
