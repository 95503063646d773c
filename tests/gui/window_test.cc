#include <QImage>
#include <QPoint>
#include <QVariantMap>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "app/main_window.h"
#include "tests/gui/desktop.h"

// What the desktop program shows on the screen and stores in the user's preferences.
namespace tessary::test {
namespace {

constexpr int kContentTop = 30;  // of the window, below the menu bar

// Differences of brightness, of 255.
constexpr int kNoContrast = 10;
constexpr int kFadedContrast = 150;

// The greatest difference of brightness between a pixel and the first one.
int ContrastOf(const QImage& picture) {
  int contrast = 0;
  for (int y = 0; y < picture.height(); ++y) {
    for (int x = 0; x < picture.width(); ++x) {
      contrast =
          std::max(contrast, std::abs(qGray(picture.pixel(x, y)) - qGray(picture.pixel(0, 0))));
    }
  }
  return contrast;
}

class DesktopWindow : public DesktopTest {
 protected:
  // The status texts that a suspended run may show: those of the items that were moved last, the
  // newest first. The texts follow the run at the display's rate.
  std::vector<std::string> PossibleTexts() const {
    static constexpr std::string_view kMoved = "Moved \"";
    constexpr size_t kItemsPerFrame = 1000;
    std::vector<std::string> texts;
    const std::string log = program_->Output();
    for (size_t at = log.rfind(kMoved); at != std::string::npos && texts.size() < kItemsPerFrame;
         at = at == 0 ? std::string::npos : log.rfind(kMoved, at - 1)) {
      const size_t start = at + kMoved.size();
      texts.push_back("Moving: " + LongSource() + "/" +
                      log.substr(start, log.find('"', start) - start));
    }
    return texts;
  }

  // Suspends the program during the run while it shows the text of an item. A suspended program
  // cannot paint, so that the run itself has painted the text. Resumes and tries again if the
  // program was suspended between moving an item and showing the next text. Returns false if the
  // run ends.
  bool SuspendWithText() {
    const bool isSuspended = WaitUntil([this] {
      program_->Suspend();
      if (CountRemaining() == 0) return true;
      if (ReadText(kStatusText, PossibleTexts())) return true;
      program_->Resume();
      return false;
    });
    return isSuspended && CountRemaining() > 0;
  }
};

TEST_F(DesktopWindow, StatusFollowsRun) {
  StartLongRun();
  EXPECT_TRUE(SuspendWithText());
  const QImage first = TakeScreenshot();
  program_->Resume();
  ASSERT_TRUE(WaitUntil([this] { return CountRemaining() < kManyFiles * 3 / 4; }));
  // The busy indicator, above the status line, moves. Its animation repeats: two pictures may be
  // equal by accident, three hardly.
  const QRect indicator(0, kContentTop, first.width(), first.height() / 2);
  EXPECT_TRUE(SuspendWithText());
  const QImage second = TakeScreenshot();
  program_->Resume();
  EXPECT_TRUE(SuspendWithText());
  const QImage third = TakeScreenshot();
  EXPECT_TRUE(first.copy(indicator) != second.copy(indicator) ||
              first.copy(indicator) != third.copy(indicator));
  program_->Resume();
  EXPECT_TRUE(WaitForEndOfLongRun());
  EXPECT_TRUE(WaitForStatus(kDropPrompt));
}

// A run delivers no expose events, without which pieces of the closed panel would stay on the
// window.
TEST_F(DesktopWindow, IsRepaintedAfterPanelCloses) {
  StartLongRun();
  program_->Suspend();
  ASSERT_GT(CountRemaining(), 0U) << "the run has ended too early";
  const QImage picture = TakeScreenshot();
  program_->Resume();
  ASSERT_FALSE(picture.isNull());
  // The margins left and right of the content are empty, from top to bottom.
  constexpr int kMargin = 16;
  const QRgb empty = picture.pixel(2, kContentTop);
  for (int y = kContentTop; y < picture.height(); ++y) {
    for (int x = 0; x < kMargin; ++x) {
      ASSERT_EQ(empty, picture.pixel(x, y)) << x << ", " << y;
      ASSERT_EQ(empty, picture.pixel(picture.width() - 1 - x, y)) << x << ", " << y;
    }
  }
  EXPECT_TRUE(WaitForEndOfLongRun());
}

TEST_F(DesktopWindow, StopDuringRunHasNoEffect) {
  StartLongRun();
  const QImage window = TakeScreenshot();
  ClickAt(QPoint(window.width() - 50, window.height() - 30));
  ASSERT_GT(CountRemaining(), 0U) << "the run has ended too early";
  EXPECT_TRUE(WaitForEndOfLongRun());
  EXPECT_TRUE(WaitForStatus(kDropPrompt));
}

TEST_F(DesktopWindow, CancelledSheetKeepsChanges) {
  WriteFile(PreferencesPath(), "# mine\nFileOperation = 2\nQuitWhenDone = false\n");
  StartProgram();
  PressKeys({"ctrl+comma"});
  ASSERT_TRUE(WaitUntil([this] {
    return RunTool("xdotool", {"getactivewindow", "getwindowname"}) == "Preferences — Tessary\n";
  }));
  PressKeys({"Down", "Down", "alt+d", "alt+q"});
  ASSERT_TRUE(WaitUntil([this] {
    return ReadFile(PreferencesPath()).find("QuitWhenDone = true") != std::string::npos;
  }));
  PressKeys({"Escape"});
  ASSERT_TRUE(WaitUntil([this] {
    return RunTool("xdotool", {"search", "--onlyvisible", "--name", "^Preferences"}).empty();
  }));
  const std::string stored = ReadFile(PreferencesPath());
  EXPECT_TRUE(stored.starts_with("# mine\nFileOperation = 2\nQuitWhenDone = true\n")) << stored;
  EXPECT_NE(std::string::npos, stored.find("TessaryType = 3\n")) << stored;
  EXPECT_NE(std::string::npos, stored.find("RecurseFolders = true\n")) << stored;
}

// The sheet shows the kind that another program has stored: Down chooses the one after it.
TEST_F(DesktopWindow, SheetShowsKindStoredByOthers) {
  WriteFile(PreferencesPath(), "TessaryType = 1\n");
  StartProgram();
  WriteFile(PreferencesPath(), "TessaryType = 3\n");
  PressKeys({"ctrl+comma"});
  ASSERT_TRUE(WaitUntil([this] { return !FindVisibleWindow("^Preferences").isEmpty(); }));
  ASSERT_TRUE(WaitUntil([this] {
    return RunTool("xdotool", {"getactivewindow", "getwindowname"}) == "Preferences — Tessary\n";
  }));
  PressKeys({"Down"});
  EXPECT_TRUE(WaitUntil([this] { return ReadFile(PreferencesPath()) == "TessaryType = 4\n"; }))
      << ReadFile(PreferencesPath());
}

// The text and the fade are visible for a moment only, so that the program is suspended for each
// picture.
TEST_F(DesktopWindow, QuitWhenDoneShowsByeAndFades) {
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  StartRun(MakeSource("letters"));
  EXPECT_TRUE(WaitUntil([this] {
    program_->Suspend();
    const bool isShown = ReadText(kStatusText, {"Bye."}).has_value();
    program_->Resume();
    return isShown || !program_->IsRunning();
  }));
  EXPECT_TRUE(program_->IsRunning()) << "the program exited without showing the text";
  bool hasFaded = false;
  WaitUntil([this, &hasFaded] {
    program_->Suspend();
    const int contrast = ContrastOf(TakeScreenshot());
    program_->Resume();
    hasFaded = hasFaded || (contrast > kNoContrast && contrast < kFadedContrast);
    return hasFaded || !program_->IsRunning();
  });
  EXPECT_TRUE(hasFaded);
  EXPECT_EQ(0, program_->WaitForExit());
  EXPECT_TRUE(Exists(Destination() + "/txt/letters.txt"));
}

TEST_F(DesktopWindow, RefusesRequestsWhileQuitting) {
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  StartRun(MakeSource("letters"));
  EXPECT_TRUE(WaitUntil([this] {
    return !CallProgram("org.freedesktop.Application", "Activate", {QVariantMap()}).empty();
  }));
  EXPECT_TRUE(program_->IsRunning()) << "requests were accepted until the exit";
  // Another instance starts meanwhile, and serves requests.
  BackgroundProcess second(TESSARY, {}, environment_, At("second-log"));
  EXPECT_EQ(0, program_->WaitForExit());
  EXPECT_TRUE(WaitUntil([this] {
    return CallProgram("org.freedesktop.Application", "Activate", {QVariantMap()}).empty();
  }));
  EXPECT_TRUE(second.IsRunning());
}

// The address of the store page reaches the desktop unchanged. Its item is above the web page and
// About.
TEST_F(DesktopWindow, HelpMenuOpensStorePage) {
  WriteFile(At("bin/xdg-open"), "#!/bin/sh\nprintf %s \"$1\" > " + At("opened") + "\n");
  std::filesystem::permissions(At("bin/xdg-open"), std::filesystem::perms::owner_all);
  StartProgram();
  PressKeys({"alt+h", "Up", "Up", "Up", "Return"});
  EXPECT_TRUE(
      WaitUntil([this] { return Exists(At("opened")) && !ReadFile(At("opened")).empty(); }));
  EXPECT_EQ("appstream://org.tessary.Tessary", ReadFile(At("opened")));
}

TEST_F(DesktopWindow, SourceAsDestinationIsRefused) {
  const std::string source = MakeSource("letters");
  StartProgram({source});
  AnswerPanel(source);
  EXPECT_TRUE(
      WaitForStatus("The destination directory can not be the same as the source directory"));
  EXPECT_EQ(std::vector<std::string>{"letters.txt"}, NamesIn(source));
}

TEST_F(DesktopWindow, ClosingQuits) {
  StartProgram();
  PressKeys({"alt+F4"});
  EXPECT_EQ(0, program_->WaitForExit());
}

TEST_F(DesktopWindow, QuitCommandQuits) {
  StartProgram();
  PressKeys({"ctrl+q"});
  EXPECT_EQ(0, program_->WaitForExit());
}

TEST_F(DesktopWindow, OpensDestinationInFolderHandler) {
  WriteFile(At("data/applications/other.desktop"),
            "[Desktop Entry]\nType=Application\nExec=/bin/cp -r -t " + At("opened") + " %f\n");
  MakeFolder(At("opened"));
  WriteFile(At("config/mimeapps.list"),
            "[Default Applications]\n"
            "inode/directory=org.tessary.Tessary.desktop;missing.desktop;other.desktop;\n");
  StartRun(MakeSource("letters"));
  EXPECT_TRUE(WaitUntil([this] { return Exists(At("opened/sorted/txt/letters.txt")); }));
  EXPECT_EQ(0, CountInLog("No application on this desktop"));
}

TEST_F(DesktopWindow, LogsMissingFolderHandler) {
  StartRun(MakeSource("letters"));
  EXPECT_TRUE(
      WaitForLog("No application on this desktop opens the folder \"" + Destination() + "\"."));
  EXPECT_TRUE(Exists(Destination() + "/txt/letters.txt"));
}

}  // namespace
}  // namespace tessary::test
