#include "platform/qt/session_log.h"

#include <QApplication>
#include <QMetaObject>
#include <QStyle>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace tessary {
namespace {

constexpr int kFlushInterval = 100;  // milliseconds, while the model is followed
constexpr size_t kTimeLength = std::string_view("2026-11-21 13:32:00.123").size();
constexpr qsizetype kDateLength = 11;  // with the space after it

// How many lines are removed at once: removing few at a time would reset the model too often.
constexpr size_t kRemovedLines = SessionLog::kMaximumLines / 10;
constexpr size_t kMaximumNewLines = kRemovedLines / 2;

QString ToText(std::string_view bytes) {
  return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

}  // namespace

SessionLog::SessionLog(QObject* parent) : QAbstractTableModel(parent) { sinceFlush_.start(); }

void SessionLog::Append(std::string_view time, std::string_view message) {
  size_t count = 0;
  {
    const std::scoped_lock lock(mutex_);
    Line& line = newLines_.emplace_back();
    line.text.reserve(time.size() + 1 + message.size());
    line.text.append(time).append(1, ' ').append(message);
    count = newLines_.size();
    ScheduleFlush();
  }
  if (QThread::currentThread() != thread()) return;
  // A run holds the event loop, which would otherwise add the rows.
  const bool isVisibleChange = isFollowed_ && sinceFlush_.elapsed() >= kFlushInterval;
  if (isVisibleChange || count >= kMaximumNewLines) Flush();
}

void SessionLog::MarkNewestAsFailure(const std::string& problem) {
  const size_t number = IndexOfProblem(problem.empty() ? tr("Failed").toStdString() : problem);
  {
    const std::scoped_lock lock(mutex_);
    if (!newLines_.empty()) {
      newLines_.back().problem = number;
      return;
    }
  }
  if (lines_.empty() || lines_.back().problem) return;
  lines_.back().problem = number;
  ++failureCount_;
  const int row = rowCount() - 1;
  Q_EMIT dataChanged(index(row, 0), index(row, kColumnCount - 1));
}

QString SessionLog::MessageOf(int row) const {
  return ToText(std::string_view(LineAt(row).text).substr(kTimeLength + 1));
}

QString SessionLog::ProblemOf(int row) const {
  const Line& line = LineAt(row);
  return line.problem ? ToText(problems_[*line.problem]) : QString();
}

std::string SessionLog::TextOf(int row) const {
  const Line& line = LineAt(row);
  return line.problem ? line.text + " — " + problems_[*line.problem] : line.text;
}

int SessionLog::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(lines_.size());
}

int SessionLog::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : kColumnCount;
}

QVariant SessionLog::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  const int row = index.row();
  if (role == Qt::DecorationRole && index.column() == kProblemColumn && IsFailure(row)) {
    return QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning);
  }
  // Tool tips render HTML. A file name must not be taken for markup.
  if (role == Qt::ToolTipRole) {
    return index.column() == kProblemColumn ? ProblemOf(row).toHtmlEscaped()
                                            : MessageOf(row).toHtmlEscaped();
  }
  if (role != Qt::DisplayRole) return {};
  switch (index.column()) {
    case kTimeColumn:
      return ToText(std::string_view(LineAt(row).text).substr(0, kTimeLength)).mid(kDateLength);
    case kMessageColumn:
      return MessageOf(row);
    default:
      return ProblemOf(row);
  }
}

QVariant SessionLog::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  switch (section) {
    case kTimeColumn:
      return tr("Time");
    case kMessageColumn:
      return tr("Message");
    default:
      return tr("Problem");
  }
}

size_t SessionLog::IndexOfProblem(const std::string& problem) {
  const auto found = std::find(problems_.begin(), problems_.end(), problem);
  const auto index = static_cast<size_t>(found - problems_.begin());
  if (found == problems_.end()) problems_.push_back(problem);
  return index;
}

// The caller holds the mutex. One call is queued for any number of lines.
void SessionLog::ScheduleFlush() {
  if (isFlushScheduled_) return;
  isFlushScheduled_ = true;
  QMetaObject::invokeMethod(
      this, [this] { FlushLater(); }, Qt::QueuedConnection);
}

// Limits the rate: views do much work for each change of a model.
void SessionLog::FlushLater() {
  const auto elapsed = static_cast<int>(sinceFlush_.elapsed());
  if (!isFollowed_ || elapsed >= kFlushInterval) {
    Flush();
  } else {
    QTimer::singleShot(kFlushInterval - elapsed, this, [this] { Flush(); });
  }
}

void SessionLog::Flush() {
  sinceFlush_.restart();
  std::deque<Line> added;
  {
    const std::scoped_lock lock(mutex_);
    // Threads that log wait for the swap only, not for the views.
    added.swap(newLines_);
    isFlushScheduled_ = false;
  }
  if (added.empty()) return;
  if (lines_.size() + added.size() > kMaximumLines) RemoveOldest();
  const int first = rowCount();
  beginInsertRows({}, first, first + static_cast<int>(added.size()) - 1);
  for (Line& line : added) {
    if (line.problem) ++failureCount_;
    lines_.push_back(std::move(line));
  }
  endInsertRows();
}

void SessionLog::RemoveOldest() {
  beginResetModel();
  const size_t kept = std::min(lines_.size(), kMaximumLines) - kRemovedLines;
  // Lines of failures are removed only if there are no others: users look for them.
  size_t excess = lines_.size() - kept;
  std::erase_if(lines_, [&excess](const Line& line) {
    if (excess == 0 || line.problem) return false;
    --excess;
    return true;
  });
  failureCount_ -= static_cast<int>(excess);
  lines_.erase(lines_.begin(), lines_.begin() + static_cast<std::ptrdiff_t>(excess));
  endResetModel();
}

}  // namespace tessary
