#include "platform/qt/session_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/qt/log_filter.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;

constexpr char kLineTime[] = "2026-11-21 13:32:00.123";

std::vector<std::string> MessagesOf(const QAbstractItemModel& model) {
  std::vector<std::string> messages;
  for (int row = 0; row < model.rowCount(); ++row) {
    const QModelIndex cell = model.index(row, SessionLog::kMessageColumn);
    messages.push_back(model.data(cell, Qt::DisplayRole).toString().toStdString());
  }
  return messages;
}

void Append(SessionLog* log, const std::vector<std::string>& messages) {
  for (const std::string& message : messages) log->Append(kLineTime, message);
  QCoreApplication::processEvents();
}

TEST(SessionLog, HasOneRowPerLine) {
  SessionLog log;
  Append(&log, {"one", "two \xff & <b>"});
  EXPECT_THAT(MessagesOf(log), ElementsAre("one", "two \xEF\xBF\xBD & <b>"));
  EXPECT_EQ("13:32:00.123", log.data(log.index(0, 0), Qt::DisplayRole).toString().toStdString());
  EXPECT_EQ(std::string(kLineTime) + " two \xff & <b>", log.TextOf(1));
  EXPECT_EQ(QString("two \uFFFD &amp; &lt;b&gt;"),
            log.data(log.index(1, SessionLog::kMessageColumn), Qt::ToolTipRole).toString());
}

TEST(SessionLog, AcceptsLinesOfOtherThreads) {
  SessionLog log;
  std::thread([&log] { log.Append(kLineTime, "from a thread"); }).join();
  EXPECT_EQ(0, log.rowCount());
  QCoreApplication::processEvents();
  EXPECT_THAT(MessagesOf(log), ElementsAre("from a thread"));
}

// The newest line may or may not have a row when it is marked.
TEST(SessionLog, MarksNewestLineAsFailure) {
  SessionLog log;
  Append(&log, {"one", "two"});
  log.MarkNewestAsFailure("Permission denied");
  log.Append(kLineTime, "three");
  log.MarkNewestAsFailure("");
  Append(&log, {"four"});
  EXPECT_EQ(2, log.CountFailures());
  EXPECT_FALSE(log.IsFailure(0));
  EXPECT_EQ("Permission denied", log.ProblemOf(1).toStdString());
  EXPECT_EQ("Failed", log.ProblemOf(2).toStdString());
  EXPECT_FALSE(log.IsFailure(3));
  EXPECT_EQ(std::string(kLineTime) + " two — Permission denied", log.TextOf(1));
}

// A run holds the event loop: a window that shows the log must not wait for its end.
TEST(SessionLog, GrowsDuringRunWhileFollowed) {
  SessionLog log;
  log.SetFollowed(true);
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  log.Append(kLineTime, "one");
  EXPECT_EQ(1, log.rowCount());
}

TEST(SessionLog, KeepsNewestLinesAndFailures) {
  SessionLog log;
  log.Append(kLineTime, "first");
  log.MarkNewestAsFailure("lost");
  const size_t count = SessionLog::kMaximumLines + 5;
  for (size_t line = 0; line < count; ++line) log.Append(kLineTime, std::to_string(line));
  QCoreApplication::processEvents();
  ASSERT_LE(static_cast<size_t>(log.rowCount()), SessionLog::kMaximumLines);
  EXPECT_GT(static_cast<size_t>(log.rowCount()), SessionLog::kMaximumLines / 2);
  EXPECT_EQ("first", log.MessageOf(0).toStdString());
  EXPECT_EQ(std::to_string(count - 1), log.MessageOf(log.rowCount() - 1).toStdString());
  EXPECT_EQ(1, log.CountFailures());
}

TEST(SessionLog, RemovesOldestOfManyFailures) {
  SessionLog log;
  for (size_t line = 0; line <= SessionLog::kMaximumLines; ++line) {
    log.Append(kLineTime, std::to_string(line));
    log.MarkNewestAsFailure("Permission denied");
  }
  QCoreApplication::processEvents();
  ASSERT_LE(static_cast<size_t>(log.rowCount()), SessionLog::kMaximumLines);
  EXPECT_EQ(log.rowCount(), log.CountFailures());
  EXPECT_NE("0", log.MessageOf(0).toStdString());
}

TEST(LogFilter, FindsTextInMessageAndProblem) {
  SessionLog log;
  LogFilter filter(&log);
  Append(&log, {"Moved \"Über.txt\"", "other"});
  log.MarkNewestAsFailure("Permission denied");
  filter.SetSearchText("über");
  EXPECT_THAT(MessagesOf(filter), ElementsAre("Moved \"Über.txt\""));
  filter.SetSearchText("DENIED");
  EXPECT_THAT(MessagesOf(filter), ElementsAre("other"));
  Append(&log, {"denied, too"});
  EXPECT_THAT(MessagesOf(filter), ElementsAre("other", "denied, too"));
  filter.SetSearchText("");
  EXPECT_EQ(3, filter.rowCount());
}

TEST(LogFilter, FailuresFirst) {
  SessionLog log;
  LogFilter filter(&log);
  Append(&log, {"1", "2"});
  log.MarkNewestAsFailure("lost");
  Append(&log, {"3"});
  filter.SetFailuresFirst(true);
  EXPECT_THAT(MessagesOf(filter), ElementsAre("2", "1", "3"));
  Append(&log, {"4"});
  log.MarkNewestAsFailure("lost");
  EXPECT_THAT(MessagesOf(filter), ElementsAre("2", "4", "1", "3"));
  filter.SetFailuresFirst(false);
  EXPECT_THAT(MessagesOf(filter), ElementsAre("1", "2", "3", "4"));
}

}  // namespace
}  // namespace tessary::test
