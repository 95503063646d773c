#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/programs/program.h"
#include "tests/support/file_operations.h"

// The program with few file descriptors.
namespace tessary::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kLevels = 40;
constexpr int kWidth = 40;

class DescriptorLimit : public ProgramTest {
 protected:
  // Creates as many nested folders as adjacent ones, with a file in each, and a package as deep.
  DescriptorLimit() {
    std::string below;
    for (int i = 0; i < kLevels; ++i) {
      const std::string number = std::to_string(i);
      WriteFile(At("source/wide" + number + "/wide" + number + ".txt"), number);
      below += "/level" + number;
      WriteFile(At("source/deep" + below + "/deep" + number + ".txt"), number);
      WriteFile(At("source/Tool.app" + below + "/inner" + number + ".txt"), number);
    }
    MakeFolder(At("destination"));
  }
};

TEST_F(DescriptorLimit, AllowsRecursiveCopy) {
  const std::vector<std::string> before = FilesBelow(At("source"));
  ProgramSetup setup;
  setup.descriptors = 24;
  const ProgramResult result = Aggregate({"--copy", "--recurse"}, setup);
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("81 filed, 0 skipped, 0 failed"));
  EXPECT_THAT(FilesBelow(At("destination/txt")), SizeIs(kLevels + kWidth));
  EXPECT_THAT(FilesBelow(At("destination/app/Tool.app")), SizeIs(kLevels));
  EXPECT_EQ(before, FilesBelow(At("source")));
}

TEST_F(DescriptorLimit, AllowsCopyOfLongList) {
  constexpr int kFiles = 300;
  for (int i = 0; i < kFiles; ++i) {
    const std::string number = std::to_string(i);
    WriteFile(At("source/" + number + ".d" + std::to_string(i % 7)), number);
  }
  for (const unsigned descriptors : {24U, 64U}) {
    ProgramSetup setup;
    setup.descriptors = descriptors;
    const ProgramResult result = Aggregate({"--copy"}, setup);
    EXPECT_EQ(0, result.status) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("301 filed, 0 skipped, 0 failed"));
  }
  EXPECT_THAT(FilesBelow(At("destination/d0")), SizeIs(2 * (kFiles / 7 + 1)));
}

TEST_F(DescriptorLimit, AllowsRecursiveMoveAcrossFilesystems) {
  const TemporaryFolder memory("/dev/shm");
  if (!AreOnDifferentVolumes(At(""), memory.path())) {
    GTEST_SKIP() << "/dev/shm is on the filesystem of the temporary folder";
  }
  ProgramSetup setup;
  setup.descriptors = 24;
  const ProgramResult result =
      Run({"aggregate", "--move", "--recurse", At("source"), memory.path()}, setup);
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(FilesBelow(memory / "txt"), SizeIs(kLevels + kWidth));
  EXPECT_THAT(FilesBelow(memory / "app/Tool.app"), SizeIs(kLevels));
  EXPECT_THAT(FilesBelow(At("source")), IsEmpty());
}

}  // namespace
}  // namespace tessary::test
