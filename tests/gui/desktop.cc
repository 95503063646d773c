#include "tests/gui/desktop.h"

#include <signal.h>
#include <unistd.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QRegularExpressionMatch>
#include <QSize>
#include <QStandardPaths>
#include <QThread>
#include <cstdlib>
#include <sstream>

#include "app/main_window.h"
#include "platform/qt/file_uris.h"

namespace tessary::test {
namespace {

constexpr unsigned long kPollInterval = 20;  // milliseconds
constexpr int kFirstDisplay = 1000;
constexpr int kDisplays = 50000;
constexpr char kWindowTitle[] = "^Tessary$";
// The titles end with the program's name. xdotool does not match the dash in every locale.
constexpr char kPanelTitle[] = "^Choose (Destination|Source)";

// A session bus that activates no services, so that no program of this machine starts.
constexpr char kBusConfiguration[] = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

QString Text(const std::string& text) { return QString::fromStdString(text); }

QStringList Texts(const std::vector<std::string>& texts) {
  QStringList list;
  for (const std::string& text : texts) list.append(Text(text));
  return list;
}

QString FirstLine(const std::string& text) {
  return Text(text.substr(0, text.find('\n'))).trimmed();
}

}  // namespace

bool WaitUntil(const std::function<bool()>& condition, int timeout) {
  QElapsedTimer clock;
  clock.start();
  while (!condition()) {
    if (clock.elapsed() > timeout) return false;
    QThread::msleep(kPollInterval);
  }
  return true;
}

BackgroundProcess::BackgroundProcess(const QString& program, const QStringList& arguments,
                                     const QProcessEnvironment& environment,
                                     const std::string& outputPath)
    : process_(std::make_unique<QProcess>()), outputPath_(outputPath) {
  process_->setProcessEnvironment(environment);
  process_->setProcessChannelMode(QProcess::MergedChannels);
  process_->setStandardInputFile(QProcess::nullDevice());
  process_->setStandardOutputFile(Text(outputPath));
  process_->start(program, arguments);
  EXPECT_TRUE(process_->waitForStarted()) << program.toStdString();
}

BackgroundProcess::~BackgroundProcess() {
  if (process_->state() == QProcess::NotRunning) return;
  Resume();
  process_->terminate();
  if (!process_->waitForFinished(2000)) process_->kill();
  process_->waitForFinished(2000);
}

bool BackgroundProcess::WaitForOutput(const std::string& text, int timeout) const {
  return WaitUntil([this, &text] { return Output().find(text) != std::string::npos; }, timeout);
}

std::string BackgroundProcess::Output() const {
  QFile file(Text(outputPath_));
  return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

bool BackgroundProcess::IsRunning() const {
  process_->waitForFinished(0);
  return process_->state() == QProcess::Running;
}

std::optional<int> BackgroundProcess::WaitForExit() {
  if (process_->state() != QProcess::NotRunning && !process_->waitForFinished(kWaitTimeout)) {
    return std::nullopt;
  }
  if (process_->exitStatus() != QProcess::NormalExit) return std::nullopt;
  return process_->exitCode();
}

void BackgroundProcess::Suspend() const { EXPECT_EQ(0, kill(static_cast<pid_t>(Id()), SIGSTOP)); }
void BackgroundProcess::Resume() const { EXPECT_EQ(0, kill(static_cast<pid_t>(Id()), SIGCONT)); }

std::string MissingTool(const QStringList& tools) {
  for (const QString& tool : tools) {
    if (QStandardPaths::findExecutable(tool).isEmpty()) return tool.toStdString();
  }
  return {};
}

void DesktopTest::SetUp() {
  const std::string missing =
      MissingTool({"Xvfb", "openbox", "dbus-daemon", "xdotool", "import", "xprop", "xwininfo"});
  if (!missing.empty()) GTEST_SKIP() << missing << " is not installed";
  SetEnvironment();
  ASSERT_NO_FATAL_FAILURE(StartDisplay());
  ASSERT_NO_FATAL_FAILURE(StartBus());
  ASSERT_NO_FATAL_FAILURE(StartWindowManager());
  MakeFolder(Destination());
}

void DesktopTest::TearDown() {
  if (HasFailure() && program_ != nullptr) {
    printf("The log:\n%s", program_->Output().c_str());
    if (Exists(At("drag-source"))) printf("The drag:\n%s", ReadFile(At("drag-source")).c_str());
  }
  program_ = nullptr;
  windowManager_ = nullptr;
  bus_ = nullptr;
  display_ = nullptr;
}

void DesktopTest::SetEnvironment() {
  environment_ = QProcessEnvironment::systemEnvironment();
  for (const char* name : {"WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_ACTIVATION_TOKEN",
                           "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "QT_SCALE_FACTOR"}) {
    environment_.remove(name);
  }
  for (const char* name : {"home", "config", "data", "run"}) MakeFolder(At(name));
  QFile::setPermissions(Text(At("run")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  environment_.insert("HOME", Text(At("home")));
  environment_.insert("XDG_CONFIG_HOME", Text(At("config")));
  environment_.insert("XDG_CONFIG_DIRS", Text(At("config")));
  environment_.insert("XDG_STATE_HOME", Text(At("state")));
  environment_.insert("XDG_DATA_HOME", Text(At("data")));
  environment_.insert("XDG_DATA_DIRS", Text(At("data")));
  environment_.insert("XDG_RUNTIME_DIR", Text(At("run")));
  // Hides this machine's xdg-open and file managers from the program.
  environment_.insert("PATH", Text(At("bin")));
  environment_.insert("QT_QPA_PLATFORM", "xcb");
  environment_.insert("LC_ALL", "C.UTF-8");
  environment_.insert("TZ", "UTC");
}

// Derives the display number from the process ID: two servers that look for a free number at the
// same time may find the same one. The server prints the number when it is ready, after any
// warnings.
void DesktopTest::StartDisplay() {
  const QString number = QString::number(kFirstDisplay + getpid() % kDisplays);
  display_ = std::make_unique<BackgroundProcess>(
      "Xvfb",
      QStringList{":" + number, "-displayfd", "1", "-screen", "0", "1280x900x24", "-noreset",
                  "-nolisten", "tcp"},
      environment_, At("display"));
  static const QRegularExpression kNumber("(?:^|\n)(\\d+)\n");
  QRegularExpressionMatch match;
  ASSERT_TRUE(WaitUntil([this, &match] {
    match = kNumber.match(Text(display_->Output()));
    return match.hasMatch();
  }));
  environment_.insert("DISPLAY", ":" + match.captured(1));
}

void DesktopTest::StartBus() {
  WriteFile(At("bus.conf"), kBusConfiguration);
  bus_ = std::make_unique<BackgroundProcess>(
      "dbus-daemon",
      QStringList{"--config-file=" + Text(At("bus.conf")), "--print-address", "--nofork"},
      environment_, At("bus"));
  ASSERT_TRUE(bus_->WaitForOutput("\n"));
  environment_.insert("DBUS_SESSION_BUS_ADDRESS", FirstLine(bus_->Output()));
}

// The window manager keeps the machine's environment, because it needs the installed themes.
void DesktopTest::StartWindowManager() {
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert("DISPLAY", environment_.value("DISPLAY"));
  windowManager_ = std::make_unique<BackgroundProcess>("openbox", QStringList{"--sm-disable"},
                                                       environment, At("window-manager"));
  ASSERT_TRUE(WaitUntil([this] {
    return RunTool("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).find("0x") != std::string::npos;
  })) << "display: "
      << display_->Output() << "window manager: " << windowManager_->Output();
}

QString DesktopTest::FindVisibleWindow(const QString& title) const {
  return FirstLine(RunTool("xdotool", {"search", "--onlyvisible", "--name", title}));
}

QString DesktopTest::ActiveWindow() const {
  return FirstLine(RunTool("xdotool", {"getactivewindow"}));
}

void DesktopTest::StartProgram(const std::vector<std::string>& paths) {
  program_ = std::make_unique<BackgroundProcess>(TESSARY, Texts(paths), environment_, At("log"));
  ASSERT_NO_FATAL_FAILURE(WaitForMainWindow());
  // With a folder as argument, the program opens a panel that covers the window.
  if (!paths.empty()) return;
  ASSERT_TRUE(WaitForStatus(kDropPrompt));
  // Only the active window receives keys.
  ASSERT_TRUE(WaitUntil([this] { return ActiveWindow().toStdString() == window_; }));
}

void DesktopTest::StartOtherProgram(const QString& program) {
  program_ = std::make_unique<BackgroundProcess>(program, QStringList(), environment_, At("log"));
  ASSERT_NO_FATAL_FAILURE(WaitForMainWindow());
}

void DesktopTest::WaitForMainWindow() {
  ASSERT_TRUE(WaitUntil([this] {
    window_ = FindVisibleWindow(kWindowTitle).toStdString();
    return !window_.empty();
  })) << RunTool("ps", {"-o", "etimes,stat,wchan:32,args", "-p", QString::number(program_->Id())})
      << RunTool("xwininfo", {"-root", "-tree"});
}

std::optional<int> DesktopTest::StartSecondInstance(const std::vector<std::string>& paths) {
  BackgroundProcess second(TESSARY, Texts(paths), environment_, At("second-log"));
  return second.WaitForExit();
}

void DesktopTest::StartRun(const std::string& source) {
  ASSERT_NO_FATAL_FAILURE(StartProgram({source}));
  ChooseDestination();
}

std::string DesktopTest::MakeSource(const std::string& name) {
  WriteFile(At(name + "/" + name + ".txt"), name);
  return At(name);
}

bool DesktopTest::WaitForSorted(const std::string& name) const {
  return WaitUntil([this, &name] { return Exists(Destination() + "/txt/" + name); });
}

void DesktopTest::StartLongRun() {
  WriteFile(PreferencesPath(), "FileOperation = 1\n");
  for (int file = 0; file < kManyFiles; ++file) {
    WriteFile(LongSource() + "/" + std::to_string(file) + ".txt");
  }
  StartRun(LongSource());
  ASSERT_TRUE(WaitUntil([this] { return CountInLog("Moved \"") > 0; }));
}

size_t DesktopTest::CountRemaining() const { return NamesIn(LongSource()).size(); }

bool DesktopTest::WaitForEndOfLongRun() const {
  return WaitUntil([this] { return NamesIn(Destination() + "/txt").size() >= kManyFiles; });
}

std::vector<std::string> DesktopTest::FoldersInOrder() const {
  static constexpr std::string_view kText = "Aggregating folder ";
  std::vector<std::string> names;
  const std::string log = program_->Output();
  for (size_t at = log.find(kText); at != std::string::npos; at = log.find(kText, at + 1)) {
    const size_t start = at + kText.size();
    names.push_back(log.substr(start, log.find('\n', start) - start));
  }
  return names;
}

void DesktopTest::DragOnto(const QStringList& uris, const std::function<void()>& beforeDrop) {
  // On a busy machine the button may be released before the target has answered the last move. Then
  // nothing is dropped, and a user drags again.
  constexpr int kAttempts = 4;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (Drag(uris, beforeDrop)) return;
  }
  ADD_FAILURE() << "no drop was accepted";
}

// Toolkits recognise a drag by its timing: button down, pause, small moves, a nudge at the target,
// pause, button up.
bool DesktopTest::Drag(const QStringList& uris, const std::function<void()>& beforeDrop) {
  WriteFile(At("uris"), uris.join("\r\n").toStdString());
  const BackgroundProcess source(TESSARY_DRAG_SOURCE, {Text(At("uris"))}, environment_,
                                 At("drag-source"));
  EXPECT_TRUE(source.WaitForOutput("ready"));
  RunTool("xdotool", {"windowmove", Text(window_), "600", "300"});
  QThread::msleep(200);
  QStringList gesture = {"mousemove", "60", "60", "mousedown", "1", "sleep", "0.4"};
  const QPoint target(800, 450);
  constexpr int kMoves = 10;
  for (int move = 1; move <= kMoves; ++move) {
    gesture += {"mousemove", QString::number(60 + (target.x() - 60) * move / kMoves),
                QString::number(60 + (target.y() - 60) * move / kMoves), "sleep", "0.06"};
  }
  gesture += {"mousemove_relative", "3", "3", "sleep", "0.3"};
  RunTool("xdotool", gesture);
  if (beforeDrop) beforeDrop();
  RunTool("xdotool", {"mouseup", "1"});
  // The source reports nothing if the press or the moves were lost and no drag started.
  constexpr int kReportTimeout = 5000;
  if (!source.WaitForOutput("dropped", kReportTimeout)) return false;
  return source.Output().find("dropped 0") == std::string::npos;
}

bool DesktopTest::IsPanelOpen() const { return !FindVisibleWindow(kPanelTitle).isEmpty(); }

// The window manager may leave the focus on another window; then activates the panel.
bool DesktopTest::WaitForPanel() {
  return WaitUntil([this] {
    const QString panel = FindVisibleWindow(kPanelTitle);
    if (panel.isEmpty()) return false;
    if (ActiveWindow() == panel) return true;
    RunTool("xdotool", {"windowactivate", panel});
    return false;
  });
}

// Looks for this panel's ID, because the next panel may open as soon as this one closes.
bool DesktopTest::WaitUntilPanelCloses(const QString& panel) {
  return WaitUntil([this, &panel] {
    const QString open =
        Text(RunTool("xdotool", {"search", "--onlyvisible", "--name", kPanelTitle}));
    return !open.split('\n').contains(panel);
  });
}

void DesktopTest::AnswerPanel(const std::string& path) {
  ASSERT_TRUE(WaitForPanel());
  const QString panel = ActiveWindow();
  // The chooser cannot complete a path that ends with "/.". Otherwise it would show a list of
  // completions, which would receive the Return key.
  RunTool("xdotool", {"type", "--delay", "5", Text(path + "/.")});
  PressKeys({"Return"});
  ASSERT_TRUE(WaitUntilPanelCloses(panel));
}

void DesktopTest::CancelPanel() {
  ASSERT_TRUE(WaitForPanel());
  const QString panel = ActiveWindow();
  PressKeys({"Escape"});
  ASSERT_TRUE(WaitUntilPanelCloses(panel));
}

void DesktopTest::MoveAside(const QString& title) const {
  RunTool("xdotool", {"windowmove", FindVisibleWindow(title), "0", "500"});
}

bool DesktopTest::AnswersPing() const {
  return RunTool(TESSARY_PING_WINDOW, {Text(window_)}) == "answered\n";
}

void DesktopTest::PressKeys(const QStringList& keys) const {
  RunTool("xdotool", QStringList{"key", "--delay", "60"} + keys);
}

void DesktopTest::ClickAt(const QPoint& point) const {
  RunTool("xdotool", {"mousemove", "--window", Text(window_), QString::number(point.x()),
                      QString::number(point.y()), "sleep", "0.1", "click", "1"});
}

// Takes the whole screen and cuts the window out: `import` would fail if the window closed
// meanwhile.
QImage DesktopTest::TakeScreenshot() const {
  const QString geometry = Text(RunTool("xwininfo", {"-id", Text(window_)}));
  const auto value = [&geometry](const QString& name) {
    return QRegularExpression(name + ": +(\\d+)").match(geometry).captured(1).toInt();
  };
  if (!geometry.contains("IsViewable")) return {};
  RunTool("import", {"-silent", "-window", "root", Text(At("picture.png"))});
  const QImage screen(Text(At("picture.png")));
  return screen.copy(value("upper-left X"), value("upper-left Y"), value("Width"), value("Height"));
}

std::optional<std::string> DesktopTest::ReadText(int controlID,
                                                 const std::vector<std::string>& texts) const {
  const QImage picture = TakeScreenshot();
  if (picture.isNull()) return std::nullopt;
  return ReadTextIn(picture, controlID, texts);
}

std::optional<std::string> DesktopTest::ReadTextIn(const QImage& picture, int controlID,
                                                   const std::vector<std::string>& texts) const {
  EXPECT_TRUE(picture.save(Text(At("picture.png"))));
  std::string lines;
  for (const std::string& text : texts) lines += text + "\n";
  WriteFile(At("texts"), lines);
  const std::string read = RunTool(TESSARY_TEXT_READER, {Text(At("picture.png")), Text(At("texts")),
                                                         QString::number(controlID)});
  if (read.empty()) return std::nullopt;
  return read.substr(0, read.find('\n'));
}

bool DesktopTest::WaitForText(int controlID, const std::vector<std::string>& texts) {
  return WaitUntil([&] { return ReadText(controlID, texts).has_value(); });
}

std::string DesktopTest::WindowTitle() const {
  return FirstLine(RunTool("xdotool", {"getwindowname", Text(window_)})).toStdString();
}

int DesktopTest::CountInLog(const std::string& text) const {
  const std::string log = program_->Output();
  int count = 0;
  for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
  return count;
}

std::string DesktopTest::CallProgram(const QString& interface, const QString& method,
                                     const QVariantList& arguments) const {
  static int gConnections = 0;
  const QString name = "test" + QString::number(++gConnections);
  QDBusConnection bus =
      QDBusConnection::connectToBus(environment_.value("DBUS_SESSION_BUS_ADDRESS"), name);
  QDBusMessage call = QDBusMessage::createMethodCall("org.tessary.Tessary", "/org/tessary/Tessary",
                                                     interface, method);
  call.setArguments(arguments);
  const QDBusMessage answer = bus.call(call, QDBus::Block, kWaitTimeout);
  QDBusConnection::disconnectFromBus(name);
  return answer.type() == QDBusMessage::ReplyMessage ? "" : answer.errorName().toStdString();
}

std::string DesktopTest::RunTool(const QString& tool, const QStringList& arguments) const {
  QProcess process;
  process.setProcessEnvironment(environment_);
  process.start(tool, arguments);
  if (!process.waitForFinished(kWaitTimeout)) {
    ADD_FAILURE() << tool.toStdString() << " did not exit";
    return {};
  }
  return process.readAllStandardOutput().toStdString();
}

QString UriOf(const std::string& path) { return Text(FileUriFromPath(path)); }

}  // namespace tessary::test
