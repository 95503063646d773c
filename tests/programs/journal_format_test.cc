#include "programs/cli/journal_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <variant>

namespace tessary::test {
namespace {

const ObjectState kState = {.type = ItemKind::kLink,
                            .device = 1,
                            .inode = ~uint64_t{0},
                            .birth = 3,
                            .size = 4,
                            .modified = {-5, 999'999'999}};

// A state and a change as text, in which a test replaces a part.
constexpr char kStateText[] =
    R"({"type":"file","device":1,"inode":2,"birth":3,"size":4,"modified":[5,6]})";

std::string MoveText() {
  return R"({"change":1,"kind":"moved","from":"/s/a","to":"/d/a","sidecar":true,"object":)" +
         std::string(kStateText) + "}";
}

std::string Replaced(std::string text, const std::string& part, const std::string& by) {
  const size_t at = text.find(part);
  EXPECT_NE(std::string::npos, at) << part;
  return text.replace(at, part.size(), by);
}

TEST(JournalFormat, ChangesKeepTheirContents) {
  const Change change = {.kind = ChangeKind::kItemMoved,
                         .source = "/s/caf\xe9",
                         .target = "/d/new\nline",
                         .object = kState,
                         .hasSidecar = true};
  const auto line = ParseJournalLine(FormatChange({7, change}));
  ASSERT_TRUE(line && std::holds_alternative<ChangeLine>(*line));
  const ChangeLine& parsed = std::get<ChangeLine>(*line);
  EXPECT_EQ(7U, parsed.number);
  EXPECT_EQ(change.kind, parsed.change.kind);
  EXPECT_EQ(change.source, parsed.change.source);
  EXPECT_EQ(change.target, parsed.change.target);
  EXPECT_EQ(change.object, parsed.change.object);
  EXPECT_TRUE(parsed.change.hasSidecar);
}

TEST(JournalFormat, OtherLinesKeepTheirContents) {
  const auto header =
      ParseJournalLine(FormatHeader({.id = StagingUuidOf("40DFCCB2-2A2F-473B-BD6A-280CC8431FE0", 1),
                                     .source = "/s",
                                     .destination = "/"}));
  ASSERT_TRUE(header && std::holds_alternative<JournalHeader>(*header));
  EXPECT_EQ("/s", std::get<JournalHeader>(*header).source);
  EXPECT_EQ("/", std::get<JournalHeader>(*header).destination);
  const auto result = ParseJournalLine(FormatResult({2, kState}));
  ASSERT_TRUE(result && std::holds_alternative<ResultLine>(*result));
  EXPECT_EQ(kState, std::get<ResultLine>(*result).state);
  const auto failure = ParseJournalLine(FormatFailure({3, dupFNErr}));
  ASSERT_TRUE(failure && std::holds_alternative<FailureLine>(*failure));
  EXPECT_EQ(3U, std::get<FailureLine>(*failure).number);
  const auto end = ParseJournalLine(FormatEnd());
  EXPECT_TRUE(end && std::holds_alternative<EndLine>(*end));
}

TEST(JournalFormat, RefusesMalformedLines) {
  ASSERT_TRUE(ParseJournalLine(MoveText()));
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"/s/a", "s/a"},
      {"/s/a", "/s/../a"},
      {"/s/a", "/s/./a"},
      {"/s/a", "/s//a"},
      {"/s/a", "/s/a/"},
      {"/s/a", ""},
      {"/s/a", "/s/a\\u0000"},
      {"\"/s/a\"", "1"},
      {"\"moved\"", "\"other\""},
      {"\"moved\"", "1"},
      {"true", "1"},
      {"\"file\"", "\"other\""},
      {"\"size\":4", "\"x\":4"},
      {"\"size\":4", "\"size\":-4"},
      {"\"size\":4", "\"size\":4.5"},
      {"\"size\":4", "\"size\":\"4\""},
      {"[5,6]", "[5]"},
      {"[5,6]", "[5,1000000000]"},
      {"[5,6]", "5"},
      {"{", "["},
      {"}}", "}"},
      {"[5,6]", "[[[[5]]]]"},
      {"\"change\":1", "\"change\":\"1\""},
  };
  for (const auto& [part, by] : rows) {
    EXPECT_FALSE(ParseJournalLine(Replaced(MoveText(), part, by))) << part << " " << by;
  }
  for (const char* text : {"", "null", "[]", "{}", "text", R"({"journal":1})", R"({"failed":1})"}) {
    EXPECT_FALSE(ParseJournalLine(text)) << text;
  }
}

TEST(JournalFormat, RefusesOtherHeaders) {
  const std::string good =
      R"({"journal":1,"id":"40DFCCB2-2A2F-473B-BD6A-280CC8431FE0","source":"/s","destination":"/d"})";
  ASSERT_TRUE(ParseJournalLine(good));
  EXPECT_FALSE(ParseJournalLine(Replaced(good, "\"journal\":1", "\"journal\":2")));
  EXPECT_FALSE(ParseJournalLine(Replaced(good, "40DFCCB2", "../../x/")));
  EXPECT_FALSE(ParseJournalLine(Replaced(good, "\"/d\"", "\"d\"")));
}

TEST(StagingUuidOf, DiffersForEachChange) {
  const std::string id = "40DFCCB2-2A2F-473B-BD6A-280CC8431FE0";
  EXPECT_EQ("40DFCCB2-2A2F-473B-BD6A-000000000001", StagingUuidOf(id, 1));
  EXPECT_EQ("40DFCCB2-2A2F-473B-BD6A-0000075BCD15", StagingUuidOf(id, 123'456'789));
}

TEST(IsPathWithin, ComparesWholeNames) {
  EXPECT_TRUE(IsPathWithin("/a/b", "/a/b"));
  EXPECT_TRUE(IsPathWithin("/a/b/c", "/a/b"));
  EXPECT_TRUE(IsPathWithin("/a", "/"));
  EXPECT_FALSE(IsPathWithin("/a/bc", "/a/b"));
  EXPECT_FALSE(IsPathWithin("/a", "/a/b"));
}

}  // namespace
}  // namespace tessary::test
