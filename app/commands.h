#pragma once

#include "platform/managers/events.h"

// The commands of the menus and of the main window's controls.
namespace tessary {

inline constexpr OSType kCommandHelp = FourCharCode("HELP");
inline constexpr OSType kCommandStop = FourCharCode("not!");
inline constexpr OSType kCommandOpen = FourCharCode("open");
inline constexpr OSType kCommandPreferences = FourCharCode("pref");
inline constexpr OSType kCommandQuit = FourCharCode("quit");
inline constexpr OSType kCommandWebPage = FourCharCode("WEB1");
inline constexpr OSType kCommandStorePage = FourCharCode("MAS1");

// Handles the application's commands. Returns noErr for a command that it has handled. Returns
// eventNotHandledErr for the quit command, so that the standard quit follows, and for any other
// event.
Status HandleApplicationCommand(const Event& event);

// Handles the two commands of the Help menu that open web pages. Returns noErr for these and
// eventNotHandledErr for any other event.
Status HandleHelpCommand(const Event& event);

}  // namespace tessary
