#include "platform/qt/menu.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAction>
#include <QMainWindow>
#include <QMenuBar>
#include <memory>
#include <string>
#include <vector>

#include "platform/qt/nib.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;

constexpr OSType kCommand = FourCharCode("slog");

class QtMenuTest : public testing::Test {
 protected:
  QtMenuTest() {
    QtNib nib(&ui_);
    EXPECT_EQ(noErr, nib.CreateMenuBar("MenuBar"));
    ui_.menuBar = std::move(ui_.newMenuBar);
    EXPECT_EQ(noErr, nib.CreateWindow("MainWindow", &window_));
    ui_.tasks.Open();
  }

  QMenu* MenuNamed(const std::string& name) const {
    return ui_.mainWindow->Widget()->findChild<QMenu*>(QString::fromStdString(name));
  }

  // The texts of the items; a separator has none.
  std::vector<std::string> Texts(const std::string& menu) const {
    std::vector<std::string> texts;
    for (const QAction* item : MenuNamed(menu)->actions()) {
      texts.push_back(item->isSeparator() ? "" : item->text().toStdString());
    }
    return texts;
  }

  QtUiState ui_;
  std::unique_ptr<Window> window_;
};

// Like start-up, inserts both items at the place that was free first.
TEST_F(QtMenuTest, HelpItemsAreAboveAbout) {
  QtMenu* help = ui_.menuBar->HelpMenu();
  const auto after = static_cast<uint16_t>(help->FirstFreeItem() - 1);
  EXPECT_EQ(noErr, help->InsertItem("Tessary Web Page", after, FourCharCode("WEB1")));
  EXPECT_EQ(noErr, help->InsertItem("View in Mac App Store...", after, FourCharCode("MAS1")));
  EXPECT_THAT(Texts("helpMenu"), ElementsAre("Tessary &Help", "", "View in Mac App Store...",
                                             "Tessary Web Page", "", "&About Tessary"));
}

TEST_F(QtMenuTest, FileMenuHasLog) {
  EXPECT_THAT(Texts("fileMenu"),
              ElementsAre("&Open…", "Show &Log…", "", "&Preferences…", "", "&Quit"));
}

TEST_F(QtMenuTest, StandardHandlerGetsUnhandledCommand) {
  int calls = 0;
  ui_.commands.SetStandardHandler(kCommand, [&calls] { ++calls; });
  QAction* item = nullptr;
  for (QAction* candidate : MenuNamed("fileMenu")->actions()) {
    if (candidate->objectName() == "showLogAction") item = candidate;
  }
  ASSERT_NE(nullptr, item);
  item->trigger();
  EXPECT_EQ(1, calls);
  Status answer = noErr;
  EventTarget application = ui_.application;
  ASSERT_EQ(noErr, application.InstallHandler(kEventClassCommand, kEventCommandProcess,
                                              [&answer](const Event&) { return answer; }));
  item->trigger();
  EXPECT_EQ(1, calls);
  answer = eventNotHandledErr;
  item->trigger();
  EXPECT_EQ(2, calls);
}

}  // namespace
}  // namespace tessary::test
