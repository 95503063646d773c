#include "platform/qt/open_panel.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialogButtonBox>
#include <QFile>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <memory>
#include <string>

#include "platform/qt/elided_label.h"
#include "platform/qt/panel_state.h"
#include "tests/support/environment_variable.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

class FolderPanelTest : public testing::Test {
 protected:
  FolderPanelTest() {
    MakeFolder(folder_ / "parent/source");
    MakeFolder(folder_ / "chosen");
  }

  std::unique_ptr<FolderPanel> MakePanel(const std::optional<PanelSource>& source) const {
    auto panel = std::make_unique<FolderPanel>(
        NSOpenPanel{.title = "Choose It", .prompt = "Choose It", .message = "The message:"}, source,
        nullptr);
    panel->show();
    return panel;
  }

  static void Press(QWidget* widget, int key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(widget, &press);
  }

  static std::string DirectoryOf(const FolderPanel& panel) {
    return QFile::encodeName(panel.directory().absolutePath()).toStdString();
  }

  static std::string SourceTextOf(const FolderPanel& panel) {
    const auto* line = dynamic_cast<ElidedLabel*>(panel.findChild<QLabel*>("source"));
    return line == nullptr ? "" : line->Text().toStdString();
  }

  const TemporaryFolder folder_;
  const EnvironmentVariable state_{"XDG_STATE_HOME", folder_ / "state"};
  const PanelSource source_{.path = folder_ / "parent/source"};
};

TEST_F(FolderPanelTest, NamesSource) {
  EXPECT_EQ("", SourceTextOf(*MakePanel(std::nullopt)));
  EXPECT_EQ("Source: " + source_.path, SourceTextOf(*MakePanel(source_)));
  const auto panel = MakePanel(PanelSource{.path = "/a", .number = 2, .count = 3});
  EXPECT_EQ("Source 2 of 3: /a", SourceTextOf(*panel));
  EXPECT_EQ("Choose It", panel->windowTitle().toStdString());
  EXPECT_EQ("The message: Source 2 of 3: /a", panel->accessibleDescription().toStdString());
}

TEST_F(FolderPanelTest, OpensInParentOfSourceAtFirst) {
  EXPECT_EQ(folder_ / "parent", DirectoryOf(*MakePanel(source_)));
  EXPECT_EQ(QDir::homePath().toStdString(), DirectoryOf(*MakePanel(std::nullopt)));
}

TEST_F(FolderPanelTest, OpensInStoredFolder) {
  StoreLastFolderOfPanel("Choose It", QString::fromStdString(folder_ / "chosen"));
  EXPECT_EQ(folder_ / "chosen", DirectoryOf(*MakePanel(source_)));
  StoreLastFolderOfPanel("Choose It", QString::fromStdString(folder_ / "gone"));
  EXPECT_EQ(folder_ / "parent", DirectoryOf(*MakePanel(source_)));
}

TEST_F(FolderPanelTest, ReturnNeedsChoice) {
  const auto panel = MakePanel(source_);
  auto* name = panel->findChild<QLineEdit*>("fileNameEdit");
  ASSERT_NE(nullptr, name);
  for (QWidget* widget : panel->findChildren<QWidget*>()) {
    if (qobject_cast<QPushButton*>(widget) == nullptr) Press(widget, Qt::Key_Return);
  }
  Press(panel.get(), Qt::Key_Enter);
  EXPECT_TRUE(panel->isVisible());
  name->setText("source");
  Press(name, Qt::Key_Return);
  EXPECT_FALSE(panel->isVisible());
  EXPECT_EQ(QDialog::Accepted, panel->result());
}

TEST_F(FolderPanelTest, ButtonChoosesListedFolder) {
  const auto panel = MakePanel(source_);
  panel->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open)->click();
  EXPECT_FALSE(panel->isVisible());
  EXPECT_EQ(QDialog::Accepted, panel->result());
  EXPECT_EQ(folder_ / "parent", panel->selectedFiles().value(0).toStdString());
}

TEST(PanelState, KeepsAnyPath) {
  const TemporaryFolder folder;
  const EnvironmentVariable state("XDG_STATE_HOME", folder / "state");
  EXPECT_EQ("", LastFolderOfPanel("Panel").toStdString());
  for (const char* name : {"caf\xC3\xA9", "a b=c;d,%41\"", "line\nbreak"}) {
    MakeFolder(folder / name);
    StoreLastFolderOfPanel("Panel", QFile::decodeName((folder / name).c_str()));
    EXPECT_EQ(folder / name, QFile::encodeName(LastFolderOfPanel("Panel")).toStdString());
  }
  EXPECT_EQ("", LastFolderOfPanel("Other").toStdString());
}

}  // namespace
}  // namespace tessary::test
