#include "app/commands.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/main_window.h"
#include "app/startup.h"
#include "tests/app/application_fixture.h"

namespace tessary::test {
namespace {

constexpr char kProductPage[] = "OpenPage file:///usr/share/tessary/help/index.html";
constexpr char kStorePage[] = "OpenPage appstream://org.tessary.Tessary";

class CommandsTest : public ApplicationTest {
 protected:
  // The calls of the command in the running program, without those of the timers that it installs.
  Calls CallsOfCommand(OSType command, Status expected) {
    Calls calls;
    EXPECT_EQ(noErr, RunProgram([&] {
                Command(command, expected);
                calls = system_.TakeCalls();
              }));
    return calls;
  }
};

TEST_F(CommandsTest, ReturnStatusOfEachCommand) {
  struct Row {
    OSType command;
    Status status;
    Calls calls;
  };
  const std::vector<Row> rows = {
      {FourCharCode("HELP"), noErr, {kProductPage}},
      {FourCharCode("not!"), noErr, {}},
      {FourCharCode("quit"), eventNotHandledErr, {}},
      {FourCharCode("WEB1"), eventNotHandledErr, {}},  // handled by the Help menu only
      {FourCharCode("MAS1"), eventNotHandledErr, {}},
      {FourCharCode("help"), eventNotHandledErr, {}},
      {FourCharCode("abou"), eventNotHandledErr, {}},
      {0, eventNotHandledErr, {}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.calls, CallsOfCommand(row.command, row.status)) << row.command;
  }
}

TEST_F(CommandsTest, StopOnlySetsFlag) {
  gStopRequested = false;
  gQuitRequested = false;
  EXPECT_TRUE(CallsOfCommand(FourCharCode("not!"), noErr).empty());
  EXPECT_TRUE(gStopRequested);
  EXPECT_FALSE(gQuitRequested);
}

TEST_F(CommandsTest, QuitOnlySetsFlag) {
  gStopRequested = false;
  gQuitRequested = false;
  EXPECT_TRUE(CallsOfCommand(FourCharCode("quit"), eventNotHandledErr).empty());
  EXPECT_FALSE(gStopRequested);
  EXPECT_TRUE(gQuitRequested);
}

TEST_F(CommandsTest, PreferencesOpenSheet) {
  EXPECT_EQ((Calls{"ShowSheet PreferencesWindow of MainWindow"}),
            CallsOf(CallsOfCommand(FourCharCode("pref"), noErr), "ShowSheet"));
}

TEST_F(CommandsTest, PassOnEventWithoutCommand) {
  const std::vector<Event> rows = {
      {},
      {.eventClass = kEventClassCommand, .eventKind = kEventCommandProcess, .parameters = {}},
      {.eventClass = kEventClassCommand,
       .eventKind = kEventCommandProcess,
       .parameters = {{kEventParamDirectObject, std::string("quit")}}},
  };
  gQuitRequested = false;
  for (const Event& event : rows) {
    EXPECT_EQ(eventNotHandledErr, HandleApplicationCommand(event));
    EXPECT_EQ(eventNotHandledErr, HandleHelpCommand(event));
  }
  EXPECT_FALSE(gQuitRequested);
  EXPECT_TRUE(system_.TakeCalls().empty());
}

TEST_F(CommandsTest, PreferencesResetStatusText) {
  EXPECT_EQ(noErr, RunProgram([&] {
              EXPECT_EQ(noErr, SetStatusText(gMainWindow.statusText, "Moving: /a", true));
              Command(FourCharCode("pref"));
              EXPECT_EQ(kPrompt, Main().ControlOf(1).Text());
            }));
}

// ---- The Help menu ----

TEST_F(CommandsTest, HelpMenuOpensPages) {
  EXPECT_EQ(noErr, RunProgram([&] {
              const EventTarget help = system_.HelpMenu().GetEventTarget();
              system_.TakeCalls();
              EXPECT_EQ(noErr, system_.SendCommand(FourCharCode("WEB1"), &help));
              EXPECT_EQ(noErr, system_.SendCommand(FourCharCode("MAS1"), &help));
              EXPECT_EQ(noErr, system_.SendCommand(FourCharCode("HELP"), &help));
              EXPECT_EQ(eventNotHandledErr, system_.SendCommand(FourCharCode("none"), &help));
              EXPECT_EQ((Calls{kProductPage, kStorePage, kProductPage}), system_.TakeCalls());
            }));
}

// ---- Choosing a source ----

TEST_F(CommandsTest, OpenNamesKindInPanel) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"", "extension"},
      {"TessaryType = 1\n", "extension"},
      {"TessaryType = 2\n", "file type"},
      {"TessaryType = 3\n", "mime type"},
      {"TessaryType = 4\n", "extension"},
      {"TessaryType = 5\n", "extension"},
      {"TessaryType = 0\n", "extension"},
      {"TessaryType = 7\n", "extension"},
  };
  for (const auto& [stored, kind] : rows) {
    preferences_.Write(stored);
    CallsOfCommand(FourCharCode("open"), noErr);
    const NSOpenPanel& panel = system_.Panels().back();
    EXPECT_EQ("Choose Source", panel.title) << stored;
    EXPECT_EQ("Choose Source", panel.prompt) << stored;
    EXPECT_EQ(std::string("Choose a source folder or app to aggregate by ") + kind + ":",
              panel.message)
        << stored;
  }
}

TEST_F(CommandsTest, OpenWithCancelledPanel) {
  EXPECT_EQ(1U, CallsOfCommand(FourCharCode("open"), noErr).size());
  EXPECT_EQ(1U, system_.Panels().size());
}

TEST_F(CommandsTest, OpenRunsSourceFromTimer) {
  const std::string source = MakeSource("not \xff UTF-8\n.d");
  const std::string destination = MakeDestination();
  system_.AnswerPanel(source);
  system_.AnswerPanel(destination);
  EXPECT_EQ(noErr, RunProgram([&] {
              Command(FourCharCode("open"));
              EXPECT_EQ(std::vector<double>({0.001}), system_.TimerDelays());
              EXPECT_EQ(1U, system_.Panels().size());
              EXPECT_TRUE(FilesBelow(destination).empty());
            }));
  EXPECT_EQ((Calls{"Choose a source folder or app to aggregate by extension:",
                   "Choose a destination folder to put the files aggregated by extension:"}),
            PanelMessages());
  EXPECT_EQ((Calls{"txt/letter.txt"}), FilesBelow(destination));
}

TEST_F(CommandsTest, OpenReducesApplication) {
  WriteFile(folder_ / "Tool.app/Contents/Resources/icon.png");
  WriteFile(folder_ / "Tool.app/Contents/Info.plist");
  const std::string destination = MakeDestination();
  system_.AnswerPanel(folder_ / "Tool.app");
  system_.AnswerPanel(destination);
  CallsOfCommand(FourCharCode("open"), noErr);
  EXPECT_EQ((Calls{"png/icon.png"}), FilesBelow(destination));
}

TEST_F(CommandsTest, OpenIgnoresFileAndMissingSource) {
  MakeSource();
  WriteFile(folder_ / "file");
  system_.AnswerPanel(folder_ / "file");
  CallsOfCommand(FourCharCode("open"), noErr);
  system_.AnswerPanel(folder_ / "source");
  EXPECT_EQ(noErr, RunProgram([&] {
              Command(FourCharCode("open"));
              std::filesystem::remove_all(folder_ / "source");
            }));
  EXPECT_EQ(2U, system_.Panels().size());
}

TEST_F(CommandsTest, OpenTwiceRunsBothSources) {
  system_.AnswerPanel(MakeSource("first"));
  system_.AnswerPanel(MakeSource("second"));
  system_.AnswerPanel(MakeDestination("one"));
  system_.AnswerPanel(MakeDestination("two"));
  EXPECT_EQ(noErr, RunProgram([&] {
              Command(FourCharCode("open"));
              Command(FourCharCode("open"));
            }));
  EXPECT_EQ((Calls{"txt/letter.txt"}), FilesBelow(folder_ / "one"));
  EXPECT_EQ((Calls{"txt/letter.txt"}), FilesBelow(folder_ / "two"));
}

}  // namespace
}  // namespace tessary::test
