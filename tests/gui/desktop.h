#pragma once

#include <gtest/gtest.h>

#include <QImage>
#include <QPoint>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {

// Control IDs of the main window.
inline constexpr int kStatusText = 1;
inline constexpr int kElapsedTimeText = 6;

// The number of files of a long run.
inline constexpr int kManyFiles = 20000;

// Milliseconds. Longer than any successful wait takes, on a busy machine, too.
inline constexpr int kWaitTimeout = 30000;

// Polls the condition until it holds. Returns false if it does not hold within `timeout`
// milliseconds.
bool WaitUntil(const std::function<bool()>& condition, int timeout = kWaitTimeout);

// A program that runs beside the test and ends with this object. Its output goes to a file.
class BackgroundProcess {
 public:
  BackgroundProcess(const QString& program, const QStringList& arguments,
                    const QProcessEnvironment& environment, const std::string& outputPath);
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  // Waits until the program's output contains the text. Returns false after a timeout.
  bool WaitForOutput(const std::string& text, int timeout = kWaitTimeout) const;
  std::string Output() const;

  bool IsRunning() const;

  // Waits until the program exits. Returns its exit status, or no value if it crashes or does not
  // exit.
  std::optional<int> WaitForExit();

  // Stop and continue the process by signals.
  void Suspend() const;
  void Resume() const;

  qint64 Id() const { return process_->processId(); }

 private:
  std::unique_ptr<QProcess> process_;
  std::string outputPath_;
};

// Returns the first of the tools that is not installed, or an empty string.
std::string MissingTool(const QStringList& tools);

// Runs the desktop program in a session of its own: a virtual display, a window manager, a session
// bus, and empty folders for the user's configuration and data. Skips if a tool is missing.
class DesktopTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The path of a name in the test's folder.
  std::string At(const std::string& name) const { return folder_ / name; }
  std::string PreferencesPath() const { return At("config/tessary/preferences.toml"); }

  // The folder that runs sort into. Empty at first.
  std::string Destination() const { return At("sorted"); }

  // Starts the desktop program with the paths as arguments and waits until its window is visible.
  void StartProgram(const std::vector<std::string>& paths = {});

  // Starts another program that shows the main window.
  void StartOtherProgram(const QString& program);

  // Starts a second instance of the desktop program and returns its exit status.
  std::optional<int> StartSecondInstance(const std::vector<std::string>& paths);

  // Starts the desktop program on a folder and answers its panel with the destination.
  void StartRun(const std::string& source);

  // Makes a folder in the test's folder with one file, "NAME.txt". Returns its path.
  std::string MakeSource(const std::string& name);

  // Starts a run that moves kManyFiles files out of LongSource, and waits until it has moved some.
  void StartLongRun();
  std::string LongSource() const { return At("many"); }
  size_t CountRemaining() const;
  bool WaitForEndOfLongRun() const;

  // The names of the folders that the program has run on, in order.
  std::vector<std::string> FoldersInOrder() const;

  // Waits until a text file has been sorted into the destination.
  bool WaitForSorted(const std::string& name) const;

  // Drags the URIs with the mouse from another program's window onto the main window. Calls
  // `beforeDrop` when they are over the window. Returns true if the drop was accepted.
  bool Drag(const QStringList& uris, const std::function<void()>& beforeDrop = {});

  // Repeats Drag until the drop is accepted. Fails the test if it never is.
  void DragOnto(const QStringList& uris, const std::function<void()>& beforeDrop = {});

  // Wait for the panel, then accept it with a path or cancel it.
  void AnswerPanel(const std::string& path);
  void ChooseDestination() { AnswerPanel(Destination()); }
  void CancelPanel();

  bool IsPanelOpen() const;

  // Waits until the panel is open and active.
  bool WaitForPanel();

  // Moves the open panel or sheet beside the main window.
  void MoveAside(const QString& title) const;

  // Pings the main window, as a window manager does. Returns true if the program answers.
  bool AnswersPing() const;

  void PressKeys(const QStringList& keys) const;
  void ClickAt(const QPoint& point) const;  // relative to the window's content

  // Takes a picture of the main window without its frame. Returns a null image if the window is not
  // visible.
  QImage TakeScreenshot() const;

  // Compares the main window's picture with the form's rendering of each text in that control.
  // Returns the text that the control shows, or no value if it shows none of them.
  std::optional<std::string> ReadText(int controlID, const std::vector<std::string>& texts) const;

  // Reads the text in a picture that was taken before.
  std::optional<std::string> ReadTextIn(const QImage& picture, int controlID,
                                        const std::vector<std::string>& texts) const;

  // Wait until the control shows one of the texts, or the status line the text.
  bool WaitForText(int controlID, const std::vector<std::string>& texts);
  bool WaitForStatus(const std::string& text) { return WaitForText(kStatusText, {text}); }

  std::string WindowTitle() const;

  const std::string& WindowID() const { return window_; }

  // Returns the X11 ID of a visible window whose title matches the expression, or an empty text.
  QString FindVisibleWindow(const QString& title) const;

  // Waits until the program's log contains the text.
  bool WaitForLog(const std::string& text) const { return program_->WaitForOutput(text); }
  int CountInLog(const std::string& text) const;

  // Calls a method of the program on the session bus. Returns the error's name, or an empty string
  // if there was no error.
  std::string CallProgram(const QString& interface, const QString& method,
                          const QVariantList& arguments) const;

  // Runs a tool in the session and returns its output.
  std::string RunTool(const QString& tool, const QStringList& arguments) const;

  QProcessEnvironment environment_;
  std::unique_ptr<BackgroundProcess> program_;

 private:
  void SetEnvironment();
  void StartDisplay();
  void StartBus();
  void StartWindowManager();
  void WaitForMainWindow();
  QString ActiveWindow() const;
  bool WaitUntilPanelCloses(const QString& panel);

  TemporaryFolder folder_;
  std::unique_ptr<BackgroundProcess> display_;
  std::unique_ptr<BackgroundProcess> windowManager_;
  std::unique_ptr<BackgroundProcess> bus_;
  std::string window_;  // the X11 ID of the main window
};

// The file URI of a path.
QString UriOf(const std::string& path);

}  // namespace tessary::test
