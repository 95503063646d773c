#include "app/main_window.h"

#include <optional>

#include "app/run_hooks.h"
#include "app/startup.h"
#include "engine/run.h"
#include "platform/file_system.h"
#include "platform/managers/date_time.h"
#include "platform/managers/launch_services.h"
#include "platform/managers/urls.h"
#include "platform/managers/window_system.h"
#include "platform/strings.h"
#include "settings/preferences.h"

namespace tessary {

MainWindow gMainWindow;
bool gStopRequested = false;

namespace {

constexpr uint32_t kMinute = 60;
constexpr uint32_t kHour = 3600;

std::string DestinationKindName(AggregationKind kind) {
  switch (kind) {
    case AggregationKind::kFileType:
      return "file type";
    case AggregationKind::kMimeType:
      return "mime type";
    case AggregationKind::kModificationDate:
      return "modification date";
    case AggregationKind::kCreationDate:
      return "creation date";
    default:
      return "extension";
  }
}

// Returns noErr for a folder.
Status CheckFolder(const FSRef& item) {
  uint8_t isFolder = 0;
  const Status status = GetNodeIdAndKind(item, nullptr, &isFolder);
  return status == noErr && isFolder == 0 ? errFSNotAFolder : status;
}

bool ChooseDestination(FSRef* destination) {
  const std::string kind = DestinationKindName(GetAggregationKind());
  return ChooseFolder("Choose Destination",
                      "Choose a destination folder to put the files aggregated by " + kind + ":",
                      destination);
}

void ShowAsTitle(const FSRef& destination) {
  std::string name;
  if (LSCopyDisplayNameForRef(destination, &name) != noErr) return;
  gMainWindow.window->SetTitle(name);
  FSSpec spec;
  if (GetLegacyFileSpec(destination, &spec) != noErr) return;
  gMainWindow.window->SetProxy(spec);
  gMainWindow.window->SetModified(false);
}

void ShowBusy() {
  ShowControl(gMainWindow.activityIndicator);
  HideControl(gMainWindow.idleDecoration);
  EnableControl(gMainWindow.stopControl);
  ShowControl(gMainWindow.stopControl);
}

void ShowIdle() {
  HideControl(gMainWindow.activityIndicator);
  ShowControl(gMainWindow.idleDecoration);
  HideControl(gMainWindow.stopControl);
  DisableControl(gMainWindow.stopControl);
}

// Runs the engine while the window shows the busy state. Returns the duration in seconds.
uint32_t RunEngine(const FSRef& source, const FSRef& destination) {
  const uint32_t start = GetDateTime();
  gStopRequested = false;
  ShowBusy();
  AggregateFolder(source, destination);
  ShowIdle();
  return GetDateTime() - start;
}

void AppendCount(ShortText& text, uint32_t count, const char* one, const char* many) {
  StrAppendInt(text, static_cast<int32_t>(count));
  StrAppendBounded(text, count == 1 ? one : many);
}

}  // namespace

Status SetStatusText(ControlRef control, const std::string& text, bool redraw) {
  const Status status = SetControlData(control, kControlStaticTextCFStringTag, text);
  if (redraw && status == noErr) Draw1Control(control);
  return status;
}

void ShowProgressText(const std::string& text, int target) {
  // A missing control only means that the text is not shown.
  if (target == kStatusTextTarget) (void)SetStatusText(gMainWindow.statusText, text, true);
  if (target == kElapsedTimeTarget) (void)SetStatusText(gMainWindow.elapsedTimeText, text, true);
  PumpEvents();
}

bool ChooseFolder(const std::string& title, const std::string& message, FSRef* chosen) {
  if (chosen == nullptr) return false;
  const NSOpenPanel panel = {.title = title,
                             .prompt = title,
                             .message = message,
                             .allowsMultipleSelection = false,
                             .canChooseDirectories = true,
                             .canChooseFiles = true,
                             .canCreateDirectories = true};
  const std::optional<std::string> path = gWindowSystem->RunOpenPanel(panel);
  FSRef ref;
  if (!path || !GetFSRef(*path, &ref)) return false;
  *chosen = ref;
  return true;
}

Status OpenInFinder(const FSRef& folder) {
  const std::optional<CFURL> url = CFURLCreateFromFSRef(folder);
  return url ? LSOpenCFURLRef(*url) : noErr;
}

ShortText& FormatElapsedTime(uint32_t seconds, ShortText& text) {
  if (seconds == 0) return StrCopyBounded(text, "0 secs");
  StrClear(text);
  const uint32_t rest = seconds % kHour;
  if (seconds >= kHour) AppendCount(text, seconds / kHour, " hr ", " hrs ");
  if (rest >= kMinute) AppendCount(text, rest / kMinute, " min ", " mins ");
  if (rest % kMinute != 0) AppendCount(text, rest % kMinute, " sec ", " secs ");
  return text;
}

void RunAggregation(const FSRef& source) {
  if (const Status status = CheckFolder(source); status != noErr) {
    ReportRefusedSource(StringWithFSRef(&source).value_or(""), status);
    return;
  }
  const RunHooks& hooks = GetRunHooks();
  if (hooks.askDestination) hooks.askDestination(source);
  FSRef destination;
  if (!ChooseDestination(&destination)) return;
  if (FSCompareFSRefs(destination, source) == noErr) {
    ShowProgressText("The destination directory can not be the same as the source directory",
                     kStatusTextTarget);
    return;
  }
  ShowAsTitle(destination);
  if (hooks.beginRun) hooks.beginRun(destination);
  const uint32_t elapsed = RunEngine(source, destination);
  ShortText text;
  ShowProgressText(std::string("Elapsed time: ") + FormatElapsedTime(elapsed, text).data(),
                   kElapsedTimeTarget);
  ShowProgressText(kDropPrompt, kStatusTextTarget);
  const bool isLast = GetQuitWhenDone();
  if (isLast) InstallQuitTimer();
  if (hooks.endRun) hooks.endRun(isLast);
  // The run was successful, whether or not the folder can be opened.
  (void)OpenInFinder(destination);
}

}  // namespace tessary
