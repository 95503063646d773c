#include "programs/cli/key_folder_summary.h"

#include <gtest/gtest.h>

namespace tessary::test {
namespace {

ItemRecord Filed(const std::string& key, std::optional<uint64_t> size) {
  return {.source = "/s/a", .target = "/d/a", .key = key, .size = size};
}

TEST(KeyFolderSummary, PutsTheLargestFirst) {
  KeyFolderSummary summary;
  summary.Add(Filed("txt", 30));
  summary.Add(Filed("txt", 6));
  summary.Add(Filed("2009/Mar 04, 2009", 4'200'000'000));
  summary.Add(Filed("empty", 0));
  for (int i = 0; i < 1000; ++i) summary.Add(Filed("also empty", 0));
  EXPECT_EQ(
      "items    size  folder\n"
      "    1  4.2 GB  2009/Mar 04, 2009\n"
      "    2    36 B  txt\n"
      " 1000     0 B  also empty\n"
      "    1     0 B  empty\n",
      summary.Text());
}

TEST(KeyFolderSummary, MarksUnknownSizes) {
  KeyFolderSummary summary;
  summary.Add(Filed("app", std::nullopt));
  summary.Add(Filed("app", 1500));
  EXPECT_EQ("items      size  folder\n    2  > 1.5 kB  app\n", summary.Text());
}

TEST(KeyFolderSummary, EscapesControlCharacters) {
  KeyFolderSummary summary;
  summary.Add(Filed("\x1b[2J\n\xe2\x80\xae", 1));
  EXPECT_EQ("items  size  folder\n    1   1 B  \\x1b[2J\\n\\u202e\n", summary.Text());
}

TEST(KeyFolderSummary, OmitsWhatIsNotThere) {
  KeyFolderSummary summary;
  summary.Add({.source = "/s/a", .key = "txt", .outcome = ItemOutcome::kNotTransferred});
  summary.Add({.source = "/d/txt/a", .key = "txt", .outcome = ItemOutcome::kSkipped});
  EXPECT_EQ("", summary.Text());
}

}  // namespace
}  // namespace tessary::test
