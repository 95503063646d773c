#include "tests/support/volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace tessary::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class Volumes : public testing::TestWithParam<VolumeKind> {};

TEST_P(Volumes, MountOrReportReason) {
  std::string path;
  {
    const ScratchVolume volume(GetParam());
    if (!volume.IsAvailable()) {
      EXPECT_NE("", volume.UnavailableReason());
      GTEST_SKIP() << NameOf(GetParam()) << ": " << volume.UnavailableReason();
    }
    path = volume.path();
    EXPECT_THAT(NamesIn(path), testing::IsEmpty());
    WriteFile(volume / "file", "contents");
    EXPECT_EQ("contents", ReadFile(volume / "file"));
    EXPECT_NE("", volume.TypeName());
  }
  EXPECT_FALSE(Exists(path));
  EXPECT_THAT(ReadFile("/proc/self/mountinfo"), Not(HasSubstr(path)));
}

INSTANTIATE_TEST_SUITE_P(All, Volumes, testing::ValuesIn(AllVolumeKinds()),
                         [](const auto& test) { return NameOf(test.param); });

TEST(VolumeTraits, KernelFilesystems) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to mount and to change owners";
  for (const VolumeKind kind : {VolumeKind::kExt4, VolumeKind::kXfs, VolumeKind::kBtrfs}) {
    const ScratchVolume volume(kind);
    if (!volume.IsAvailable()) GTEST_SKIP() << NameOf(kind) << ": " << volume.UnavailableReason();
    const VolumeTraits traits = volume.Traits();
    EXPECT_TRUE(traits.hasHardLinks && traits.hasSymbolicLinks && traits.hasSpecialFiles);
    EXPECT_TRUE(traits.hasModes && traits.hasOwners && traits.hasAttributes);
    EXPECT_TRUE(traits.hasAccessLists && traits.hasFileCapabilities && traits.hasHoles);
    EXPECT_TRUE(traits.takesAnyNameBytes && traits.isCaseSensitive) << NameOf(kind);
  }
}

TEST(VolumeTraits, Exfat) {
  const ScratchVolume volume(VolumeKind::kExfat);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  EXPECT_FALSE(volume.Traits().hasHardLinks || volume.Traits().hasSymbolicLinks);
  EXPECT_FALSE(volume.Traits().takesAnyNameBytes || volume.Traits().isCaseSensitive);
}

}  // namespace
}  // namespace tessary::test
