#pragma once

#include <QApplication>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/managers/window_system.h"
#include "platform/qt/nib.h"
#include "platform/qt/open_panel.h"
#include "platform/qt/run_reports.h"
#include "platform/qt/session_bus.h"

namespace tessary {

// The window system over Qt 6 Widgets and D-Bus, on X11 and Wayland. There is one per process,
// created and used on the main thread.
class QtWindowSystem final : public WindowSystem {
 public:
  // Opens documents that other programs or the command line name. The file specifications designate
  // objects that existed when the request was handled.
  using OpenDocuments = std::function<void(const std::vector<FSSpec>& documents)>;

  // Connects to the display. Ends the process with a message if there is none. Removes Qt's options
  // from the arguments, which must outlive this object.
  QtWindowSystem(int* count, char** arguments, OpenDocuments openDocuments);
  ~QtWindowSystem() override;

  // Asks an instance that already runs in this session to open the paths, or to come to the front
  // if there are none. Returns true if it has accepted the request, so that this process can end.
  // Returns false if no such instance exists or, after a log line, if it does not answer or the
  // session bus is missing. Missing paths are logged and skipped.
  bool ForwardToRunningInstance(const std::vector<std::string>& paths);

  // Opens the documents when the event loop runs. Missing paths are logged and skipped.
  void OpenPaths(const std::vector<std::string>& paths);

  // Sets the source that the next panel names. The panel after that names none.
  void SetPanelSource(PanelSource source) { panelSource_ = std::move(source); }

  // The log window and the notifications.
  RunReports& Reports() { return reports_; }

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
  void RefuseRequests() override;
  void BringApplicationToFront() override;
  void Beep() override;
  [[noreturn]] void ExitToShell() override;
  std::optional<std::string> RunOpenPanel(const NSOpenPanel& panel) override;
  Status OpenFolder(const std::string& path) override;
  void OpenPage(const std::string& url) override;
  std::string ProductPageURL() override;

 private:
  void SetStandardHandlers();
  BusRequests MakeBusRequests();
  void OpenURIs(const std::vector<std::string>& uris);
  void ReportMissing(const std::string& name);
  void PerformAction(const std::string& action);
  void PerformService(const std::string& message, const std::vector<std::string>& uris);

  QApplication application_;
  OpenDocuments openDocuments_;
  QtUiState ui_;
  RunReports reports_;
  std::optional<PanelSource> panelSource_;
  SessionBus bus_;
};

}  // namespace tessary
