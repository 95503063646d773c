#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/managers/events.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/status.h"
#include "platform/managers/urls.h"
#include "platform/managers/windows.h"

// The managers of the screen: windows, menus, the event loop, panels and the workspace, over
// whatever the program is shown on. One is registered before start-up; the functions below go to
// it.
namespace tessary {

// What a panel for choosing a folder or a file shows, and how it is set.
struct NSOpenPanel {
  std::string title;
  std::string prompt;
  std::string message;
  bool allowsMultipleSelection = false;
  bool canChooseDirectories = true;
  bool canChooseFiles = true;
  bool canCreateDirectories = true;
};

class WindowSystem {
 public:
  virtual ~WindowSystem() = default;

  // Connects the program to its desktop.
  virtual void LoadApplication() = 0;

  // Offers the program's services to other programs.
  virtual void UpdateDynamicServices() = 0;

  // Opens the forms of that name. Answers noErr or why not; written on success only.
  virtual Status CreateNibReference(const std::string& name, std::unique_ptr<Nib>* nib) = 0;

  // Puts the menu bar that was made last in place.
  virtual void SetMenuBar() = 0;

  // Enables the menu item of a command.
  virtual void EnableMenuCommand(OSType commandID) = 0;

  // The Help menu, owned by the system, and the number of its first free item. Answers noErr or why
  // there is none; written on success only.
  virtual Status GetHelpMenu(MenuRef* menu, uint16_t* firstFreeItem) = 0;

  // What is asked last when no window or menu handles a command, and gets the services' requests.
  virtual EventTarget GetApplicationEventTarget() = 0;

  // Runs until the program is told to quit.
  virtual void RunApplicationEventLoop() = 0;

  // Has the loop run `routine` once, in `delay` seconds. The handler that installs it is answered
  // before; of two that are due at the same time, the one installed first runs first; and none runs
  // while a panel is up or another routine or handler has not returned.
  virtual Status InstallEventLoopTimer(double delay, std::function<void()> routine) = 0;

  // Lets the screen show what has changed, and delivers nothing: no input, no timer, no request.
  virtual void PumpEvents() = 0;

  virtual void BringApplicationToFront() = 0;
  virtual void Beep() = 0;

  // Ends the process at once, with status 0.
  [[noreturn]] virtual void ExitToShell() = 0;

  // Runs a panel until its user has answered; the path chosen, links resolved, or none.
  virtual std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) = 0;

  // Opens a folder for the user to see; a file, which a panel may have chosen in its place, is
  // shown in its folder and never run. Answers noErr, or kLSApplicationNotFoundErr after a line in
  // the log when nothing on this desktop opens folders.
  virtual Status OpenFolder(const std::string& path) = 0;

  // Opens a page in the user's browser, or wherever its scheme leads.
  virtual void OpenPage(const std::string& url) = 0;

  // The address of the product's page, which is installed with the program.
  virtual std::string ProductPageURL() = 0;
};

// The window system that the program is shown on. The program's entry routine is its only writer,
// before anything else, and keeps the system alive.
inline WindowSystem* gWindowSystem = nullptr;

// Opens what the URL denotes as the desktop does. Answers what WindowSystem::OpenFolder answers.
inline Status LSOpenCFURLRef(const CFURL& url) { return gWindowSystem->OpenFolder(url.path); }

}  // namespace tessary
