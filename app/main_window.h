#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/managers/file_manager.h"
#include "platform/managers/windows.h"
#include "platform/strings.h"

// The main window: what it shows, and the run on one source that is driven from it.
namespace tessary {

// The window and its controls by their roles. A control that the form lacks is null.
struct MainWindow {
  std::unique_ptr<Window> window;
  ControlRef statusText = nullptr;
  ControlRef activityIndicator = nullptr;  // seen during a run
  ControlRef idleDecoration = nullptr;     // seen between runs
  ControlRef unusedControl = nullptr;      // the form has it, and nothing uses it
  ControlRef elapsedTimeText = nullptr;
  ControlRef stopControl = nullptr;  // seen and enabled during a run
};

// Start-up is its only writer.
extern MainWindow gMainWindow;

// Set by the stop command and cleared when a run starts. Nothing reads it: a run cannot be
// interrupted, and the stop control is kept that way on purpose.
extern bool gStopRequested;

// What ShowProgressText shows a text in.
inline constexpr int kStatusTextTarget = 1;
inline constexpr int kElapsedTimeTarget = 2;

// What the status line says while there is nothing to do.
inline constexpr char kDropPrompt[] =
    "Drop a folder on the application or this window to aggregate the files in it.";

// Sets the text of a control and, where that worked and `redraw` is true, draws it. Answers noErr,
// paramErr (no control).
Status SetStatusText(ControlRef control, const std::string& text, bool redraw);

// Shows a text in the target, in none where the number names none, and pumps events in every case.
void ShowProgressText(const std::string& text, int target);

// Asks for a folder, or a file, with a panel. True when one was chosen, and then only `*chosen` is
// written; false also without an out-argument.
bool ChooseFolder(const std::string& title, const std::string& message, FSRef* chosen);

// Opens the folder for the user to see. Answers the status of the opening; noErr, opening nothing,
// where no URL can be made of the reference.
Status OpenInFinder(const FSRef& folder);

// Makes the text of a length of time: "0 secs", or its hours, minutes and seconds that are not
// zero, each with a blank behind it ("1 hr 2 mins 5 secs "). Returns the text.
ShortText& FormatElapsedTime(uint32_t seconds, ShortText& text);

// The run on one source: asks for the destination and files the source into it, shows how long that
// took and opens the destination. Returns when the run has ended, or at once: without a word where
// the source is no folder or no destination was chosen, and with one in the status text where the
// destination is the source.
void RunAggregation(const FSRef& source);

}  // namespace tessary
