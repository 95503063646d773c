#include "platform/qt/log_window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeView>
#include <string>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

constexpr char kTime[] = "2026-11-21 13:32:00.123";

class LogWindowTest : public testing::Test {
 protected:
  LogWindowTest() { tasks_.Open(); }

  void Append(const std::string& message, const char* problem = nullptr) {
    log_.Append(kTime, message);
    if (problem != nullptr) log_.MarkNewestAsFailure(problem);
  }

  void Show() {
    window_.ShowInFront();
    QCoreApplication::processEvents();
  }

  template <typename Widget>
  Widget* Find(const char* name) const {
    return window_.findChild<Widget*>(name);
  }

  static std::string Clipboard() { return QGuiApplication::clipboard()->text().toStdString(); }
  static std::string Line(const std::string& text) {
    return std::string(kTime) + " " + text + "\n";
  }

  TaskQueue tasks_;
  SessionLog log_;
  LogWindow window_{&log_, &tasks_};
};

TEST_F(LogWindowTest, CopiesSelectionOrAllLines) {
  for (const char* text : {"one", "two", "three"}) Append(text);
  Show();
  Find<QPushButton>("copyButton")->click();
  EXPECT_EQ(Line("one") + Line("two") + Line("three"), Clipboard());
  auto* view = Find<QTreeView>("lines");
  view->setCurrentIndex(view->model()->index(2, 0));
  view->selectionModel()->select(view->model()->index(0, 0),
                                 QItemSelectionModel::Select | QItemSelectionModel::Rows);
  Find<QPushButton>("copyButton")->click();
  EXPECT_EQ(Line("one") + Line("three"), Clipboard());
}

TEST_F(LogWindowTest, SavesShownLines) {
  const TemporaryFolder folder;
  Append("not \xff UTF-8");
  Append("lost", "Permission denied");
  Append("other");
  Show();
  const QString path = QString::fromStdString(folder / "saved.log");
  Find<QCheckBox>("failuresFirst")->click();
  EXPECT_EQ("", window_.SaveTo(path).toStdString());
  EXPECT_EQ(Line("lost — Permission denied") + Line("not \xff UTF-8") + Line("other"),
            ReadFile(folder / "saved.log"));
  Find<QLineEdit>("search")->setText("OTHER");
  EXPECT_EQ("", window_.SaveTo(path).toStdString());
  EXPECT_EQ(Line("other"), ReadFile(folder / "saved.log"));
}

TEST_F(LogWindowTest, ReportsFailedSave) {
  Append("one");
  Show();
  EXPECT_NE("", window_.SaveTo("/dev/null/x").toStdString());
  EXPECT_NE("", window_.SaveTo("/nowhere/x").toStdString());
}

TEST_F(LogWindowTest, ShowsFailuresFirst) {
  for (int line = 0; line < 1000; ++line) Append(std::to_string(line));
  Append("lost", "Permission denied");
  Find<QLineEdit>("search")->setText("nothing has this text");
  window_.ShowFailures();
  QCoreApplication::processEvents();
  auto* view = Find<QTreeView>("lines");
  const QModelIndex first = view->indexAt(QPoint(4, 4));
  EXPECT_EQ("lost",
            first.siblingAtColumn(SessionLog::kMessageColumn).data().toString().toStdString());
  EXPECT_TRUE(view->selectionModel()->isSelected(first));
  EXPECT_EQ("Lines: 1,001, failures: 1", Find<QLabel>("count")->text().toStdString());
}

// A reader of older lines is not interrupted.
TEST_F(LogWindowTest, FollowsNewestLineOnlyAtEnd) {
  for (int line = 0; line < 1000; ++line) Append(std::to_string(line));
  Show();
  auto* view = Find<QTreeView>("lines");
  const auto isLastVisible = [view] {
    const QModelIndex last = view->model()->index(view->model()->rowCount() - 1, 0);
    return view->viewport()->rect().intersects(view->visualRect(last));
  };
  EXPECT_TRUE(isLastVisible());
  const auto addLine = [this] {
    Append("new");
    log_.Flush();
    QCoreApplication::processEvents();
  };
  addLine();
  EXPECT_TRUE(isLastVisible());
  view->scrollToTop();
  addLine();
  EXPECT_FALSE(isLastVisible());
}

TEST_F(LogWindowTest, Shows100000Lines) {
  constexpr int kLines = 100'000;
  const auto objects = [this] { return window_.findChildren<QObject*>().size(); };
  Append("first");
  Show();
  const auto objectsBefore = objects();
  for (int line = 1; line < kLines; ++line) {
    Append("Moved \"" + std::to_string(line) + ".txt\" to \"txt\"",
           line % 1000 == 0 ? "Permission denied" : nullptr);
  }
  log_.Flush();
  EXPECT_EQ(kLines, Find<QTreeView>("lines")->model()->rowCount());
  EXPECT_EQ(objectsBefore, objects());
  Find<QLineEdit>("search")->setText("\"77777.txt\"");
  EXPECT_EQ(1, Find<QTreeView>("lines")->model()->rowCount());
  EXPECT_EQ("Lines: 1 of 100,000, failures: 99", Find<QLabel>("count")->text().toStdString());
}

TEST_F(LogWindowTest, ButtonsNeedLines) {
  Show();
  EXPECT_FALSE(Find<QPushButton>("copyButton")->isEnabled());
  EXPECT_FALSE(Find<QPushButton>("saveButton")->isEnabled());
  Append("one");
  log_.Flush();
  EXPECT_TRUE(Find<QPushButton>("copyButton")->isEnabled());
  EXPECT_TRUE(Find<QPushButton>("saveButton")->isEnabled());
}

}  // namespace
}  // namespace tessary::test
