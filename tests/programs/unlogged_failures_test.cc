#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/programs/program.h"
#include "tests/support/temporary_folder.h"

// Failures of items that the log does not name: the program reports them itself.
namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kNotFiled[] = ": not filed: cannot read it or create its subfolder";

using UnloggedFailures = ProgramTest;

TEST_F(UnloggedFailures, ReportsItemsWithoutSubfolder) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("source/b.txt"));
  WriteFile(At("source/c.pdf"));
  MakeFolder(At("destination/pdf"));
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(At("destination/pdf").c_str(), 0777));
  ASSERT_EQ(0, chmod(At("destination").c_str(), 0555));
  const ProgramResult result = Aggregate({"--copy"}, {.isOrdinaryUser = true});
  EXPECT_EQ(3, result.status) << result.errors;
  EXPECT_THAT(result.Problems(),
              ElementsAre(At("source/a.txt") + kNotFiled, At("source/b.txt") + kNotFiled));
  EXPECT_THAT(result.output, HasSubstr("1 filed, 0 skipped, 2 failed"));
  EXPECT_TRUE(Exists(At("destination/pdf/c.pdf")));
}

TEST_F(UnloggedFailures, ReportsItemsWithLongPath) {
  std::string folder = At("source");
  while (folder.size() < 2048) folder += "/" + std::string(200, 'd');
  WriteFile(folder + "/deep.txt");
  WriteFile(At("source/a.txt"));
  const ProgramResult result = Aggregate({"--move", "--recurse"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(folder + "/deep.txt" + kNotFiled));
  EXPECT_TRUE(Exists(folder + "/deep.txt"));
  EXPECT_TRUE(Exists(At("destination/txt/a.txt")));
}

TEST_F(UnloggedFailures, IgnoresItemsWithoutKey) {
  WriteFile(At("source/Makefile"));
  const ProgramResult result = Aggregate({});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), IsEmpty());
}

}  // namespace
}  // namespace tessary::test
