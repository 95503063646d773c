#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "programs/cli/json_bytes.h"
#include "tests/programs/aggregate_fixture.h"
#include "tests/support/pseudo_terminal.h"

// What "aggregate --json" and "aggregate --summary" print.
namespace tessary::test {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class AggregateJson : public AggregateTest {
 protected:
  // The object of each line of the output, by the name of its source.
  static std::map<std::string, json> ObjectsIn(const std::string& output) {
    std::map<std::string, json> objects;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
      const json object = json::parse(line);
      const std::string source = BytesFromJson(object["source"]).value_or("");
      EXPECT_TRUE(objects.emplace(source.substr(source.rfind('/') + 1), object).second) << line;
    }
    return objects;
  }

  // The object's members as one line.
  std::string TextOf(const json& object) const {
    std::string text = object.dump();
    const std::string root = At("");
    for (size_t at = text.find(root); at != std::string::npos; at = text.find(root, at)) {
      text.erase(at, root.size());
    }
    std::erase(text, '"');
    return text;
  }
};

TEST_F(AggregateJson, HasOneObjectPerItem) {
  FillSource();
  const ProgramResult result = Aggregate({"--json"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.Problems(), IsEmpty());
  std::map<std::string, json> objects = ObjectsIn(result.output);
  EXPECT_EQ(7U, objects.size());
  EXPECT_EQ(
      "{key:txt,operation:copy,outcome:filed,reason:null,size:1,source:source/a.txt,"
      "target:destination/txt/a.txt}",
      TextOf(objects["a.txt"]));
  EXPECT_EQ(
      "{key:null,operation:null,outcome:skipped,reason:null,size:12,source:source/none,"
      "target:null}",
      TextOf(objects["none"]));
  // The size of a link is the length of its target.
  EXPECT_EQ(7, objects["dangling.txt"]["size"]);
}

// Every path leads to the item, whatever its bytes.
TEST_F(AggregateJson, PathsRoundTrip) {
  FillSource();
  const ProgramResult result = Aggregate({"--json"});
  std::map<std::string, json> objects = ObjectsIn(result.output);
  for (const auto& [name, object] : objects) {
    EXPECT_EQ(At("source/" + name), BytesFromJson(object["source"]));
    if (name == "none") continue;
    EXPECT_EQ(At("destination/txt/" + name), BytesFromJson(object["target"]));
    EXPECT_TRUE(Exists(*BytesFromJson(object["target"]))) << name;
  }
  EXPECT_TRUE(objects["caf\xe9.txt"]["source"].is_object());
  EXPECT_TRUE(objects["new\nline.txt"]["source"].is_string());
}

TEST_F(AggregateJson, IsSafeOnTerminals) {
  WriteFile(At("source/\x1b[2J\xc2\x9b\x7f\xe2\x80\xae.txt"));
  const ProgramResult result = Aggregate({"--json"});
  EXPECT_THAT(result.output, HasSubstr(R"(/\u001b[2J\u009b\u007f\u202e.txt",)"));
}

TEST_F(AggregateJson, HasFinalPlaceInRunsByDate) {
  WriteFile(At("source/a.txt"), "12345");
  WriteFile(At("source/sub/b.txt"));
  WriteFile(At("destination/Photos/old.txt"));
  for (const char* path : {"source/a.txt", "source/sub/b.txt", "destination/Photos/old.txt"}) {
    SetModificationDate(At(path), kMarch2009);
  }
  const ProgramResult result = Aggregate({"--json", "--recurse", "--kind=modification-date"});
  EXPECT_EQ(0, result.status) << result.errors;
  std::map<std::string, json> objects = ObjectsIn(result.output);
  EXPECT_EQ(3U, objects.size());
  EXPECT_EQ(
      "{key:2009/Mar 04, 2009,operation:copy,outcome:filed,reason:null,size:5,"
      "source:source/a.txt,target:destination/2009/Mar 04, 2009/a.txt}",
      TextOf(objects["a.txt"]));
  EXPECT_EQ(
      "{key:Photos/Mar 04, 2009,operation:move,outcome:filed,reason:null,size:0,"
      "source:destination/Photos/old.txt,target:destination/Photos/Mar 04, 2009/old.txt}",
      TextOf(objects["old.txt"]));
}

// The folder of the day cannot be created, because a file has its name.
TEST_F(AggregateJson, HasItemsThatStayInAYearFolder) {
  WriteFile(At("source/a.txt"), "12345");
  WriteFile(At("destination/2009/Mar 04, 2009"));
  for (const char* path : {"source/a.txt", "destination/2009/Mar 04, 2009"}) {
    SetModificationDate(At(path), kMarch2009);
  }
  const ProgramResult result = Aggregate({"--json", "--kind=modification-date"});
  EXPECT_EQ(3, result.status);
  std::map<std::string, json> objects = ObjectsIn(result.output);
  EXPECT_EQ(2U, objects.size());
  EXPECT_EQ(
      "{key:2009/Mar 04, 2009,operation:copy,outcome:failed,reason:Not a directory,size:5,"
      "source:source/a.txt,target:destination/2009/a.txt}",
      TextOf(objects["a.txt"]));
}

TEST_F(AggregateJson, HasTheReasonOfFailures) {
  WriteFile(At("source/a.txt"));
  WriteFile(At("source/b.pdf"));
  WriteFile(At("destination/txt"), "a file");
  const ProgramResult result = Aggregate({"--json", "--move"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(HasSubstr("source/a.txt: cannot move to ")));
  std::map<std::string, json> objects = ObjectsIn(result.output);
  EXPECT_EQ(
      "{key:txt,operation:move,outcome:failed,reason:Not a directory,size:0,source:source/a.txt,"
      "target:null}",
      TextOf(objects["a.txt"]));
  EXPECT_EQ("filed", objects["b.pdf"]["outcome"]);
}

TEST_F(AggregateJson, SizeOfPackageIsThatOfItsFiles) {
  WriteFile(At("source/book.rtfd/text"), "1234567");
  WriteFile(At("source/book.rtfd/images/1.png"), "123");
  std::filesystem::create_hard_link(At("source/book.rtfd/text"), At("source/book.rtfd/again"));
  std::map<std::string, json> objects = ObjectsIn(Aggregate({"--json"}).output);
  EXPECT_EQ(10, objects["book.rtfd"]["size"]);
}

TEST_F(AggregateJson, PrintsNoObjectWithoutARun) {
  const ProgramResult result = Run({"aggregate", "--json", At("missing"), At("destination")});
  EXPECT_EQ(1, result.status);
  EXPECT_EQ("", result.output);
}

// The run goes on when nobody reads its output, and prints the summary elsewhere.
TEST_F(AggregateJson, SurvivesAClosedPipe) {
  for (int i = 0; i < 200; ++i) WriteFile(At("source/" + std::to_string(i) + ".txt"));
  std::array<int, 2> ends = {};
  ASSERT_EQ(0, pipe2(ends.data(), O_CLOEXEC));
  close(ends[0]);
  const ProgramResult result = Aggregate({"--json", "--move"}, {.outputFile = ends[1]});
  close(ends[1]);
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.Problems(),
              ElementsAre(MatchesRegex("standard output: write error; the summary is: "
                                       "200 filed, 0 skipped, 0 failed in .* s")));
  EXPECT_EQ(200U, FilesBelow(At("destination")).size());
  EXPECT_THAT(NamesIn(At("source")), IsEmpty());
}

TEST_F(AggregateJson, SurvivesAFullDisk) {
  if (!Exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  FillSource();
  const ProgramResult result = Aggregate({"--json"}, {.outputPath = "/dev/full"});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.Problems(), ElementsAre(StartsWith("standard output: write error; ")));
  EXPECT_EQ(6U, FilesBelow(At("destination")).size());
}

TEST_F(AggregateJson, ReplacesProgressLineOnATerminal) {
  FillSource();
  PseudoTerminal terminal(60);
  const ProgramResult result = Aggregate({"--json"}, {.outputFile = terminal.fd()});
  EXPECT_EQ(0, result.status);
  const std::string written = terminal.Finish();
  EXPECT_THAT(written, Not(HasSubstr(" item")));
  EXPECT_THAT(ScreenLines(written), Contains(StartsWith("{\"source\":")).Times(7));
}

class AggregateSummary : public AggregateTest {};

TEST_F(AggregateSummary, FollowsTheSummaryLine) {
  FillSource();
  WriteFile(At("source/\x1b[2J.\xe9\n"), std::string(1500, 'x'));
  const ProgramResult result = Aggregate({"--summary"});
  EXPECT_EQ(0, result.status) << result.errors;
  EXPECT_THAT(result.output, MatchesRegex("7 filed, 1 skipped, 0 failed in .* s\n"
                                          "items    size  folder\n"
                                          "    1  1.5 kB  \xe9\\\\n\n"
                                          "    6    25 B  txt\n"));
}

TEST_F(AggregateSummary, GoesToStandardErrorWithJson) {
  WriteFile(At("source/a.txt"), "a");
  const ProgramResult result = Aggregate({"--summary", "--json", "--quiet"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.output, MatchesRegex("\\{.*\\}\n"));
  EXPECT_EQ("items  size  folder\n    1   1 B  txt\n", result.errors);
}

TEST_F(AggregateSummary, GoesToStandardErrorAfterAWriteError) {
  if (!Exists("/dev/full")) GTEST_SKIP() << "there is no /dev/full";
  WriteFile(At("source/a.txt"), "a");
  const ProgramResult result = Aggregate({"--summary", "-q"}, {.outputPath = "/dev/full"});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.errors, testing::EndsWith("items  size  folder\n    1   1 B  txt\n"));
}

TEST_F(AggregateSummary, ShownByDryRunOnATerminal) {
  WriteFile(At("source/a.txt"), "a");
  PseudoTerminal terminal(60);
  EXPECT_EQ(0, Aggregate({"--dry-run"}, {.outputFile = terminal.fd()}).status);
  EXPECT_THAT(ScreenLines(terminal.Finish()), Contains("    1   1 B  txt"));
  EXPECT_THAT(Aggregate({"--dry-run"}).output, Not(HasSubstr("folder\n")));
}

TEST_F(AggregateSummary, IsEmptyWithoutItems) {
  const ProgramResult result = Aggregate({"--summary"});
  EXPECT_THAT(result.output, MatchesRegex("0 filed, 0 skipped, 0 failed in .* s\n"));
}

}  // namespace
}  // namespace tessary::test
