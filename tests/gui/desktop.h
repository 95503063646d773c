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

// Waits until `isTrue` answers true, looking again and again. False where it did not in half a
// minute, which is longer than anything that works takes, on a busy machine too.
bool WaitUntil(const std::function<bool()>& isTrue);

// The same for so many milliseconds.
bool WaitUntil(const std::function<bool()>& isTrue, int timeout);

// A program that runs beside the test; ended with it. What it writes goes to a file.
class BackgroundProcess {
 public:
  BackgroundProcess(const QString& program, const QStringList& arguments,
                    const QProcessEnvironment& environment, const std::string& outputPath);
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  // True once the program's output holds the text.
  bool WaitForOutput(const std::string& text) const;
  bool WaitForOutput(const std::string& text, int milliseconds) const;
  std::string Output() const;

  bool IsRunning() const;

  // Waits for the program's own end: its exit status, or none where it goes on or crashed.
  std::optional<int> WaitForEnd();

  // Stops the program in its tracks, and lets it go on.
  void Suspend() const;
  void Resume() const;

  qint64 Id() const { return process_->processId(); }

 private:
  std::unique_ptr<QProcess> process_;
  std::string outputPath_;
};

// The name of a program that is missing on this machine, of those that the tests use; empty where
// all are there.
std::string MissingTool(const QStringList& tools);

// A session of its own for each test: a screen without a monitor, a window manager, a session bus,
// and folders for its user's things.
class DesktopTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // The path of a name in the test's folder.
  std::string At(const std::string& name) const { return folder_ / name; }
  std::string PreferencesPath() const { return At("config/tessary/preferences.toml"); }

  // Starts the desktop program and waits until its window is on the screen.
  void StartProgram(const QStringList& arguments = {});

  // Starts another program that shows the main window.
  void StartProgramOf(const QString& program, const QStringList& arguments = {});

  // Starts it a second time, and returns the exit status with which that ends.
  std::optional<int> StartAgain(const QStringList& arguments);

  // Makes a folder of that name in the test's folder with a file "NAME.txt", and gives its path.
  std::string MakeSource(const std::string& name);

  // Drags what the URIs name from another program's window onto the program's, with the mouse,
  // once; true when the drop was taken. And again and again until it is.
  bool Drag(const QStringList& uris);
  void DragOnto(const QStringList& uris);

  // Waits for the panel, types a path into it and accepts it; or cancels it.
  void AnswerPanel(const std::string& path);
  void CancelPanel();
  bool IsPanelUp() const;
  bool WaitForPanel();

  void PressKeys(const QStringList& keys) const;
  void ClickAt(const QPoint& point) const;  // in the window's content

  // The picture of the program's window, with its frame left out; none where it is not there.
  QImage TakeScreenshot() const;

  // True once the control of the main window shows one of the texts: the picture of the window
  // holds exactly what the form paints for it. That text, or none where time ran out.
  std::optional<std::string> WaitForText(int controlID, const std::vector<std::string>& texts);
  std::optional<std::string> ReadText(int controlID, const std::vector<std::string>& texts) const;

  // The same in a picture that was taken already.
  std::optional<std::string> ReadTextIn(const QImage& picture, int controlID,
                                        const std::vector<std::string>& texts) const;

  std::string WindowTitle() const;

  // True once the log holds the text.
  bool WaitForLog(const std::string& text) const { return program_->WaitForOutput(text); }
  int CountInLog(const std::string& text) const;

  // Calls a method of the program on the session bus; the answer's text or the error's name.
  std::string CallProgram(const QString& interface, const QString& method,
                          const QVariantList& arguments) const;

  // Runs a tool in the session and returns its output.
  std::string RunTool(const QString& tool, const QStringList& arguments) const;

  QProcessEnvironment environment_;
  std::unique_ptr<BackgroundProcess> program_;

 private:
  void StartSession();
  bool WaitForEndOfPanel(const QString& panel);

  TemporaryFolder folder_;
  std::unique_ptr<BackgroundProcess> screen_;
  std::unique_ptr<BackgroundProcess> windowManager_;
  std::unique_ptr<BackgroundProcess> bus_;
  std::string window_;  // the X number of the program's window
};

// The URI of a path, each byte that needs it escaped.
QString UriOf(const std::string& path);

}  // namespace tessary::test
