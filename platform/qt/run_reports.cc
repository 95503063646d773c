#include "platform/qt/run_reports.h"

#include <QGuiApplication>
#include <QLocale>
#include <QString>
#include <utility>

#include "platform/managers/log.h"
#include "platform/qt/activation_token.h"

namespace tessary {
namespace {

constexpr double kLongRun = 10;  // seconds

bool IsActive() { return QGuiApplication::applicationState() == Qt::ApplicationActive; }

}  // namespace

RunReports::RunReports(TaskQueue* tasks) : tasks_(tasks) {
  SetLogListener([this](const LogLine& line) { log_.Append(line.time, line.message); });
}

RunReports::~RunReports() { SetLogListener({}); }

void RunReports::ShowRunEnd(const RunSummary& summary) {
  const QString source = QString::fromStdString(summary.source);
  const QString destination = QString::fromStdString(summary.destination);
  const QLocale locale;
  if (summary.failed > 0) {
    Notification notification = {
        .summary = tr("%1 of %2 items could not be filed")
                       .arg(locale.toString(summary.failed), locale.toString(summary.total)),
        .body = tr("From “%1” to “%2”").arg(source, destination)};
    if (summary.isLast) {
      notifications_.Show(notification);
    } else {
      ShowWithAction(std::move(notification));
    }
  } else if (summary.seconds > kLongRun && !IsActive()) {
    notifications_.Show(
        {.summary = tr("“%1” has been aggregated").arg(source),
         .body = tr("Items filed in “%1”: %2").arg(destination, locale.toString(summary.filed))});
  }
}

void RunReports::ShowSourceProblem(const std::string& source, const std::string& problem) {
  ShowWithAction({.summary = tr("“%1” could not be aggregated").arg(QString::fromStdString(source)),
                  .body = QString::fromStdString(problem)});
}

void RunReports::ShowLog() { Window().ShowInFront(); }

LogWindow& RunReports::Window() {
  if (window_ == nullptr) window_ = std::make_unique<LogWindow>(&log_, tasks_);
  return *window_;
}

// The desktop lets a window come to the front that presents the token.
void RunReports::ShowWithAction(Notification notification) {
  notification.actionLabel = tr("Show Log");
  notification.hintWithoutAction = tr("The log lists the failures: File, Show Log…");
  notification.action = [this](const QString& token) {
    tasks_->Post([this, token] {
      SetActivationToken(token);
      Window().ShowFailures();
    });
  };
  notifications_.Show(notification);
}

}  // namespace tessary
