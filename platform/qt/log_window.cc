#include "platform/qt/log_window.h"

#include <QClipboard>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QKeySequence>
#include <QLocale>
#include <QMessageBox>
#include <QSaveFile>
#include <QScrollBar>
#include <QShortcut>
#include <QtGlobal>
#include <algorithm>
#include <string>

#include "platform/qt/forms/log_window.ui.h"

namespace tessary {
namespace {

constexpr int kProblemWidth = 28;  // characters
constexpr int kCellMargins = 16;   // device-independent pixels

}  // namespace

LogWindow::LogWindow(SessionLog* log, TaskQueue* tasks)
    : log_(log), tasks_(tasks), filter_(log), form_(std::make_unique<Ui::LogWindow>()) {
  form_->setupUi(this);
  form_->lines->setModel(&filter_);
  SetUpColumns();
  AddShortcuts();
  connect(form_->search, &QLineEdit::textChanged, &filter_,
          [this](const QString& text) { filter_.SetSearchText(text); });
  connect(form_->failuresFirst, &QCheckBox::toggled, &filter_,
          [this](bool isChecked) { filter_.SetFailuresFirst(isChecked); });
  connect(form_->copyButton, &QPushButton::clicked, this, [this] { Copy(); });
  // The file chooser runs a nested event loop, in which the program's other tasks must wait.
  connect(form_->saveButton, &QPushButton::clicked, this,
          [this] { tasks_->RunOrPost([this] { SaveAs(); }); });
  connect(&filter_, &LogFilter::rowsAboutToBeInserted, this, [this] {
    const QScrollBar* bar = form_->lines->verticalScrollBar();
    isAtEnd_ = bar->value() == bar->maximum();
  });
  connect(&filter_, &LogFilter::rowsInserted, this, [this] { FollowNewest(); });
  connect(&filter_, &LogFilter::layoutChanged, this, [this] { ShowCount(); });
  connect(&filter_, &LogFilter::rowsRemoved, this, [this] { ShowCount(); });
  connect(&filter_, &LogFilter::modelReset, this, [this] { ShowCount(); });
  connect(&filter_, &LogFilter::dataChanged, this, [this] { ShowCount(); });
  ShowCount();
}

LogWindow::~LogWindow() = default;

void LogWindow::ShowInFront() {
  if (isMinimized()) showNormal();
  log_->Flush();
  show();
  raise();
  activateWindow();
}

void LogWindow::ShowFailures() {
  form_->search->clear();
  form_->failuresFirst->setChecked(true);
  ShowInFront();
  form_->lines->setCurrentIndex(filter_.index(0, 0));
  form_->lines->scrollToTop();
  form_->lines->setFocus();
}

void LogWindow::Copy() const {
  QModelIndexList rows = form_->lines->selectionModel()->selectedRows();
  if (rows.isEmpty()) rows = AllRows();
  std::sort(rows.begin(), rows.end());
  QGuiApplication::clipboard()->setText(QString::fromStdString(TextOf(rows)));
}

QString LogWindow::SaveTo(const QString& path) const {
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly)) return file.errorString();
  const std::string text = TextOf(AllRows());
  const auto size = static_cast<qint64>(text.size());
  if (file.write(text.data(), size) == size && file.commit()) return {};
  return file.errorString();
}

void LogWindow::showEvent(QShowEvent* event) {
  log_->SetFollowed(true);
  QWidget::showEvent(event);
  if (isAtEnd_) form_->lines->scrollToBottom();
}

void LogWindow::hideEvent(QHideEvent* event) {
  log_->SetFollowed(false);
  QWidget::hideEvent(event);
}

void LogWindow::AddShortcuts() {
  const auto add = [this](const QKeySequence& keys, QWidget* widget, auto action) {
    auto* shortcut = new QShortcut(keys, widget);
    shortcut->setContext(Qt::WidgetWithChildrenShortcut);
    connect(shortcut, &QShortcut::activated, this, action);
  };
  add(QKeySequence::Find, this, [this] { form_->search->setFocus(Qt::ShortcutFocusReason); });
  add(QKeySequence::Copy, form_->lines, [this] { Copy(); });
  add(QKeySequence::Save, this, [this] { form_->saveButton->click(); });
  add(QKeySequence::Close, this, [this] { close(); });
  add(Qt::Key_Escape, this, [this] { close(); });
}

void LogWindow::SetUpColumns() {
  QHeaderView* header = form_->lines->header();
  const QFontMetrics metrics = fontMetrics();
  header->setStretchLastSection(false);
  header->setSectionsMovable(false);
  header->setSectionResizeMode(SessionLog::kMessageColumn, QHeaderView::Stretch);
  header->resizeSection(SessionLog::kTimeColumn,
                        metrics.horizontalAdvance("00:00:00.000") + kCellMargins);
  header->resizeSection(SessionLog::kProblemColumn,
                        metrics.averageCharWidth() * kProblemWidth + kCellMargins);
}

void LogWindow::ShowCount() {
  const QLocale locale;
  const int all = log_->rowCount();
  const int shown = filter_.rowCount();
  const QString failures = locale.toString(log_->CountFailures());
  form_->count->setText(shown == all
                            ? tr("Lines: %1, failures: %2").arg(locale.toString(all), failures)
                            : tr("Lines: %1 of %2, failures: %3")
                                  .arg(locale.toString(shown), locale.toString(all), failures));
  form_->copyButton->setEnabled(shown > 0);
  form_->saveButton->setEnabled(shown > 0);
}

// Scrolls only if the newest line was visible, so that a user can read older lines during a run.
void LogWindow::FollowNewest() {
  ShowCount();
  if (isAtEnd_ && !form_->failuresFirst->isChecked()) form_->lines->scrollToBottom();
}

void LogWindow::SaveAs() {
  const QString path =
      QFileDialog::getSaveFileName(this, tr("Save Log"), QDir::home().filePath("tessary.log"));
  if (path.isEmpty()) return;
  const QString problem = SaveTo(path);
  if (problem.isEmpty()) return;
  QMessageBox::warning(this, tr("Save Log"),
                       tr("The log could not be saved as “%1”: %2").arg(path, problem));
}

std::string LogWindow::TextOf(const QModelIndexList& rows) const {
  std::string text;
  for (const QModelIndex& row : rows) {
    text += log_->TextOf(filter_.mapToSource(row).row());
    text += '\n';
  }
  return text;
}

QModelIndexList LogWindow::AllRows() const {
  QModelIndexList rows;
  rows.reserve(filter_.rowCount());
  for (int row = 0; row < filter_.rowCount(); ++row) rows.append(filter_.index(row, 0));
  return rows;
}

}  // namespace tessary
