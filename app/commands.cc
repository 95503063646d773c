#include "app/commands.h"

#include <optional>
#include <string>

#include "app/main_window.h"
#include "app/opened_items.h"
#include "app/startup.h"
#include "platform/managers/window_system.h"
#include "platform/strings.h"
#include "settings/preferences.h"
#include "settings/preferences_window.h"

namespace tessary {
namespace {

constexpr char kStorePageURL[] = "appstream://org.tessary.Tessary";

// Names the two date kinds "extension" too. That differs from the message of the destination panel
// and is fixed.
std::string SourceKindName(AggregationKind kind) {
  switch (kind) {
    case AggregationKind::kFileType:
      return "file type";
    case AggregationKind::kMimeType:
      return "mime type";
    default:
      return "extension";
  }
}

void ChooseSource() {
  FSRef source;
  const std::string kind = SourceKindName(GetAggregationKind());
  if (!ChooseFolder("Choose Source", "Choose a source folder or app to aggregate by " + kind + ":",
                    &source)) {
    return;
  }
  const std::optional<std::string> path = StringWithFSRef(&source);
  if (path) InstallPendingSourcesTimer(path);
}

void OpenProductPage() { gWindowSystem->OpenPage(gWindowSystem->ProductPageURL()); }

// Returns the event's command, or 0, which is not a command, if it has none.
OSType CommandOf(const Event& event) {
  HICommand command;
  const Status status = GetEventParameter(event, kEventParamDirectObject, &command);
  return status == noErr ? command.commandID : 0;
}

}  // namespace

Status HandleApplicationCommand(const Event& event) {
  switch (CommandOf(event)) {
    case kCommandHelp:
      OpenProductPage();
      return noErr;
    case kCommandStop:
      gStopRequested = true;
      return noErr;
    case kCommandOpen:
      ChooseSource();
      return noErr;
    case kCommandPreferences:
      OpenPreferencesWindow();
      return noErr;
    case kCommandQuit:
      gQuitRequested = true;
      return eventNotHandledErr;
    default:
      return eventNotHandledErr;
  }
}

Status HandleHelpCommand(const Event& event) {
  switch (CommandOf(event)) {
    case kCommandWebPage:
      OpenProductPage();
      return noErr;
    case kCommandStorePage:
      gWindowSystem->OpenPage(kStorePageURL);
      return noErr;
    default:
      return eventNotHandledErr;
  }
}

}  // namespace tessary
