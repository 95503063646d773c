#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/programs/program.h"
#include "tests/support/temporary_folder.h"

// Failures of items that the log does not name: the program reports them itself.
namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

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
  EXPECT_THAT(
      result.Problems(),
      UnorderedElementsAre(
          At("source/a.txt") + ": cannot create " + At("destination/txt") + ": Permission denied",
          At("source/b.txt") + ": cannot create " + At("destination/txt") + ": Permission denied"));
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
  EXPECT_THAT(result.Problems(),
              ElementsAre(folder + "/deep.txt: cannot read: File name too long or invalid"));
  EXPECT_TRUE(Exists(folder + "/deep.txt"));
  EXPECT_TRUE(Exists(At("destination/txt/a.txt")));
}

// The log does not name such items, so that what exceeds the lines is logged by the program.
TEST_F(UnloggedFailures, LogsItemsBeyondLines) {
  for (int i = 0; i < 25; ++i) WriteFile(At("source/" + std::to_string(i) + ".txt"));
  MakeFolder(At("destination"));
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(At("destination").c_str(), 0555));
  const ProgramResult result = Aggregate({"--copy"}, {.isOrdinaryUser = true});
  const std::string reason = ": cannot create " + At("destination/txt") + ": Permission denied";
  const std::vector<std::string> messages = result.LogMessages();
  EXPECT_EQ(5, std::ranges::count_if(messages, [&](const std::string& message) {
              return message.ends_with(reason);
            }));
  ASSERT_THAT(result.Problems(), testing::SizeIs(22));
  EXPECT_EQ("and 5 more: see the log", result.Problems()[20]);
  EXPECT_EQ("25 × Permission denied", result.Problems()[21]);
}

TEST_F(UnloggedFailures, IgnoresItemsWithoutKey) {
  WriteFile(At("source/Makefile"));
  const ProgramResult result = Aggregate({});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.Problems(), IsEmpty());
}

}  // namespace
}  // namespace tessary::test
