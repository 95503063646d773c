#pragma once

#include <QCoreApplication>
#include <QModelIndexList>
#include <QString>
#include <QWidget>
#include <memory>

#include "platform/qt/log_filter.h"
#include "platform/qt/session_log.h"
#include "platform/qt/task_queue.h"

namespace Ui {
class LogWindow;
}

namespace tessary {

// Shows the log of this session, with a search, the failures first on request, and commands to copy
// and save what is shown.
class LogWindow final : public QWidget {
  Q_DECLARE_TR_FUNCTIONS(LogWindow)

 public:
  // `log` and `tasks` are owned by the caller and must outlive this object.
  LogWindow(SessionLog* log, TaskQueue* tasks);
  ~LogWindow() override;
  LogWindow(const LogWindow&) = delete;
  LogWindow& operator=(const LogWindow&) = delete;

  // Shows the window in front of the others.
  void ShowInFront();

  // Shows the window with the failures first and selects the first of them.
  void ShowFailures();

  // Copies the selected lines, or all shown lines if none is selected, to the clipboard.
  void Copy() const;

  // Writes the shown lines to a file. Returns the reason of a failure, or an empty text.
  QString SaveTo(const QString& path) const;

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void AddShortcuts();
  void SetUpColumns();
  void ShowCount();
  void FollowNewest();
  void SaveAs();
  std::string TextOf(const QModelIndexList& rows) const;
  QModelIndexList AllRows() const;

  SessionLog* log_;
  TaskQueue* tasks_;
  LogFilter filter_;
  std::unique_ptr<Ui::LogWindow> form_;
  bool isAtEnd_ = true;  // before rows were added
};

}  // namespace tessary
