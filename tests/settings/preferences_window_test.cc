#include "settings/preferences_window.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/managers/preferences_store.h"
#include "settings/preferences.h"
#include "tests/support/captured_log.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/recording_window_system.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using Calls = std::vector<std::string>;

constexpr OSType kOK = FourCharCode("ok  ");
constexpr OSType kCancel = FourCharCode("not!");
constexpr OSType kQuitWhenDone = FourCharCode("Qwdo");
constexpr OSType kRecurseFolders = FourCharCode("Rcrs");
constexpr OSType kKind = FourCharCode("Agby");

class PreferencesWindowTest : public testing::Test {
 protected:
  PreferencesWindowTest() {
    SetPreferencesWindowHooks({
        .showProgressText =
            [this](const std::string& text, int target) {
              (void)system_.Record("Prompt " + std::to_string(target) + " \"" + text + "\"");
            },
        .parent = &parent_,
    });
  }
  ~PreferencesWindowTest() override {
    DisposePreferencesWindow();
    SetPreferencesWindowHooks({});
  }

  // Opens the sheet and returns the calls.
  Calls Open() {
    system_.TakeCalls();
    OpenPreferencesWindow();
    return system_.TakeCalls();
  }

  RecordingControl& ControlOf(int32_t id) {
    return system_.WindowNamed("PreferencesWindow").ControlOf(id);
  }

  // Sets a control, as a user does, and sends its command. Returns the status of the handlers.
  Status Set(int32_t id, int32_t value, OSType command) {
    ControlOf(id).Choose(value);
    return Press(command);
  }

  Status Press(OSType command) {
    const EventTarget target = system_.WindowNamed("PreferencesWindow").GetEventTarget();
    system_.TakeCalls();
    return system_.SendCommand(command, &target);
  }

  std::string Stored() { return ReadFile(preferences_.PreferencesPath()); }

  const PreferencesFolder preferences_;
  RecordingWindowSystem system_;
  RecordingWindow parent_{&system_, "MainWindow"};
};

const Calls kMade = {"CreateNibReference main",  "CreateWindow PreferencesWindow",
                     "DisposeNibReference main", "GetWindowEventTarget PreferencesWindow",
                     "GetControlByID 'CNTL' 4",  "GetControlByID 'CNTL' 7",
                     "GetControlByID 'CNTL' 8"};
constexpr char kPrompt[] =
    "Prompt 1 \"Drop a folder on the application or this window to aggregate the files in it.\"";
const Calls kShown = {"BringToFront PreferencesWindow",
                      "ShowSheet PreferencesWindow of MainWindow"};
const Calls kClosed = {"HideSheet PreferencesWindow", "DisposeWindow PreferencesWindow"};

Calls Join(const std::vector<Calls>& lists) {
  Calls joined;
  for (const Calls& list : lists) joined.insert(joined.end(), list.begin(), list.end());
  return joined;
}

// ---- Opening ----

TEST_F(PreferencesWindowTest, OpensInOrder) {
  EXPECT_EQ(Join({kMade, {"SetValue 8 1", kPrompt, "SetValue 4 0", "SetValue 7 0"}, kShown}),
            Open());
}

TEST_F(PreferencesWindowTest, ShowsStoredValues) {
  preferences_.Write("QuitWhenDone = true\nRecurseFolders = true\nTessaryType = 4\n");
  EXPECT_EQ(Join({kMade, {"SetValue 8 4", kPrompt, "SetValue 4 1", "SetValue 7 1"}, kShown}),
            Open());
}

TEST_F(PreferencesWindowTest, OpeningAgainSetsCheckBoxesOnly) {
  Open();
  preferences_.Write("QuitWhenDone = true\nRecurseFolders = true\nTessaryType = 4\n");
  EXPECT_EQ(Join({{kPrompt, "SetValue 4 1", "SetValue 7 1"}, kShown}), Open());
  EXPECT_EQ(1, ControlOf(8).GetValue());
}

TEST_F(PreferencesWindowTest, ReopeningShowsStoredKind) {
  Open();
  EXPECT_EQ(noErr, Press(kOK));
  preferences_.Write("TessaryType = 5\n");
  Open();
  EXPECT_EQ(5, ControlOf(8).GetValue());
}

TEST_F(PreferencesWindowTest, OnlyPromptsWithoutWindow) {
  system_.FailCall("CreateWindow PreferencesWindow", memFullErr);
  EXPECT_EQ((Calls{"CreateNibReference main", "CreateWindow PreferencesWindow",
                   "DisposeNibReference main", kPrompt}),
            Open());
  system_.FailCall("CreateNibReference main", fnfErr);
  EXPECT_EQ((Calls{"CreateNibReference main", kPrompt}), Open());
  // The next attempt succeeds.
  system_.FailCall("CreateNibReference main", noErr);
  system_.FailCall("CreateWindow PreferencesWindow", noErr);
  Open();
  EXPECT_TRUE(system_.HasWindow("PreferencesWindow"));
}

TEST_F(PreferencesWindowTest, OpensWithoutControls) {
  for (const char* id : {"4", "7", "8"}) {
    system_.FailCall(std::string("GetControlByID 'CNTL' ") + id, errUnknownControl);
  }
  EXPECT_EQ(Join({kMade, {kPrompt}, kShown}), Open());
  EXPECT_EQ(eventNotHandledErr, Press(kQuitWhenDone));
  EXPECT_EQ("QuitWhenDone = false\n", Stored());
}

TEST_F(PreferencesWindowTest, OpensWithoutHooks) {
  SetPreferencesWindowHooks({});
  EXPECT_EQ(Join({kMade,
                  {"SetValue 8 1", "SetValue 4 0", "SetValue 7 0", "BringToFront PreferencesWindow",
                   "ShowSheet PreferencesWindow of nothing"}}),
            Open());
}

// ---- Commands ----

TEST_F(PreferencesWindowTest, OKAndCancelClose) {
  for (const OSType command : {kOK, kCancel}) {
    Open();
    EXPECT_EQ(noErr, Press(command));
    EXPECT_EQ(kClosed, system_.TakeCalls());
    EXPECT_FALSE(system_.HasWindow("PreferencesWindow"));
  }
  EXPECT_FALSE(Exists(preferences_.PreferencesPath()));
}

TEST_F(PreferencesWindowTest, StoresNothingAfterClosing) {
  preferences_.Write("QuitWhenDone = true\nRecurseFolders = true\nTessaryType = 4\n");
  Open();
  const EventTarget target = system_.WindowNamed("PreferencesWindow").GetEventTarget();
  EXPECT_EQ(noErr, Press(kOK));
  for (const OSType command : {kQuitWhenDone, kRecurseFolders, kKind}) {
    EXPECT_EQ(eventNotHandledErr, system_.SendCommand(command, &target));
  }
  EXPECT_EQ("QuitWhenDone = true\nRecurseFolders = true\nTessaryType = 4\n", Stored());
}

TEST_F(PreferencesWindowTest, ClosesIfHidingFails) {
  Open();
  system_.FailCall("HideSheet PreferencesWindow", paramErr);
  EXPECT_EQ(noErr, Press(kOK));
  EXPECT_FALSE(system_.HasWindow("PreferencesWindow"));
}

TEST_F(PreferencesWindowTest, IgnoresSecondOK) {
  Open();
  const EventTarget target = system_.WindowNamed("PreferencesWindow").GetEventTarget();
  EXPECT_EQ(noErr, system_.SendCommand(kOK, &target));
  system_.TakeCalls();
  EXPECT_EQ(noErr, system_.SendCommand(kOK, &target));
  EXPECT_TRUE(system_.TakeCalls().empty());
}

TEST_F(PreferencesWindowTest, StoresEachChange) {
  Open();
  const CapturedLog log;
  EXPECT_EQ(eventNotHandledErr, Set(4, 1, kQuitWhenDone));
  EXPECT_EQ("QuitWhenDone = true\n", Stored());
  EXPECT_EQ(eventNotHandledErr, Set(7, 1, kRecurseFolders));
  EXPECT_EQ("QuitWhenDone = true\nRecurseFolders = true\n", Stored());
  EXPECT_EQ(eventNotHandledErr, Set(8, 3, kKind));
  EXPECT_EQ("QuitWhenDone = true\nRecurseFolders = true\nTessaryType = 3\n", Stored());
  EXPECT_EQ(eventNotHandledErr, Set(4, 0, kQuitWhenDone));
  EXPECT_EQ("QuitWhenDone = false\nRecurseFolders = true\nTessaryType = 3\n", Stored());
  EXPECT_EQ(Calls(), log.Messages());
}

TEST_F(PreferencesWindowTest, StoresNonZeroAsTrue) {
  Open();
  for (const auto& [value, expected] :
       std::vector<std::pair<int32_t, bool>>{{1, true}, {0, false}, {2, true}, {-1, true}}) {
    EXPECT_EQ(eventNotHandledErr, Set(4, value, kQuitWhenDone));
    EXPECT_EQ(expected, GetQuitWhenDone()) << value;
  }
}

TEST_F(PreferencesWindowTest, StoresEachKind) {
  Open();
  for (int32_t item = 1; item <= 5; ++item) {
    EXPECT_EQ(eventNotHandledErr, Set(8, item, kKind));
    EXPECT_EQ(static_cast<AggregationKind>(item), GetAggregationKind());
  }
}

TEST_F(PreferencesWindowTest, CancelKeepsChanges) {
  Open();
  EXPECT_EQ(eventNotHandledErr, Set(4, 1, kQuitWhenDone));
  EXPECT_EQ(noErr, Press(kCancel));
  EXPECT_TRUE(GetQuitWhenDone());
  EXPECT_EQ("QuitWhenDone = true\n", Stored());
}

TEST_F(PreferencesWindowTest, KeepsOtherSettings) {
  const std::string others =
      "# mine\nFileOperation = 1\nReplaceFilesBySameName = true\n"
      "AggregateAppResourcesOnly = \"odd\"\nPreserveComments = false\n";
  preferences_.Write(others);
  Open();
  EXPECT_EQ(eventNotHandledErr, Set(4, 1, kQuitWhenDone));
  EXPECT_EQ(eventNotHandledErr, Set(7, 1, kRecurseFolders));
  EXPECT_EQ(eventNotHandledErr, Set(8, 2, kKind));
  EXPECT_EQ(noErr, Press(kOK));
  EXPECT_EQ(others + "QuitWhenDone = true\nRecurseFolders = true\nTessaryType = 2\n", Stored());
}

TEST_F(PreferencesWindowTest, PassesOnOtherEvents) {
  Open();
  const EventTarget target = system_.WindowNamed("PreferencesWindow").GetEventTarget();
  Event event = {
      .eventClass = kEventClassCommand, .eventKind = kEventCommandProcess, .parameters = {}};
  EXPECT_EQ(eventNotHandledErr, target.Send(event));
  event.parameters[kEventParamDirectObject] = HICommand{.commandID = FourCharCode("quit")};
  EXPECT_EQ(eventNotHandledErr, target.Send(event));
  event.parameters[kEventParamDirectObject] = HICommand{.commandID = kOK};
  event.eventKind = kEventCommandProcess + 1;
  EXPECT_EQ(eventNotHandledErr, target.Send(event));
  event.eventKind = kEventCommandProcess;
  event.eventClass = kEventClassService;
  EXPECT_EQ(eventNotHandledErr, target.Send(event));
  EXPECT_TRUE(system_.HasWindow("PreferencesWindow"));
  EXPECT_FALSE(Exists(preferences_.PreferencesPath()));
}

// ---- A file that cannot be written ----

TEST_F(PreferencesWindowTest, LogsEachFailedWrite) {
  MakeFolder(preferences_.PreferencesPath());
  Open();
  const CapturedLog log;
  EXPECT_EQ(eventNotHandledErr, Set(4, 1, kQuitWhenDone));
  ASSERT_EQ(1U, log.Messages().size());
  EXPECT_NE(std::string::npos, log.Messages()[0].find(preferences_.PreferencesPath()));
  EXPECT_EQ(eventNotHandledErr, Set(8, 3, kKind));
  EXPECT_EQ(2U, log.Messages().size());
  EXPECT_FALSE(GetQuitWhenDone());
  EXPECT_EQ(AggregationKind::kExtension, GetAggregationKind());
  EXPECT_EQ(noErr, Press(kOK));
  EXPECT_EQ(kClosed, system_.TakeCalls());
  EXPECT_EQ(2U, log.Messages().size());
}

TEST_F(PreferencesWindowTest, KeepsInvalidFile) {
  preferences_.Write("QuitWhenDone = = true\n");
  const CapturedLog log;
  Open();
  EXPECT_EQ(eventNotHandledErr, Set(7, 1, kRecurseFolders));
  EXPECT_EQ(1U, log.Messages().size());
  EXPECT_EQ("QuitWhenDone = = true\n", Stored());
}

}  // namespace
}  // namespace tessary::test
