#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/startup.h"
#include "tests/app/scripted_clock.h"
#include "tests/support/captured_log.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/recording_window_system.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

using Calls = std::vector<std::string>;

// The status text between runs.
inline constexpr char kPrompt[] =
    "Drop a folder on the application or this window to aggregate the files in it.";

// The application layer over a recording window system, with an empty preferences file.
class ApplicationTest : public testing::Test {
 protected:
  ApplicationTest() { SetClock(0, 0); }

  // Runs the program from its start to the end of its loop. Inside the loop it clears the recorded
  // calls, runs the actions and fires timers until none is left.
  Status RunProgram(const std::function<void()>& actions);

  RecordingWindow& Main() { return system_.WindowNamed("MainWindow"); }

  // Make a folder with one file, and an empty folder. Return the path.
  std::string MakeSource(const std::string& name = "source");
  std::string MakeDestination(const std::string& name = "destination");

  // Sends the program the command and expects the status.
  void Command(OSType command, Status expected = noErr) {
    EXPECT_EQ(expected, system_.SendCommand(command));
  }

  // The messages of the panels that were shown.
  Calls PanelMessages() const;

  const TemporaryFolder folder_;
  const PreferencesFolder preferences_;
  const CapturedLog log_;
  RecordingWindowSystem system_;
};

// The calls that begin with `beginning`.
Calls CallsOf(const Calls& calls, const std::string& beginning);

// The recorded calls of one status text: set, draw, pump.
Calls StatusTextCalls(const std::string& text, int control = 1);

// Concatenates the lists.
Calls Join(const std::vector<Calls>& lists);

}  // namespace tessary::test
