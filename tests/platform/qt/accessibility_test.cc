#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QCoreApplication>
#include <QDialog>
#include <QImage>
#include <QPushButton>
#include <memory>
#include <string>
#include <vector>

#include "platform/qt/accessible_roles.h"
#include "platform/qt/busy_indicator.h"
#include "platform/qt/elided_label.h"
#include "platform/qt/nib.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;

constexpr char kPrompt[] =
    "Drop a folder on the application or this window to aggregate the files in it.";

class AccessibilityTest : public testing::Test {
 protected:
  AccessibilityTest() { InstallAccessibleRoles(); }
  ~AccessibilityTest() override { QApplication::setLayoutDirection(Qt::LeftToRight); }

  QWidget* MakeWindow(const std::string& name) {
    QtNib nib(&ui_);
    EXPECT_EQ(noErr, nib.CreateWindow(name, &window_));
    return dynamic_cast<QtWindow&>(*window_).Widget();
  }

  static QAccessibleInterface* InterfaceOf(const QWidget* window, const char* name) {
    return QAccessible::queryAccessibleInterface(window->findChild<QWidget*>(name));
  }

  QtUiState ui_;
  std::unique_ptr<Window> window_;
};

TEST_F(AccessibilityTest, WidgetsHaveRoles) {
  QWidget* window = MakeWindow("MainWindow");
  window->show();
  QAccessibleInterface* indicator = InterfaceOf(window, "activityIndicator");
  QAccessibleInterface* artwork = InterfaceOf(window, "idleDecoration");
  EXPECT_EQ(QAccessible::ProgressBar, indicator->role());
  EXPECT_FALSE(indicator->state().busy);
  window->findChild<QWidget*>("activityIndicator")->show();
  EXPECT_TRUE(indicator->state().busy);
  EXPECT_EQ(QAccessible::StaticText, artwork->role());
  EXPECT_EQ("Drop target for folders", artwork->text(QAccessible::Name).toStdString());
}

// Qt reports each change of a name to assistive programs.
TEST_F(AccessibilityTest, NameSaysWhetherRunIsActive) {
  QWidget* window = MakeWindow("MainWindow");
  window->show();
  auto* indicator = dynamic_cast<BusyIndicator*>(window->findChild<QWidget*>("activityIndicator"));
  ASSERT_NE(nullptr, indicator);
  std::vector<std::string> names;
  for (int run = 0; run < 2; ++run) {
    indicator->show();
    names.push_back(indicator->accessibleName().toStdString());
    indicator->Advance();
    indicator->hide();
    names.push_back(indicator->accessibleName().toStdString());
  }
  EXPECT_THAT(names, ElementsAre("Working", "Idle", "Working", "Idle"));
}

TEST_F(AccessibilityTest, PromptWrapsAtMinimumWidth) {
  QWidget* window = MakeWindow("MainWindow");
  window->show();
  auto* label = dynamic_cast<ElidedLabel*>(window->findChild<QWidget*>("statusText"));
  ASSERT_NE(nullptr, label);
  for (const int points : {9, 12, 24}) {
    QFont font = window->font();
    font.setPointSize(points);
    window->setFont(font);
    QCoreApplication::processEvents();
    window->resize(window->minimumSizeHint());
    QCoreApplication::processEvents();
    EXPECT_EQ(kPrompt, label->Lines().join(' ').toStdString()) << points;
    EXPECT_EQ(2, label->Lines().size()) << points;
  }
}

TEST_F(AccessibilityTest, TabOrderFollowsSheetLayout) {
  QWidget* sheet = MakeWindow("PreferencesWindow");
  sheet->show();
  sheet->activateWindow();
  QWidget* widget = sheet->findChild<QWidget*>("kind");
  std::vector<std::string> names;
  for (int step = 0; step < 5; ++step) {
    names.push_back(widget->objectName().toStdString());
    do {
      widget = widget->nextInFocusChain();
    } while ((widget->focusPolicy() & Qt::TabFocus) == 0 || !widget->isVisible());
  }
  EXPECT_THAT(names,
              ElementsAre("kind", "recurseFolders", "quitWhenDone", "cancelButton", "okButton"));
  const auto left = [sheet](const char* name) {
    return sheet->findChild<QWidget*>(name)->geometry().left();
  };
  EXPECT_LT(left("cancelButton"), left("okButton"));
}

// Returns the middle of the pixels of the label that differ from the background.
int MiddleOfInk(QWidget* label) {
  const QImage image = label->grab().toImage();
  int first = image.width();
  int last = 0;
  for (int x = 0; x < image.width(); ++x) {
    for (int y = 0; y < image.height(); ++y) {
      if (image.pixel(x, y) == image.pixel(0, 0)) continue;
      first = std::min(first, x);
      last = x;
    }
  }
  return (first + last) / 2;
}

TEST_F(AccessibilityTest, RightToLeftLayoutIsMirrored) {
  for (const bool isMirrored : {false, true}) {
    QApplication::setLayoutDirection(isMirrored ? Qt::RightToLeft : Qt::LeftToRight);
    QWidget* window = MakeWindow("MainWindow");
    window->show();
    auto* label = dynamic_cast<ElidedLabel*>(window->findChild<QWidget*>("elapsedTimeText"));
    auto* stop = window->findChild<QPushButton*>("stopControl");
    stop->show();
    label->SetPlainText("Elapsed");
    QCoreApplication::processEvents();
    const QWidget* content = label->parentWidget();
    EXPECT_EQ(isMirrored, stop->geometry().center().x() < content->width() / 2);
    EXPECT_EQ(isMirrored, MiddleOfInk(label) > label->width() / 2);
  }
}

}  // namespace
}  // namespace tessary::test
