#include "tests/programs/aggregate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace tessary::testing {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

AggregateTest::AggregateTest() {
  MakeFolder(At("source"));
  MakeFolder(At("destination"));
}

void AggregateTest::FillSource() const {
  WriteFile(At("source/a.txt"), "a");
  WriteFile(At("source/caf\xe9.txt"), "bytes");
  WriteFile(At("source/new\nline.txt"), "newline");
  WriteFile(At("source/two..txt"), "dots");
  WriteFile(At("source/.hidden.txt"), "hidden");
  WriteFile(At("source/none"), "no extension");
  fs::create_hard_link(At("source/a.txt"), At("source/hard.txt"));
  MakeLink("nowhere", At("source/dangling.txt"));
  for (const std::string& name : NamesIn(At("source"))) {
    SetModificationDate(At("source/" + name), kMarch2009);
  }
}

void AggregateTest::ExpectRefusal(const std::vector<std::string>& arguments,
                                  const std::string& reason, int status,
                                  const ProgramSetup& setup) const {
  const std::vector<std::string> before = DescribeTree(At(""));
  const ProgramResult result = Run(arguments, setup);
  EXPECT_EQ(status, result.status) << result.errors;
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr(reason)));
  EXPECT_THAT(result.LogMessages(), IsEmpty());
  EXPECT_EQ("", result.output);
  EXPECT_EQ(before, DescribeTree(At(""))) << reason;
}

}  // namespace tessary::testing
