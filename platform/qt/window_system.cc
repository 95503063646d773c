#include "platform/qt/window_system.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QIcon>
#include <QLocale>
#include <QString>
#include <QTimer>
#include <QtGlobal>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/managers/file_manager.h"
#include "platform/managers/log.h"
#include "platform/managers/pasteboard.h"
#include "platform/managers/preferences_store.h"
#include "platform/qt/about_box.h"
#include "platform/qt/accessible_roles.h"
#include "platform/qt/activation_token.h"
#include "platform/qt/artwork_view.h"
#include "platform/qt/file_uris.h"
#include "platform/qt/pump.h"
#include "platform/qt/translations.h"
#include "platform/qt/workspace.h"

namespace tessary {
namespace {

constexpr double kMillisecondsPerSecond = 1000;
constexpr OSType kCommandShowLog = FourCharCode("slog");
constexpr OSType kCommandAbout = FourCharCode("abou");

// The application's actions for other programs, and their commands.
struct DesktopAction {
  const char* name;
  OSType commandID;
};
constexpr std::array kDesktopActions = {
    DesktopAction{"open", FourCharCode("open")},
    DesktopAction{"preferences", FourCharCode("pref")},
    DesktopAction{"quit", FourCharCode("quit")},
};

constexpr char kMissing[] = "No such file or directory";

// Writes a message of Qt to the program's log.
void LogQtMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text) {
  NSLog(text.toStdString());
  if (type == QtFatalMsg) std::_Exit(EXIT_FAILURE);
}

// Installs the handler and returns `count`. Called in the constructor's initialiser list, because
// the application object may already log.
int* InstallMessageHandler(int* count) {
  qInstallMessageHandler(LogQtMessage);
  return count;
}

std::string DescribeMissing(const std::string& name) {
  return "Cannot open \"" + name + "\": there is no such file or folder on this machine.";
}

}  // namespace

QtWindowSystem::QtWindowSystem(int* count, char** arguments, OpenDocuments openDocuments)
    : application_(*InstallMessageHandler(count), arguments),
      openDocuments_(std::move(openDocuments)),
      reports_(&ui_.tasks),
      bus_(MakeBusRequests()) {
  QCoreApplication::setApplicationName("tessary");
  QGuiApplication::setApplicationDisplayName("Tessary");
  QGuiApplication::setDesktopFileName("org.tessary.Tessary");
  LoadTranslations(QLocale::system().uiLanguages());
  // Closing the main window sends the quit command, which ends the program.
  QGuiApplication::setQuitOnLastWindowClosed(false);
  SetStandardHandlers();
  InstallAccessibleRoles();
  // Some settings are read without synchronising. The user's commands must not show old values.
  ui_.tasks.SetPrologue([] {
    // A failure means that the file cannot be read; it has been logged at the start.
    (void)CFPreferencesAppSynchronize();
  });
}

// Deletes the windows that were disposed of after the event loop ended.
QtWindowSystem::~QtWindowSystem() {
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool QtWindowSystem::ForwardToRunningInstance(const std::vector<std::string>& paths) {
  if (bus_.ClaimName() != SessionBus::Role::kSecondary) return false;
  std::vector<std::string> uris;
  for (const std::string& path : paths) {
    std::string resolved;
    if (ResolveNamedPath(path, &resolved) == noErr) {
      uris.push_back(FileUriFromPath(resolved));
    } else {
      NSLog(DescribeMissing(path));
    }
  }
  if (SessionBus::Forward(uris)) return true;
  // The other instance may be quitting and have released the name.
  (void)bus_.ClaimName();
  return false;
}

void QtWindowSystem::OpenPaths(const std::vector<std::string>& paths) {
  std::vector<FSSpec> documents;
  for (const std::string& path : paths) {
    FSSpec spec;
    if (MakeFileSpecFromPath(path, &spec) == noErr) {
      documents.push_back(spec);
    } else {
      ReportMissing(path);
    }
  }
  if (documents.empty()) return;
  ui_.tasks.Post([this, documents] { openDocuments_(documents); });
}

void QtWindowSystem::LoadApplication() {
  LoadPictures();
  QGuiApplication::setWindowIcon(QIcon(":/artwork/tessary.svg"));
}

Status QtWindowSystem::CreateNibReference(const std::string& name, std::unique_ptr<Nib>* nib) {
  if (nib == nullptr) return paramErr;
  if (name != "main") return fnfErr;
  *nib = std::make_unique<QtNib>(&ui_);
  return noErr;
}

void QtWindowSystem::SetMenuBar() { ui_.menuBar = std::move(ui_.newMenuBar); }

void QtWindowSystem::EnableMenuCommand(OSType commandID) {
  if (ui_.menuBar != nullptr) ui_.menuBar->EnableCommand(commandID);
}

Status QtWindowSystem::GetHelpMenu(MenuRef* menu, uint16_t* firstFreeItem) {
  if (menu == nullptr || firstFreeItem == nullptr) return paramErr;
  QtMenu* help = ui_.menuBar == nullptr ? nullptr : ui_.menuBar->HelpMenu();
  if (help == nullptr) return fnfErr;
  *menu = help;
  *firstFreeItem = help->FirstFreeItem();
  return noErr;
}

void QtWindowSystem::RunApplicationEventLoop() {
  ui_.tasks.Open();
  QCoreApplication::exec();
  RefuseRequests();
}

void QtWindowSystem::RefuseRequests() { bus_.RefuseRequests(); }

Status QtWindowSystem::InstallEventLoopTimer(double delay, std::function<void()> routine) {
  if (!routine || !(delay >= 0)) return paramErr;
  const auto milliseconds = static_cast<int>(std::ceil(delay * kMillisecondsPerSecond));
  QTimer::singleShot(milliseconds, Qt::PreciseTimer, ui_.tasks.Context(),
                     [this, routine = std::move(routine)] { ui_.tasks.Post(routine); });
  return noErr;
}

void QtWindowSystem::PumpEvents() { PumpAtDisplayRate(); }

void QtWindowSystem::BringApplicationToFront() {
  if (ui_.mainWindow != nullptr) ui_.mainWindow->BringToFront();
}

void QtWindowSystem::Beep() {
  QApplication::beep();
  FlushToDisplay();
}

void QtWindowSystem::ExitToShell() { std::_Exit(EXIT_SUCCESS); }

std::optional<std::string> QtWindowSystem::RunOpenPanel(const NSOpenPanel& panel) {
  const std::optional<PanelSource> source = std::exchange(panelSource_, std::nullopt);
  QWidget* parent = ui_.mainWindow == nullptr ? nullptr : ui_.mainWindow->Widget();
  return RunFolderPanel(panel, source, parent);
}

Status QtWindowSystem::OpenFolder(const std::string& path) { return ShowFolder(path); }

void QtWindowSystem::OpenPage(const std::string& url) { ShowPage(url); }

// The page is installed in PREFIX/share/tessary/help, the program in PREFIX/bin. Systems may omit
// the files in share/doc.
std::string QtWindowSystem::ProductPageURL() {
  const QString page = QCoreApplication::applicationDirPath() + "/../share/tessary/help/index.html";
  return FileUriFromPath(QFileInfo(page).absoluteFilePath().toStdString());
}

void QtWindowSystem::SetStandardHandlers() {
  ui_.commands.SetStandardHandler(kCommandShowLog, [this] { reports_.ShowLog(); });
  ui_.commands.SetStandardHandler(kCommandAbout, [this] {
    ShowAboutBox(ui_.mainWindow == nullptr ? nullptr : ui_.mainWindow->Widget());
  });
}

// Queues requests as tasks, because the nested event loop of a panel delivers them, too.
BusRequests QtWindowSystem::MakeBusRequests() {
  const auto comeToFront = [this](const std::string& token) {
    SetActivationToken(QString::fromStdString(token));
    BringApplicationToFront();
  };
  return {
      .activate =
          [this, comeToFront](const std::string& token) {
            ui_.tasks.Post([comeToFront, token] { comeToFront(token); });
          },
      .open =
          [this](const std::vector<std::string>& uris, const std::string& token) {
            ui_.tasks.Post([this, uris, token] {
              SetActivationToken(QString::fromStdString(token));
              OpenURIs(uris);
            });
          },
      .performAction =
          [this](const std::string& action) {
            ui_.tasks.Post([this, action] { PerformAction(action); });
          },
      .perform =
          [this](const std::string& message, const std::vector<std::string>& uris) {
            ui_.tasks.Post([this, message, uris] { PerformService(message, uris); });
          },
  };
}

void QtWindowSystem::OpenURIs(const std::vector<std::string>& uris) {
  std::vector<FSSpec> documents;
  for (const std::string& uri : uris) {
    const std::optional<std::string> path = ResolveFileUri(uri);
    FSSpec spec;
    if (path && MakeFileSpecFromPath(*path, &spec) == noErr) {
      documents.push_back(spec);
    } else {
      ReportMissing(uri);
    }
  }
  if (!documents.empty()) openDocuments_(documents);
}

void QtWindowSystem::ReportMissing(const std::string& name) {
  NSLog(DescribeMissing(name));
  reports_.MarkFailure(kMissing);
  reports_.ShowSourceProblem(name, kMissing);
}

void QtWindowSystem::PerformAction(const std::string& action) {
  for (const DesktopAction& known : kDesktopActions) {
    if (action == known.name) {
      ui_.commands.Send(EventTarget(), known.commandID);
      return;
    }
  }
  NSLog("Another program requested the unknown action \"" + action + "\".");
}

void QtWindowSystem::PerformService(const std::string& message,
                                    const std::vector<std::string>& uris) {
  auto pasteboard = std::make_shared<Pasteboard>();
  for (const std::string& uri : uris) {
    pasteboard->items.push_back({{IsFileUri(uri) ? kUTTypeFileURL : kUTTypeURL, uri}});
  }
  const Event event = {.eventClass = kEventClassService,
                       .eventKind = kEventServicePerform,
                       .parameters = {{kEventParamServiceMessageName, message},
                                      {kEventParamPasteboardRef, PasteboardRef(pasteboard)}}};
  // The handler always returns eventNotHandledErr, even if it has performed the request.
  (void)ui_.application.Send(event);
}

}  // namespace tessary
