#include "platform/linux/configuration/text_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (const auto line = TakeLine(&text)) lines.emplace_back(*line);
  return lines;
}

TEST(TakeLine, SplitsAtLfAndCrLf) {
  EXPECT_THAT(LinesOf(""), IsEmpty());
  EXPECT_THAT(LinesOf("\n"), ElementsAre(""));
  EXPECT_THAT(LinesOf("a\nb"), ElementsAre("a", "b"));
  EXPECT_THAT(LinesOf("a\nb\n"), ElementsAre("a", "b"));
  EXPECT_THAT(LinesOf("a\r\n\r\nb\r"), ElementsAre("a", "", "b"));
  EXPECT_THAT(LinesOf("a\rb\n"), ElementsAre("a\rb"));
}

TEST(ReadTextFile, RemovesByteOrderMark) {
  const TemporaryFolder folder;
  WriteFile(folder / "caf\xE9\n.map", "\xEF\xBB\xBFone\n\xEF\xBB\xBF");
  std::string text;
  ASSERT_EQ(noErr, ReadTextFile(folder / "caf\xE9\n.map", &text));
  EXPECT_EQ("one\n\xEF\xBB\xBF", text);

  WriteFile(folder / "empty");
  ASSERT_EQ(noErr, ReadTextFile(folder / "empty", &text));
  EXPECT_EQ("", text);

  WriteFile(folder / "largest", std::string(kMaxTextFileSize, 'x'));
  MakeLink("largest", folder / "link");
  ASSERT_EQ(noErr, ReadTextFile(folder / "link", &text));
  EXPECT_EQ(kMaxTextFileSize, text.size());
}

TEST(ReadTextFile, KeepsTextOnError) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  WriteFile(folder / "larger", std::string(kMaxTextFileSize + 1, 'x'));
  MakeFolder(folder / "folder");
  MakeLink("nowhere", folder / "dangling");
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  std::string text = "before";
  EXPECT_EQ(fnfErr, ReadTextFile(folder / "missing", &text));
  EXPECT_EQ(fnfErr, ReadTextFile(folder / "dangling", &text));
  EXPECT_EQ(dirNFErr, ReadTextFile(folder / "file/below", &text));
  EXPECT_EQ(paramErr, ReadTextFile(folder / "larger", &text));
  EXPECT_EQ(paramErr, ReadTextFile(folder / "folder", &text));
  EXPECT_EQ(paramErr, ReadTextFile(folder / "fifo", &text));
  EXPECT_EQ(paramErr, ReadTextFile(folder / "file", nullptr));
  EXPECT_EQ("before", text);
}

}  // namespace
}  // namespace tessary::test
