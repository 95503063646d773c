#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/managers/file_manager.h"
#include "platform/managers/windows.h"
#include "platform/strings.h"

// The main window, and the run on one source that it starts.
namespace tessary {

// The window and its controls. A control that the form lacks is null.
struct MainWindow {
  std::unique_ptr<Window> window;
  ControlRef statusText = nullptr;
  ControlRef activityIndicator = nullptr;  // visible during a run
  ControlRef idleDecoration = nullptr;     // visible between runs
  ControlRef unusedControl = nullptr;      // looked up and never used
  ControlRef elapsedTimeText = nullptr;
  ControlRef stopControl = nullptr;  // visible and enabled during a run
};

// Written by start-up only.
extern MainWindow gMainWindow;

// Set by the stop command and cleared when a run starts. Nothing reads it: a run cannot be
// interrupted. This is deliberate.
extern bool gStopRequested;

// The targets of ShowProgressText.
inline constexpr int kStatusTextTarget = 1;
inline constexpr int kElapsedTimeTarget = 2;

// The status text between runs.
inline constexpr char kDropPrompt[] =
    "Drop a folder on the application or this window to aggregate the files in it.";

// Sets the text of a control. If that succeeds and `redraw` is true, draws the control. Returns
// noErr, or paramErr if `control` is null.
Status SetStatusText(ControlRef control, const std::string& text, bool redraw);

// Shows a text in the target, if there is such a target, and pumps events in every case.
void ShowProgressText(const std::string& text, int target);

// Asks the user for a folder or a file with a panel. Returns true if one was chosen; `*chosen` is
// written only then. Returns false without a panel if `chosen` is null.
bool ChooseFolder(const std::string& title, const std::string& message, FSRef* chosen);

// Opens the folder in the file manager. Returns the status of opening it, or noErr if no URL can be
// made of the reference (nothing is opened).
Status OpenInFinder(const FSRef& folder);

// Formats a duration: "0 secs", or the hours, minutes and seconds that are not zero, each followed
// by a space ("1 hr 2 mins 5 secs "). Returns `text`.
ShortText& FormatElapsedTime(uint32_t seconds, ShortText& text);

// Asks for the destination of `source`, runs the engine, shows the elapsed time and opens the
// destination. Returns when the run has ended. Does nothing if the source is not a folder or no
// destination is chosen; shows a message in the status text if the destination is the source.
void RunAggregation(const FSRef& source);

}  // namespace tessary
