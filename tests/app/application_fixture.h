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

// What the status line says while there is nothing to do.
inline constexpr char kPrompt[] =
    "Drop a folder on the application or this window to aggregate the files in it.";

// The program over a recording window system, with preferences of its own.
class ApplicationTest : public testing::Test {
 protected:
  ApplicationTest() { SetClock(0, 0); }

  // Runs the program from its start to the end of its loop. Once the loop runs, the record is
  // emptied and the actions are done; then timers fire until none is left.
  Status RunProgram(const std::function<void()>& actions);

  RecordingWindow& Main() { return system_.WindowNamed("MainWindow"); }

  // A folder with a file in it, and an empty one; their paths.
  std::string MakeSource(const std::string& name = "source");
  std::string MakeDestination(const std::string& name = "destination");

  // Sends the program the command, which has to be done with or let pass as told.
  void Command(OSType command, Status expected = noErr) {
    EXPECT_EQ(expected, system_.SendCommand(command));
  }

  // The messages of the panels that were run.
  Calls PanelMessages() const;

  const TemporaryFolder folder_;
  const PreferencesFolder preferences_;
  const CapturedLog log_;
  RecordingWindowSystem system_;
};

// The lines that begin so.
Calls CallsOf(const Calls& calls, const std::string& beginning);

// A status text as it is recorded: set, drawn, and shown by the pump.
Calls StatusTextCalls(const std::string& text, int control = 1);

// One list behind the other.
Calls Join(const std::vector<Calls>& lists);

}  // namespace tessary::test
