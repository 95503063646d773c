#include "app/main_window.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/app/application_fixture.h"

namespace tessary::test {
namespace {

using SetStatusTextTest = ApplicationTest;
using ShowProgressTextTest = ApplicationTest;
using ChooseFolderTest = ApplicationTest;
using OpenInFinderTest = ApplicationTest;

// ---- Texts ----

TEST_F(SetStatusTextTest, RejectsNullControl) {
  EXPECT_EQ(paramErr, SetStatusText(nullptr, "text", true));
  EXPECT_EQ(paramErr, SetStatusText(nullptr, "text", false));
  EXPECT_TRUE(system_.TakeCalls().empty());
}

TEST_F(SetStatusTextTest, DrawsOnRequest) {
  RecordingControl control(&system_, 1);
  EXPECT_EQ(noErr, SetStatusText(&control, "drawn", true));
  EXPECT_EQ(noErr, SetStatusText(&control, "not drawn", false));
  EXPECT_EQ((Calls{"SetText 1 \"drawn\"", "Draw 1", "SetText 1 \"not drawn\""}),
            system_.TakeCalls());
}

TEST_F(ShowProgressTextTest, PumpsForEveryTarget) {
  EXPECT_EQ(noErr, RunProgram([&] {
              for (const int target : {1, 2, 0, 3, -1, 6}) ShowProgressText("text", target);
              EXPECT_EQ(Join({StatusTextCalls("text", 1),
                              StatusTextCalls("text", 6),
                              {"PumpEvents", "PumpEvents", "PumpEvents", "PumpEvents"}}),
                        system_.TakeCalls());
            }));
}

struct ElapsedRow {
  uint32_t seconds;
  const char* text;
};

TEST(FormatElapsedTime, OmitsZeroParts) {
  const std::vector<ElapsedRow> rows = {
      {0, "0 secs"},
      {1, "1 sec "},
      {2, "2 secs "},
      {59, "59 secs "},
      {60, "1 min "},
      {61, "1 min 1 sec "},
      {62, "1 min 2 secs "},
      {119, "1 min 59 secs "},
      {120, "2 mins "},
      {121, "2 mins 1 sec "},
      {3599, "59 mins 59 secs "},
      {3600, "1 hr "},
      {3601, "1 hr 1 sec "},
      {3660, "1 hr 1 min "},
      {3661, "1 hr 1 min 1 sec "},
      {3719, "1 hr 1 min 59 secs "},
      {3720, "1 hr 2 mins "},
      {3725, "1 hr 2 mins 5 secs "},
      {7199, "1 hr 59 mins 59 secs "},
      {7200, "2 hrs "},
      {7201, "2 hrs 1 sec "},
      {7260, "2 hrs 1 min "},
      {36000, "10 hrs "},
      {4294967295, "1193046 hrs 28 mins 15 secs "},
  };
  for (const ElapsedRow& row : rows) {
    ShortText text;
    text.fill('x');
    EXPECT_STREQ(row.text, FormatElapsedTime(row.seconds, text).data()) << row.seconds;
  }
}

// ---- Panels ----

TEST_F(ChooseFolderTest, ConfiguresPanel) {
  FSRef chosen;
  EXPECT_FALSE(ChooseFolder("Title", "Message", &chosen));
  ASSERT_EQ(1U, system_.Panels().size());
  const NSOpenPanel& panel = system_.Panels()[0];
  EXPECT_EQ("Title", panel.title);
  EXPECT_EQ("Title", panel.prompt);
  EXPECT_EQ("Message", panel.message);
  EXPECT_FALSE(panel.allowsMultipleSelection);
  EXPECT_TRUE(panel.canChooseDirectories);
  EXPECT_TRUE(panel.canChooseFiles);
  EXPECT_TRUE(panel.canCreateDirectories);
}

TEST_F(ChooseFolderTest, ReturnsExistingObject) {
  WriteFile(folder_ / "a\nname \xff.txt");
  const std::vector<std::pair<std::optional<std::string>, bool>> rows = {
      {folder_.path(), true},
      {folder_ / "a\nname \xff.txt", true},
      {"/", true},
      {std::nullopt, false},
      {folder_ / "missing", false},
      {"relative", false},
      {"", false},
  };
  for (const auto& [answer, expected] : rows) {
    FSRef chosen;
    system_.AnswerPanel(answer);
    EXPECT_EQ(expected, ChooseFolder("Title", "Message", &chosen)) << answer.value_or("cancelled");
    EXPECT_EQ(expected, FSIsFSRefValid(chosen)) << answer.value_or("cancelled");
  }
}

TEST_F(ChooseFolderTest, RejectsNullArgument) {
  EXPECT_FALSE(ChooseFolder("Title", "Message", nullptr));
  EXPECT_TRUE(system_.Panels().empty());
}

TEST_F(OpenInFinderTest, ReturnsStatusOfOpening) {
  const FSRef folder = RefAt(folder_.path());
  EXPECT_EQ(noErr, OpenInFinder(folder));
  system_.FailCall("OpenFolder " + folder_.path(), kLSApplicationNotFoundErr);
  EXPECT_EQ(kLSApplicationNotFoundErr, OpenInFinder(folder));
}

TEST_F(OpenInFinderTest, OpensNothingWithoutUrl) {
  MakeFolder(folder_ / "gone");
  const FSRef gone = RefAt(folder_ / "gone");
  std::filesystem::remove(folder_ / "gone");
  EXPECT_EQ(noErr, OpenInFinder(gone));
  EXPECT_EQ(noErr, OpenInFinder(FSRef{}));
  EXPECT_TRUE(system_.TakeCalls().empty());
}

// ---- The run ----

class RunAggregationTest : public ApplicationTest {
 protected:
  // Answers the panel with `destination`, runs on the source in the program's loop and returns the
  // calls.
  Calls Run(const std::string& source, const std::optional<std::string>& destination) {
    system_.AnswerPanel(destination);
    Calls calls;
    EXPECT_EQ(noErr, RunProgram([&] {
                RunAggregation(RefAt(source));
                calls = system_.TakeCalls();
              }));
    return calls;
  }

  // The call that shows the elapsed time of a run of so many seconds.
  std::string ElapsedText(uint32_t seconds) {
    SetClock(4'294'967'290, seconds);
    const Calls calls = CallsOf(Run(MakeSource(), MakeDestination()), "SetText 6");
    return calls.size() == 1 ? calls[0] : "";
  }
};

const Calls kBusy = {"Show 2", "Hide 4", "Enable 7", "Show 7"};
const Calls kIdle = {"Hide 2", "Show 4", "Hide 7", "Disable 7"};
constexpr char kPanel[] =
    "RunOpenPanel \"Choose a destination folder to put the files aggregated by extension:\"";

TEST_F(RunAggregationTest, CallsInOrder) {
  const std::string source = MakeSource();
  const std::string destination = MakeDestination();
  EXPECT_EQ(Join({{kPanel, "SetTitle \"destination\"", "SetProxy", "SetUnmodified"},
                  kBusy,
                  StatusTextCalls("Moving: " + source + "/letter.txt"),
                  kIdle,
                  StatusTextCalls("Elapsed time: 0 secs", 6),
                  StatusTextCalls(kPrompt),
                  {"OpenFolder " + destination}}),
            Run(source, destination));
  EXPECT_EQ((Calls{"txt/letter.txt"}), FilesBelow(destination));
}

TEST_F(RunAggregationTest, ShowsNoProgressByTypeOrDate) {
  for (const char* kind : {"2", "4", "5"}) {
    preferences_.Write(std::string("TessaryType = ") + kind + "\n");
    const Calls calls = Run(MakeSource(), MakeDestination());
    EXPECT_EQ(1U, CallsOf(calls, "SetText 1").size()) << kind;
    EXPECT_EQ(2U, CallsOf(calls, "PumpEvents").size()) << kind;
  }
}

TEST_F(RunAggregationTest, NamesKindInPanel) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"", "extension"},
      {"TessaryType = 1\n", "extension"},
      {"TessaryType = 2\n", "file type"},
      {"TessaryType = 3\n", "mime type"},
      {"TessaryType = 4\n", "modification date"},
      {"TessaryType = 5\n", "creation date"},
      {"TessaryType = 0\n", "extension"},
      {"TessaryType = 6\n", "extension"},
      {"TessaryType = -1\n", "extension"},
      {"TessaryType = \"2\"\n", "extension"},
  };
  const std::string source = MakeSource();
  for (const auto& [stored, kind] : rows) {
    preferences_.Write(stored);
    Run(source, std::nullopt);
    const NSOpenPanel& panel = system_.Panels().back();
    EXPECT_EQ("Choose Destination", panel.title) << stored;
    EXPECT_EQ("Choose Destination", panel.prompt) << stored;
    EXPECT_EQ(
        std::string("Choose a destination folder to put the files aggregated by ") + kind + ":",
        panel.message)
        << stored;
  }
}

TEST_F(RunAggregationTest, IgnoresSourceThatIsNotFolder) {
  WriteFile(folder_ / "file");
  MakeLink(folder_ / "missing", folder_ / "dangling");
  MakeLink(MakeSource(), folder_ / "link");
  for (const char* name : {"file", "dangling", "link"}) {
    EXPECT_TRUE(Run(folder_ / name, MakeDestination()).empty()) << name;
  }
}

TEST_F(RunAggregationTest, IgnoresMissingSource) {
  const std::string path = MakeSource();
  const FSRef source = RefAt(path);
  std::filesystem::remove_all(path);
  EXPECT_EQ(noErr, RunProgram([&] {
              RunAggregation(source);
              RunAggregation(FSRef{});
              EXPECT_TRUE(system_.TakeCalls().empty());
            }));
}

TEST_F(RunAggregationTest, CancelledPanel) {
  const std::string source = MakeSource();
  EXPECT_EQ((Calls{kPanel}), Run(source, std::nullopt));
  EXPECT_EQ((Calls{kPanel}), Run(source, folder_ / "missing"));
  EXPECT_EQ((Calls{"letter.txt"}), FilesBelow(source));
}

TEST_F(RunAggregationTest, RefusesSourceAsDestination) {
  const std::string source = MakeSource();
  EXPECT_EQ(Join({{kPanel},
                  StatusTextCalls("The destination directory can not be the same as the source "
                                  "directory")}),
            Run(source, source));
  EXPECT_EQ((Calls{"letter.txt"}), FilesBelow(source));
}

TEST_F(RunAggregationTest, AcceptsDestinationInsideSource) {
  const std::string source = MakeSource();
  MakeFolder(source + "/inside");
  const Calls calls = Run(source, source + "/inside");
  EXPECT_EQ((Calls{"inside/txt/letter.txt", "letter.txt"}), FilesBelow(source));
  EXPECT_EQ((Calls{"OpenFolder " + source + "/inside"}), CallsOf(calls, "OpenFolder"));
}

TEST_F(RunAggregationTest, AcceptsFileAsDestination) {
  const std::string source = MakeSource();
  WriteFile(folder_ / "file", "kept");
  const Calls calls = Run(source, folder_ / "file");
  EXPECT_EQ((Calls{"SetText 6 \"Elapsed time: 0 secs\""}), CallsOf(calls, "SetText 6"));
  EXPECT_EQ("kept", ReadFile(folder_ / "file"));
  EXPECT_EQ((Calls{"letter.txt"}), FilesBelow(source));
}

TEST_F(RunAggregationTest, SetsWindowTitle) {
  for (const char* name : {"two: parts", "line\nbreak", "not \xff UTF-8", ".hidden", "a..b"}) {
    const Calls calls = Run(MakeSource(), MakeDestination(name));
    EXPECT_EQ((Calls{std::string("SetTitle \"") + name + "\""}), CallsOf(calls, "SetTitle"));
    EXPECT_EQ(1U, CallsOf(calls, "SetProxy").size()) << name;
  }
}

TEST_F(RunAggregationTest, ShowsElapsedSeconds) {
  EXPECT_EQ("SetText 6 \"Elapsed time: 0 secs\"", ElapsedText(0));
  EXPECT_EQ("SetText 6 \"Elapsed time: 1 sec \"", ElapsedText(1));
  EXPECT_EQ("SetText 6 \"Elapsed time: 59 secs \"", ElapsedText(59));
  EXPECT_EQ("SetText 6 \"Elapsed time: 1 hr 2 mins 5 secs \"", ElapsedText(3725));
}

TEST_F(RunAggregationTest, KeepsElapsedTimeDuringNextRun) {
  const std::string source = MakeSource();
  const std::string destination = MakeDestination();
  SetClock(0, 1);
  for (int run = 0; run < 2; ++run) system_.AnswerPanel(destination);
  EXPECT_EQ(noErr, RunProgram([&] {
              RunAggregation(RefAt(source));
              system_.whenCalled = [&](const std::string& call) {
                if (call == "Show 2") {
                  EXPECT_EQ("Elapsed time: 1 sec ", Main().ControlOf(6).Text());
                }
              };
              RunAggregation(RefAt(source));
            }));
}

TEST_F(RunAggregationTest, ClearsStopRequestAtStart) {
  gStopRequested = true;
  std::optional<bool> atStart;
  system_.whenCalled = [&](const std::string& call) {
    if (call == "Show 2") {
      atStart = gStopRequested;
      gStopRequested = true;
    }
  };
  const std::string destination = MakeDestination();
  Run(MakeSource(), destination);
  EXPECT_EQ(false, atStart);
  EXPECT_TRUE(gStopRequested);
  EXPECT_EQ((Calls{"txt/letter.txt"}), FilesBelow(destination));
}

TEST_F(RunAggregationTest, QuitsAfterOpeningDestination) {
  preferences_.Write("QuitWhenDone = true\n");
  const std::string destination = MakeDestination();
  system_.AnswerPanel(destination);
  EXPECT_THROW((void)RunProgram([&] {
                 RunAggregation(RefAt(MakeSource()));
                 const Calls calls = system_.TakeCalls();
                 EXPECT_EQ((Calls{"InstallTimer 1", "OpenFolder " + destination}),
                           Calls(calls.end() - 2, calls.end()));
               }),
               ProcessEnd);
  EXPECT_EQ(
      Join({{"RefuseRequests"}, StatusTextCalls("Bye."), {"FadeOut MainWindow", "ExitToShell"}}),
      system_.TakeCalls());
}

TEST_F(RunAggregationTest, StaysOpenByDefault) {
  for (const char* stored : {"", "QuitWhenDone = false\n", "QuitWhenDone = 1\n"}) {
    preferences_.Write(stored);
    EXPECT_TRUE(CallsOf(Run(MakeSource(), MakeDestination()), "InstallTimer").empty()) << stored;
  }
}

TEST_F(RunAggregationTest, IgnoresFailedOpening) {
  const std::string destination = MakeDestination();
  system_.FailCall("OpenFolder " + destination, kLSApplicationNotFoundErr);
  Run(MakeSource(), destination);
  EXPECT_EQ((Calls{"txt/letter.txt"}), FilesBelow(destination));
}

TEST_F(RunAggregationTest, SurvivesDeletedDestination) {
  const std::string destination = MakeDestination();
  system_.whenCalled = [&](const std::string& call) {
    if (call == "Show 2") std::filesystem::remove_all(destination);
  };
  const std::string source = MakeSource();
  const Calls calls = Run(source, destination);
  EXPECT_EQ((Calls{"letter.txt"}), FilesBelow(source));
  EXPECT_EQ(1U, CallsOf(calls, "SetText 6").size());
  EXPECT_TRUE(CallsOf(calls, "OpenFolder").empty());
}

}  // namespace
}  // namespace tessary::test
