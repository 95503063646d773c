#include "app/startup.h"

#include <gtest/gtest.h>

#include "app/main_window.h"
#include "engine/keys.h"
#include "engine/shell.h"
#include "platform/extension_map.h"
#include "tests/app/application_fixture.h"
#include "tests/support/environment_variable.h"

namespace tessary::test {
namespace {

class RunApplicationTest : public ApplicationTest {
 protected:
  // Runs the program, expects the status and returns the calls.
  Calls StartAndEnd(Status expected = noErr) {
    EXPECT_EQ(expected, RunApplication());
    return system_.TakeCalls();
  }
};

const Calls kBeforeMenuBar = {"LoadApplication", "UpdateDynamicServices", "CreateNibReference main",
                              "CreateMenuBar MenuBar"};
const Calls kWindow = {
    "CreateWindow MainWindow", "HideWindow MainWindow",   "GetControlByID 'CNTL' 1",
    "GetControlByID 'CNTL' 2", "GetControlByID 'CNTL' 4", "GetControlByID 'CNTL' 5",
    "GetControlByID 'CNTL' 6", "GetControlByID 'CNTL' 7", "DisposeNibReference main"};
const Calls kDragHandlers = {"InstallTrackingHandler", "InstallReceiveHandler"};
// The application event target is fetched for the service handler and for the command handler.
const Calls kHandlers = {"ShowWindow MainWindow", "GetApplicationEventTarget",
                         "EnableMenuCommand 'pref'", "GetApplicationEventTarget"};
const Calls kHelpItems = {"GetHelpMenu", "InsertItem \"Tessary Web Page\" after 1 'WEB1'",
                          "InsertItem \"View in Mac App Store...\" after 1 'MAS1'",
                          "GetMenuEventTarget"};
const Calls kLoop = {"RunApplicationEventLoop", "DisposeWindow MainWindow"};

TEST_F(RunApplicationTest, CallsInOrder) {
  EXPECT_EQ(
      Join({kBeforeMenuBar, {"SetMenuBar"}, kWindow, kDragHandlers, kHandlers, kHelpItems, kLoop}),
      StartAndEnd());
}

TEST_F(RunApplicationTest, EndsWithoutForms) {
  system_.FailCall("CreateNibReference main", fnfErr);
  EXPECT_EQ((Calls{"LoadApplication", "UpdateDynamicServices", "CreateNibReference main"}),
            StartAndEnd(fnfErr));
}

TEST_F(RunApplicationTest, ContinuesWithoutMenuBar) {
  system_.FailCall("CreateMenuBar MenuBar", fnfErr);
  EXPECT_EQ(Join({kBeforeMenuBar, kWindow, kDragHandlers, kHandlers, kHelpItems, kLoop}),
            StartAndEnd());
}

TEST_F(RunApplicationTest, EndsWithoutMainWindow) {
  system_.FailCall("CreateWindow MainWindow", memFullErr);
  EXPECT_EQ(Join({kBeforeMenuBar, {"SetMenuBar", "CreateWindow MainWindow"}}),
            StartAndEnd(memFullErr));
}

TEST_F(RunApplicationTest, RemovesTrackingHandler) {
  system_.FailCall("InstallReceiveHandler", duplicateHandlerErr);
  EXPECT_EQ(Join({kBeforeMenuBar,
                  {"SetMenuBar"},
                  kWindow,
                  kDragHandlers,
                  {"RemoveTrackingHandler"},
                  kHandlers,
                  kHelpItems,
                  kLoop}),
            StartAndEnd());
}

TEST_F(RunApplicationTest, ReceivesNoDropsWithoutTracking) {
  system_.FailCall("InstallTrackingHandler", duplicateHandlerErr);
  EXPECT_EQ(Join({kBeforeMenuBar,
                  {"SetMenuBar"},
                  kWindow,
                  {"InstallTrackingHandler"},
                  kHandlers,
                  kHelpItems,
                  kLoop}),
            StartAndEnd());
}

TEST_F(RunApplicationTest, ContinuesWithoutHelpMenu) {
  system_.FailCall("GetHelpMenu", paramErr);
  EXPECT_EQ(Join({kBeforeMenuBar,
                  {"SetMenuBar"},
                  kWindow,
                  kDragHandlers,
                  kHandlers,
                  {"GetHelpMenu"},
                  kLoop}),
            StartAndEnd());
}

TEST_F(RunApplicationTest, AddsHelpItems) {
  EXPECT_EQ(noErr, RunApplication());
  EXPECT_EQ((Calls{"Tessary Help", "View in Mac App Store...", "Tessary Web Page"}),
            system_.HelpMenu().Items());
}

TEST_F(RunApplicationTest, ContinuesWithoutOneHelpItem) {
  system_.FailCall("InsertItem \"Tessary Web Page\" after 1 'WEB1'", memFullErr);
  EXPECT_EQ(noErr, RunApplication());
  EXPECT_EQ((Calls{"Tessary Help", "View in Mac App Store..."}), system_.HelpMenu().Items());
}

TEST_F(RunApplicationTest, BuildsExtensionMapAfterHandlers) {
  WriteFile(preferences_.MappingPath(), ".startup-test \"STRT\"\n");
  Calls without;
  Calls with;
  system_.whenCalled = [&](const std::string& call) {
    (LookUpExtensionType(u"startup-test") ? with : without).push_back(call);
  };
  EXPECT_EQ(noErr, RunApplication());
  EXPECT_EQ(Join({kBeforeMenuBar, {"SetMenuBar"}, kWindow, kDragHandlers, kHandlers}), without);
  EXPECT_EQ(Join({kHelpItems, kLoop}), with);
}

TEST_F(RunApplicationTest, SetsDateLocaleBeforeHelpItems) {
  const EnvironmentVariable all("LC_ALL", "C");
  gDateLocale = DateLocale();
  Calls before;
  system_.whenCalled = [&](const std::string& call) {
    if (gDateLocale) before.push_back(call);
  };
  EXPECT_EQ(noErr, RunApplication());
  EXPECT_EQ(Join({kBeforeMenuBar, {"SetMenuBar"}, kWindow, kDragHandlers, kHandlers}), before);
  EXPECT_FALSE(gDateLocale);
}

TEST_F(RunApplicationTest, ContinuesWithoutControls) {
  for (const char* id : {"1", "2", "4", "5", "6", "7"}) {
    system_.FailCall(std::string("GetControlByID 'CNTL' ") + id, errUnknownControl);
  }
  const std::string source = MakeSource();
  const std::string destination = MakeDestination();
  system_.AnswerPanel(destination);
  EXPECT_EQ(noErr, RunProgram([&] { RunAggregation(RefAt(source)); }));
  EXPECT_EQ((Calls{"txt/letter.txt"}), FilesBelow(destination));
  EXPECT_TRUE(CallsOf(system_.TakeCalls(), "SetText").empty());
}

TEST_F(RunApplicationTest, EndsAtQuitCommand) {
  gQuitRequested = false;
  EXPECT_EQ(noErr, RunProgram([&] { Command(FourCharCode("quit"), eventNotHandledErr); }));
  EXPECT_TRUE(gQuitRequested);
  EXPECT_EQ((Calls{"DisposeWindow MainWindow"}), system_.TakeCalls());
}

// A reference depends on the pool in which its folder was interned.
TEST_F(RunApplicationTest, QuitCommandReleasesPool) {
  const std::string source = MakeSource();
  FSRef ref;
  EXPECT_EQ(noErr, RunProgram([&] {
              ASSERT_EQ(noErr, FSPathMakeRef((source + "/letter.txt").c_str(), &ref));
              ASSERT_TRUE(FSIsFSRefValid(ref));
              Command(FourCharCode("quit"), eventNotHandledErr);
            }));
  EXPECT_FALSE(FSIsFSRefValid(ref));
}

TEST_F(RunApplicationTest, DisposesOfSheetBeforeParent) {
  EXPECT_EQ(noErr, RunProgram([&] { Command(FourCharCode("pref")); }));
  EXPECT_EQ((Calls{"DisposeWindow PreferencesWindow", "DisposeWindow MainWindow"}),
            CallsOf(system_.TakeCalls(), "DisposeWindow"));
}

TEST_F(RunApplicationTest, SetsEngineHooks) {
  int observed = 0;
  SetEngineHooks({.observeItem = [&](const ItemReport&) { ++observed; }});
  EXPECT_EQ(noErr, RunProgram([&] {
              GetEngineHooks().showProgressText("text", 1);
              EXPECT_EQ("text", Main().ControlOf(1).Text());
              GetEngineHooks().runAggregation(RefAt(MakeSource()));
              EXPECT_EQ(1U, system_.Panels().size());
              ObserveItem({.path = "/a"});
            }));
  EXPECT_EQ(1, observed);
  EXPECT_FALSE(GetEngineHooks().showProgressText);
  EXPECT_TRUE(GetEngineHooks().observeItem);
  SetEngineHooks({});
}

TEST_F(RunApplicationTest, CanRunAgain) {
  const Calls first = StartAndEnd();
  EXPECT_EQ(first, StartAndEnd());
}

TEST_F(RunApplicationTest, PumpFiresNoTimer) {
  EXPECT_EQ(noErr, RunProgram([&] {
              bool hasFired = false;
              EXPECT_EQ(noErr, system_.InstallEventLoopTimer(0, [&] { hasFired = true; }));
              PumpEvents();
              EXPECT_FALSE(hasFired);
              EXPECT_EQ((Calls{"InstallTimer 0", "PumpEvents"}), system_.TakeCalls());
            }));
}

TEST_F(RunApplicationTest, QuitTimerEndsProcess) {
  EXPECT_THROW((void)RunProgram([&] {
                 InstallQuitTimer();
                 EXPECT_EQ(std::vector<double>({1.0}), system_.TimerDelays());
               }),
               ProcessEnd);
  EXPECT_EQ(Join({{"InstallTimer 1", "RefuseRequests"},
                  StatusTextCalls("Bye."),
                  {"FadeOut MainWindow", "ExitToShell"}}),
            system_.TakeCalls());
}

TEST_F(RunApplicationTest, StaysOpenWithoutQuitTimer) {
  system_.FailCall("InstallTimer 1", memFullErr);
  EXPECT_EQ(noErr, RunProgram(InstallQuitTimer));
  EXPECT_EQ((Calls{"InstallTimer 1", "DisposeWindow MainWindow"}), system_.TakeCalls());
}

}  // namespace
}  // namespace tessary::test
