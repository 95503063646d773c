#include "tests/support/volumes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace tessary {
namespace {

using ::testing::HasSubstr;
using testing::NamesIn;
using ::testing::Not;
using testing::ReadFile;
using testing::ScratchVolume;
using testing::VolumeKind;
using testing::WriteFile;

// ReadFile goes by the size, and this has none.
std::string MountsOfThisProcess() {
  std::ostringstream text;
  text << std::ifstream("/proc/self/mountinfo").rdbuf();
  return text.str();
}

class Volumes : public ::testing::TestWithParam<VolumeKind> {};

TEST_P(Volumes, AreEmptyAndHoldWhatIsWrittenOrSayWhyTheyAreNotThere) {
  std::string path;
  {
    const ScratchVolume volume(GetParam());
    if (!volume.IsThere()) {
      EXPECT_NE("", volume.WhyNot());
      GTEST_SKIP() << NameOf(GetParam()) << ": " << volume.WhyNot();
    }
    path = volume.path();
    EXPECT_THAT(NamesIn(path), ::testing::IsEmpty());
    WriteFile(volume / "file", "contents");
    EXPECT_EQ("contents", ReadFile(volume / "file"));
    EXPECT_NE("", volume.TypeName());
  }
  EXPECT_FALSE(testing::Exists(path));
  EXPECT_THAT(MountsOfThisProcess(), Not(HasSubstr(path)));
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, Volumes, ::testing::ValuesIn(testing::AllVolumeKinds()),
                         [](const auto& test) { return NameOf(test.param); });

TEST(VolumeTraits, OfTheKernelsFileSystemsAreAllTrueForRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "only root mounts and gives files away";
  for (const VolumeKind kind : {VolumeKind::kExt4, VolumeKind::kXfs, VolumeKind::kBtrfs}) {
    const ScratchVolume volume(kind);
    if (!volume.IsThere()) GTEST_SKIP() << NameOf(kind) << ": " << volume.WhyNot();
    const testing::VolumeTraits traits = volume.Traits();
    EXPECT_TRUE(traits.hasHardLinks && traits.hasSymbolicLinks && traits.hasSpecialFiles);
    EXPECT_TRUE(traits.hasModes && traits.hasOwners && traits.hasAttributes);
    EXPECT_TRUE(traits.hasAccessLists && traits.hasCapabilities && traits.hasHoles);
    EXPECT_TRUE(traits.hasByteNames && traits.hasCase) << NameOf(kind);
  }
}

TEST(VolumeTraits, OfExfatAreThoseOfWindows) {
  const ScratchVolume volume(VolumeKind::kExfat);
  if (!volume.IsThere()) GTEST_SKIP() << volume.WhyNot();
  EXPECT_FALSE(volume.Traits().hasHardLinks || volume.Traits().hasSymbolicLinks);
  EXPECT_FALSE(volume.Traits().hasByteNames || volume.Traits().hasCase);
}

}  // namespace
}  // namespace tessary
