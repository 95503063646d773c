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

// The managers that need a screen: windows, menus, the event loop, panels and the workspace. The
// program registers one implementation, gWindowSystem, before start-up.
namespace tessary {

// The texts and options of a panel in which the user chooses a folder or a file.
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

  // Connects the program to the desktop.
  virtual void LoadApplication() = 0;

  // Offers the program's services to other programs.
  virtual void UpdateDynamicServices() = 0;

  // Opens the forms named `name`. Returns noErr; fnfErr (no such forms); paramErr (no
  // out-argument).
  // `*nib` is written on success only.
  virtual Status CreateNibReference(const std::string& name, std::unique_ptr<Nib>* nib) = 0;

  // Installs the menu bar that was created last.
  virtual void SetMenuBar() = 0;

  // Enables the menu item of a command.
  virtual void EnableMenuCommand(OSType commandID) = 0;

  // Finds the Help menu, which the window system owns, and the number of its first free item.
  // Returns noErr; fnfErr (there is no Help menu); paramErr (a missing out-argument). Written on
  // success only.
  virtual Status GetHelpMenu(MenuRef* menu, uint16_t* firstFreeItem) = 0;

  // Returns the target that receives the commands that no window or menu handles, and the requests
  // of services.
  virtual EventTarget GetApplicationEventTarget() = 0;

  // Runs the event loop until the program quits.
  virtual void RunApplicationEventLoop() = 0;

  // Makes the event loop run `routine` once, after `delay` seconds; never before the calling
  // handler has returned. Routines that are due at the same time run in the order in which they
  // were installed. No routine runs while a panel is open or while another routine or handler runs.
  // Returns noErr; paramErr (an empty routine, or a negative delay).
  virtual Status InstallEventLoopTimer(double delay, std::function<void()> routine) = 0;

  // Updates the screen, at the display's rate: a call shortly after another one does nothing, and a
  // later call or the event loop shows the changes. Answers the window system, so that the program
  // does not appear to hang. Delivers no input; timers, drops and requests wait.
  virtual void PumpEvents() = 0;

  // Returns an error to other programs that request something from now on, because the program is
  // about to end.
  virtual void RefuseRequests() = 0;

  virtual void BringApplicationToFront() = 0;
  virtual void Beep() = 0;

  // Ends the process immediately, with exit status 0.
  [[noreturn]] virtual void ExitToShell() = 0;

  // Shows the panel until the user answers. Returns the absolute path of the choice, without links,
  // or none if the user cancels.
  virtual std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) = 0;

  // Shows the folder at `path` to the user. A file, which a panel may return instead of a folder,
  // is shown in its folder and never opened or run. Returns noErr; kLSApplicationNotFoundErr, after
  // a log line, if no program on this desktop opens folders.
  virtual Status OpenFolder(const std::string& path) = 0;

  // Opens a URL in the program that the desktop uses for its scheme.
  virtual void OpenPage(const std::string& url) = 0;

  // Returns the file URL of the product's page, which is installed with the program.
  virtual std::string ProductPageURL() = 0;
};

// The window system in use. Set once by the program's entry point, which keeps the object alive,
// before any other code runs.
inline WindowSystem* gWindowSystem = nullptr;

// Shows the folder that the URL denotes. Returns the statuses of WindowSystem::OpenFolder.
inline Status LSOpenCFURLRef(const CFURL& url) { return gWindowSystem->OpenFolder(url.path); }

}  // namespace tessary
