#pragma once

#include <QAbstractTableModel>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QString>
#include <QVariant>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessary {

// The lines that this process has logged, as a model: one row per line, the newest last. A line can
// be marked as a failure, with the problem that caused it.
//
// Holds at most kMaximumLines lines. When it is full, the oldest lines are removed, those that are
// no failures first.
class SessionLog final : public QAbstractTableModel {
  Q_DECLARE_TR_FUNCTIONS(SessionLog)

 public:
  enum Column { kTimeColumn, kMessageColumn, kProblemColumn, kColumnCount };

  static constexpr size_t kMaximumLines = 200'000;

  explicit SessionLog(QObject* parent = nullptr);

  // Adds a line. `time` has the form of LogLine::time. Can be called from any thread. The rows
  // appear when the event loop runs; while the model is followed and the main thread logs, also
  // without it, every 100 ms.
  void Append(std::string_view time, std::string_view message);

  // Marks the line that was added last as a failure, on the main thread. An empty problem is shown
  // as "Failed".
  void MarkNewestAsFailure(const std::string& problem);

  // Whether a visible window shows the model.
  void SetFollowed(bool isFollowed) { isFollowed_ = isFollowed; }

  // Adds the rows of all new lines now.
  void Flush();

  bool IsFailure(int row) const { return LineAt(row).problem.has_value(); }
  int CountFailures() const { return failureCount_; }

  // Returns the message and the problem of a row, for searching.
  QString MessageOf(int row) const;
  QString ProblemOf(int row) const;

  // Returns the row as one line of a text file, without a newline: time, message and, after " — ",
  // the problem. Bytes that are not UTF-8 stay as they are.
  std::string TextOf(int row) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  struct Line {
    std::string text;               // the time, a space and the message
    std::optional<size_t> problem;  // of a failure: an index of problems_
  };

  const Line& LineAt(int row) const { return lines_[static_cast<size_t>(row)]; }
  size_t IndexOfProblem(const std::string& problem);
  void ScheduleFlush();
  void FlushLater();
  void RemoveOldest();

  std::deque<Line> lines_;             // the rows
  std::vector<std::string> problems_;  // distinct
  int failureCount_ = 0;
  bool isFollowed_ = false;
  QElapsedTimer sinceFlush_;

  std::mutex mutex_;  // protects the members below
  std::deque<Line> newLines_;
  bool isFlushScheduled_ = false;
};

}  // namespace tessary
