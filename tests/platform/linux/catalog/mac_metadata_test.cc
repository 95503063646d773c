#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "platform/linux/catalog/creation_date.h"
#include "platform/linux/changes/object_info.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/launch_services.h"
#include "tests/platform/linux/mac_formats/recorded_attributes.h"
#include "tests/support/file_operations.h"
#include "tests/support/mac_test_data.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Metadata written by a Mac, read by the catalog in every form.
namespace tessary::test {
namespace {

constexpr uint32_t kText = 0x54455854;     // 'TEXT'
constexpr uint32_t kCreator = 0x74747874;  // 'ttxt'

const std::string kInvisibleText = std::string("TEXTttxt\x40", 9) + std::string(23, '\0');

// The catalog reads sidecars only after a listing has seen one in the folder.
void ListFolder(const std::string& path) {
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(path), &iterator));
  std::array<FSRef, 10> refs;
  size_t actual = 0;
  bool changed = false;
  while (FSGetCatalogInfoBulk(*iterator, refs.size(), &actual, &changed, refs.data()) == noErr) {
  }
}

FileInfo InfoOf(const std::string& path) {
  FSCatalogInfo info;
  EXPECT_EQ(noErr,
            FSGetCatalogInfo(RefAt(path), kFSCatInfoFinderInfo, &info, nullptr, nullptr, nullptr));
  return info.finderInfo;
}

struct Form {
  const char* name;
  // Writes the Finder information of an invisible text file in this form. Returns false if the
  // filesystem does not accept the attribute.
  std::function<bool(const std::string& path)> write;
};

bool WriteSidecar(const std::string& path, const std::string& finderInfo) {
  const size_t slash = path.rfind('/');
  WriteFile(path.substr(0, slash) + "/._" + path.substr(slash + 1),
            MakeSidecar(finderInfo, {}, "fork"));
  return true;
}

const std::vector<Form>& Forms() {
  static const std::vector<Form> kForms = {
      {"Raw",
       [](const auto& path) {
         return SetAttribute(path, "user.com.apple.FinderInfo", kInvisibleText);
       }},
      {"Netatalk",
       [](const auto& path) {
         return SetAttribute(path, "user.org.netatalk.Metadata", FromHex(kNetatalkOfSambaNetatalk));
       }},
      {"SambaStream",
       [](const auto& path) {
         return SetAttribute(path, "user.DosStream.AFP_AfpInfo:$DATA",
                             FromHex(kAfpinfoOfSambaStream));
       }},
      {"Sidecar", [](const auto& path) { return WriteSidecar(path, kInvisibleText); }},
  };
  return kForms;
}

class FinderInformation : public testing::TestWithParam<Form> {};
INSTANTIATE_TEST_SUITE_P(Forms, FinderInformation, testing::ValuesIn(Forms()),
                         [](const auto& param) { return param.param.name; });

TEST_P(FinderInformation, SameFromEveryForm) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeFolder(folder / "package");
  if (!GetParam().write(folder / "file")) GTEST_SKIP() << "no attributes here";
  ASSERT_TRUE(GetParam().write(folder / "package"));
  ListFolder(folder.path());
  for (const std::string name : {"file", "package"}) {
    const FileInfo info = InfoOf(folder / name);
    EXPECT_EQ(kText, info.fileType) << name;
    EXPECT_EQ(kCreator, info.fileCreator) << name;
    EXPECT_EQ(kIsInvisible, info.finderFlags) << name;
  }
}

TEST(FinderInformation, FormPrecedence) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  WriteFile(path);
  ASSERT_TRUE(WriteSidecar(path, "CCCC" + std::string(28, '\0')));
  ListFolder(folder.path());
  EXPECT_EQ(0x43434343U, InfoOf(path).fileType);
  if (!SetAttribute(path, "user.DosStream.AFP_AfpInfo:$DATA",
                    "AFP" + std::string(13, '\0') + "BBBB" + std::string(41, '\0'))) {
    GTEST_SKIP() << "no attributes here";
  }
  EXPECT_EQ(0x42424242U, InfoOf(path).fileType);
  ASSERT_TRUE(SetAttribute(path, "user.org.netatalk.Metadata", FromHex(kNetatalkOfSambaNetatalk)));
  EXPECT_EQ(kText, InfoOf(path).fileType);
  // A malformed or all-zero form is skipped.
  ASSERT_TRUE(SetAttribute(path, "user.com.apple.FinderInfo", "AAAA"));
  EXPECT_EQ(kText, InfoOf(path).fileType);
  ASSERT_TRUE(SetAttribute(path, "user.com.apple.FinderInfo", std::string(32, '\0')));
  EXPECT_EQ(kText, InfoOf(path).fileType);
  ASSERT_TRUE(SetAttribute(path, "user.com.apple.FinderInfo", "AAAA" + std::string(28, '\0')));
  EXPECT_EQ(0x41414141U, InfoOf(path).fileType);
}

TEST(FinderInformation, BundleFlagMakesPackage) {
  const TemporaryFolder folder;
  MakeFolder(folder / "plain");
  const std::string bundleBit = std::string(8, '\0') + "\x20" + std::string(23, '\0');
  ASSERT_TRUE(WriteSidecar(folder / "plain", bundleBit));
  ListFolder(folder.path());
  LSItemInfoRecord info;
  ASSERT_EQ(noErr, LSCopyItemInfoForRef(RefAt(folder / "plain"), kLSRequestAllFlags, &info));
  EXPECT_EQ(kLSItemInfoIsContainer | kLSItemInfoIsPackage, info.flags);
}

TEST(Sidecars, NotReadUntilListed) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  ListFolder(folder.path());
  // Not seen by the listing, although a system call for it would find it.
  WriteFile(folder / "._file", MakeSidecar(kInvisibleText, {}, ""));
  EXPECT_EQ(0U, InfoOf(folder / "file").fileType);
  ListFolder(folder.path());
  EXPECT_EQ(kText, InfoOf(folder / "file").fileType);
}

TEST(Sidecars, InvalidOnesAreIgnored) {
  const TemporaryFolder folder;
  const std::vector<std::string> names = {"broken", "folder", "link", "fifo", "big", "none"};
  for (const std::string& name : names) WriteFile(folder / name);
  WriteFile(folder / "real", MakeSidecar(kInvisibleText, {}, ""));
  WriteFile(folder / "._broken", MakeSidecar(kInvisibleText, {}, "").substr(0, 80));
  MakeFolder(folder / "._folder");
  MakeLink("real", folder / "._link");
  ASSERT_EQ(0, mkfifo((folder / "._fifo").c_str(), 0600));
  // A large resource fork does not matter: it comes after the part that is read.
  WriteFile(folder / "._big", MakeSidecar(kInvisibleText, {}, std::string(300'000, 'f')));
  ListFolder(folder.path());
  for (const std::string& name : names) {
    EXPECT_EQ(name == "big" ? kText : 0, InfoOf(folder / name).fileType) << name;
    EXPECT_EQ(0U, InfoOf(folder / ("._" + name)).fileType) << "a sidecar has no type itself";
    if (name == "link") break;
  }
  EXPECT_EQ(kText, InfoOf(folder / "big").fileType);
  EXPECT_EQ(0U, InfoOf(folder / "fifo").fileType);
}

TEST(FSIsDisappearanceExpected, TrueForTemporaryFiles) {
  const TemporaryFolder folder;
  const std::string uuid = "0F6B0C58-6A4A-4C0E-9F0B-0123456789AB";
  for (const std::string& name :
       {".tessary-" + uuid, ".tessary-pair-" + uuid, ".tessary-pair-" + uuid + ".sidecar"}) {
    WriteFile(folder / name);
    const FSRef ref = RefAt(folder / name);
    EXPECT_FALSE(FSIsDisappearanceExpected(ref)) << name;
    ASSERT_EQ(0, unlink((folder / name).c_str()));
    EXPECT_TRUE(FSIsDisappearanceExpected(ref)) << name;
  }
}

TEST(FSIsDisappearanceExpected, TrueForSidecarWithItem) {
  const TemporaryFolder folder;
  for (const std::string name : {"both", "alone", "stays", "._.plain"}) {
    WriteFile(folder / name);
    WriteFile(folder / ("._" + name));
  }
  WriteFile(folder / "other");
  const FSRef both = RefAt(folder / "._both");
  const FSRef alone = RefAt(folder / "._alone");
  const FSRef stays = RefAt(folder / "._stays");
  const FSRef other = RefAt(folder / "other");
  for (const std::string name : {"both", "._both", "._alone", "stays", "other"}) {
    ASSERT_EQ(0, unlink((folder / name).c_str()));
  }
  EXPECT_TRUE(FSIsDisappearanceExpected(both));
  EXPECT_FALSE(FSIsDisappearanceExpected(alone)) << "the item exists";
  EXPECT_FALSE(FSIsDisappearanceExpected(stays)) << "the sidecar exists";
  EXPECT_FALSE(FSIsDisappearanceExpected(other)) << "not a sidecar";
  EXPECT_FALSE(FSIsDisappearanceExpected(FSRef{}));
}

struct statx StatusOf(const std::string& path) {
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, path.c_str(), &info)) << path;
  return info;
}

TEST(CreationDateAt, FormPrecedence) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  WriteFile(path);
  std::string origin;
  const auto dateOf = [&] { return CreationDateAt(PlaceAt(path), StatusOf(path), &origin); };
  (void)dateOf();
  EXPECT_EQ(kBirthTimeOrigin, origin);
  if (!SetAttribute(path, "user.DOSATTRIB", FromHex(kDosAttributes3))) {
    GTEST_SKIP() << "no attributes here";
  }
  EXPECT_EQ((Timestamp{1'236'143'167, 123'456'700}), dateOf());
  EXPECT_EQ("user.DOSATTRIB", origin);
  ASSERT_TRUE(SetAttribute(path, "user.org.netatalk.Metadata", FromHex(kNetatalkOfSambaNetatalk)));
  EXPECT_EQ((Timestamp{1'236'143'167, 0}), dateOf());
  EXPECT_EQ("user.org.netatalk.Metadata", origin);
  ASSERT_TRUE(SetAttribute(path, kCreationDateAttribute, "1971-01-01T00:00:00Z"));
  EXPECT_EQ((Timestamp{31'536'000, 0}), dateOf());
  EXPECT_EQ(kCreationDateAttribute, origin);
  ASSERT_TRUE(SetAttribute(path, kCreationDateAttribute, "long ago"));
  ASSERT_TRUE(SetAttribute(path, "user.org.netatalk.Metadata", "AppleDouble"));
  EXPECT_EQ((Timestamp{1'236'143'167, 123'456'700}), dateOf());
}

// The attributes that the kernel's HFS and HFS+ drivers provide. An NTFS filesystem stands in for
// HFS: its driver stores attributes of any name as streams.
class HfsAttributes : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume_.IsAvailable()) GTEST_SKIP() << volume_.UnavailableReason();
    WriteFile(path_, "x");
    if (!SetAttribute(path_, "hfs.type", "TEXT")) GTEST_SKIP() << "no attributes of every name";
  }

  const ScratchVolume volume_{VolumeKind::kNtfs, "streams_interface=openxattr"};
  const std::string path_ = volume_ / "file";
  // Releases the open folders, which would keep the filesystem busy.
  const NSAutoreleasePool pool_;
};

TEST_F(HfsAttributes, TypeAndCreator) {
  EXPECT_EQ(0U, InfoOf(path_).fileType) << "no type without a creator";
  ASSERT_TRUE(SetAttribute(path_, "hfs.creator", "ttxt"));
  EXPECT_EQ(kText, InfoOf(path_).fileType);
  EXPECT_EQ(kCreator, InfoOf(path_).fileCreator);
  ASSERT_TRUE(SetAttribute(path_, "hfs.creator", "longer"));
  EXPECT_EQ(0U, InfoOf(path_).fileType);
}

TEST_F(HfsAttributes, HfsPlusComesFirst) {
  ASSERT_TRUE(SetAttribute(path_, "hfs.type", "JPEG"));
  ASSERT_TRUE(SetAttribute(path_, "hfs.creator", "8BIM"));
  ASSERT_TRUE(SetAttribute(path_, "osx.com.apple.FinderInfo", kInvisibleText));
  EXPECT_EQ(kText, InfoOf(path_).fileType);
  EXPECT_EQ(kIsInvisible, InfoOf(path_).finderFlags);
}

TEST_F(HfsAttributes, CopyBecomesPortable) {
  const TemporaryFolder folder;
  if (!SetAttribute(folder.path(), "user.x", "")) GTEST_SKIP() << "no attributes here";
  ASSERT_EQ(noErr, CopyAt(path_, folder / "type alone"));
  EXPECT_EQ("(none)", AttributeAt(folder / "type alone", "user.com.apple.FinderInfo"));
  ASSERT_TRUE(SetAttribute(path_, "hfs.creator", "ttxt"));
  ASSERT_EQ(noErr, CopyAt(path_, folder / "of hfs"));
  EXPECT_EQ("TEXTttxt" + std::string(24, '\0'),
            AttributeAt(folder / "of hfs", "user.com.apple.FinderInfo"));
  ASSERT_TRUE(SetAttribute(path_, "osx.com.apple.FinderInfo", kInvisibleText));
  ASSERT_EQ(noErr, CopyAt(path_, folder / "of hfs+"));
  EXPECT_EQ(kText, InfoOf(folder / "of hfs+").fileType);
  EXPECT_EQ(kIsInvisible, InfoOf(folder / "of hfs+").finderFlags);
}

}  // namespace
}  // namespace tessary::test
