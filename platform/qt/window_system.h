#pragma once

#include <QApplication>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/managers/window_system.h"
#include "platform/qt/nib.h"
#include "platform/qt/session_bus.h"

namespace tessary {

// The window system over Qt 6 Widgets and D-Bus, on X11 and on Wayland. One in a process, made and
// used on its main thread.
class QtWindowSystem final : public WindowSystem {
 public:
  // What opening documents that other programs, or the command line, name is done with. The
  // specifications designate what was there.
  using OpenDocuments = std::function<void(const std::vector<FSSpec>& documents)>;

  // Connects to the display; ends the process with a message where there is none. Options of Qt are
  // taken out of the arguments, which outlive this.
  QtWindowSystem(int* count, char** arguments, OpenDocuments openDocuments);
  ~QtWindowSystem() override;

  // Has the instance that runs in this session already, if there is one, open what the paths name,
  // or come to the front where there are none. True where it has taken that over, and this process
  // has nothing to do any more. Without a session bus, which a log line tells, there is none.
  bool ForwardToRunningInstance(const std::vector<std::string>& paths);

  // Has the documents opened when the event loop runs. A path that leads nowhere is left out, with
  // a log line.
  void OpenPaths(const std::vector<std::string>& paths);

  void LoadApplication() override;
  void UpdateDynamicServices() override {}
  Status CreateNibReference(const std::string& name, std::unique_ptr<Nib>* nib) override;
  void SetMenuBar() override;
  void EnableMenuCommand(OSType commandID) override;
  Status GetHelpMenu(MenuRef* menu, uint16_t* firstFreeItem) override;
  EventTarget GetApplicationEventTarget() override { return ui_.application; }
  void RunApplicationEventLoop() override;
  Status InstallEventLoopTimer(double delay, std::function<void()> routine) override;
  void PumpEvents() override;
  void BringApplicationToFront() override;
  void Beep() override;
  [[noreturn]] void ExitToShell() override;
  std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) override;
  Status OpenFolder(const std::string& path) override;
  void OpenPage(const std::string& url) override;
  std::string ProductPageURL() override;

 private:
  BusRequests MakeBusRequests();
  void OpenURIs(const std::vector<std::string>& uris);
  void PerformAction(const std::string& action);
  void PerformService(const std::string& message, const std::vector<std::string>& uris);

  QApplication application_;
  OpenDocuments openDocuments_;
  QtUiState ui_;
  SessionBus bus_;
};

}  // namespace tessary
