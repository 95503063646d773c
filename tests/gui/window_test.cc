#include <QPoint>
#include <string>
#include <vector>

#include "app/main_window.h"
#include "tests/gui/desktop.h"

// What the desktop program shows and stores, seen on the screen and in its user's folders.
namespace tessary::test {
namespace {

constexpr int kStatusText = 1;
constexpr int kManyFiles = 3000;
constexpr int kContentTop = 30;  // of the window, below the menu bar

class DesktopWindow : public DesktopTest {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    if (!IsSkipped()) MakeFolder(At("filed"));
  }

  // Fills a folder with files that take a while to file, and has their run begin.
  void StartLongRun() {
    for (int file = 0; file < kManyFiles; ++file) {
      WriteFile(At("many/" + std::to_string(file) + ".txt"));
    }
    StartProgram({QString::fromStdString(At("many"))});
    AnswerPanel(At("filed"));
    ASSERT_TRUE(WaitUntil([this] { return CountInLog("Moved \"") > kManyFiles / 50; }));
  }

  // The status texts that are possible for a run that stands still: that of the item filed last, or
  // of one that is still to be filed.
  std::vector<std::string> PossibleTexts() const {
    static constexpr std::string_view kMoved = "Moved \"";
    std::vector<std::string> texts;
    const std::string log = program_->Output();
    const size_t start = log.rfind(kMoved) + kMoved.size();
    texts.push_back("Moving: " + At("many/" + log.substr(start, log.find('"', start) - start)));
    for (const std::string& name : NamesIn(At("many"))) {
      texts.push_back("Moving: " + At("many/" + name));
    }
    return texts;
  }

  // Stops the program in the middle of the run, with the text of an item on the screen: standing
  // still it cannot paint any more, so that what is there was painted by the run. It may stand
  // between filing an item and telling of it, and then is let go on for a moment.
  bool SuspendWithText() {
    return WaitUntil([this] {
             program_->Suspend();
             if (NamesIn(At("many")).empty()) return true;
             if (ReadText(kStatusText, PossibleTexts())) return true;
             program_->Resume();
             return false;
           }) &&
           !NamesIn(At("many")).empty();
  }

  bool WaitForEndOfRun() {
    return WaitUntil([this] { return NamesIn(At("filed/txt")).size() == kManyFiles; });
  }
};

TEST_F(DesktopWindow, TheStatusLineTellsDuringTheRunWhichFileIsFiled) {
  WriteFile(PreferencesPath(), "FileOperation = 1\n");
  StartLongRun();
  EXPECT_TRUE(SuspendWithText());
  const QImage first = TakeScreenshot();
  program_->Resume();
  ASSERT_TRUE(WaitUntil([this] { return NamesIn(At("many")).size() < kManyFiles * 3 / 4; }));
  // The busy indicator, above the status line, moves on. It goes round, so that it may be met twice
  // at the same place, and hardly thrice.
  const QRect picture(0, kContentTop, first.width(), first.height() / 2);
  EXPECT_TRUE(SuspendWithText());
  const QImage second = TakeScreenshot();
  program_->Resume();
  EXPECT_TRUE(SuspendWithText());
  const QImage third = TakeScreenshot();
  EXPECT_TRUE(first.copy(picture) != second.copy(picture) ||
              first.copy(picture) != third.copy(picture));
  program_->Resume();
  EXPECT_TRUE(WaitForEndOfRun());
  EXPECT_TRUE(WaitForText(kStatusText, {kDropPrompt}).has_value());
}

// Without the events that tell of it, the window would keep pieces of the panel that covered it.
TEST_F(DesktopWindow, ThePanelLeavesNothingBehindInTheWindowDuringTheRun) {
  WriteFile(PreferencesPath(), "FileOperation = 1\n");
  StartLongRun();
  program_->Suspend();
  ASSERT_FALSE(NamesIn(At("many")).empty()) << "the run is over";
  const QImage picture = TakeScreenshot();
  program_->Resume();
  ASSERT_FALSE(picture.isNull());
  // The margins left and right of everything are as empty as each other, all the way down.
  constexpr int kMargin = 16;
  const QRgb empty = picture.pixel(2, kContentTop);
  for (int y = kContentTop; y < picture.height(); ++y) {
    for (int x = 0; x < kMargin; ++x) {
      ASSERT_EQ(empty, picture.pixel(x, y)) << x << ", " << y;
      ASSERT_EQ(empty, picture.pixel(picture.width() - 1 - x, y)) << x << ", " << y;
    }
  }
  EXPECT_TRUE(WaitForEndOfRun());
}

TEST_F(DesktopWindow, AClickOnStopDuringTheRunStopsNothing) {
  WriteFile(PreferencesPath(), "FileOperation = 1\n");
  StartLongRun();
  const QImage window = TakeScreenshot();
  ClickAt(QPoint(window.width() - 50, window.height() - 30));
  ASSERT_FALSE(NamesIn(At("many")).empty()) << "the run is over";
  EXPECT_TRUE(WaitForEndOfRun());
  EXPECT_TRUE(WaitForText(kStatusText, {kDropPrompt}).has_value());
}

TEST_F(DesktopWindow, ChangesInTheSheetAreStoredThoughItIsCancelled) {
  WriteFile(PreferencesPath(), "# mine\nFileOperation = 2\nQuitWhenDone = false\n");
  StartProgram();
  PressKeys({"ctrl+comma"});
  ASSERT_TRUE(WaitUntil([this] {
    return RunTool("xdotool", {"getactivewindow", "getwindowname"}) == "Preferences\n";
  }));
  PressKeys({"Down", "Down", "alt+d", "alt+q"});
  ASSERT_TRUE(WaitUntil([this] {
    return ReadFile(PreferencesPath()).find("QuitWhenDone = true") != std::string::npos;
  }));
  PressKeys({"Escape"});
  ASSERT_TRUE(WaitUntil([this] {
    return RunTool("xdotool", {"search", "--onlyvisible", "--name", "^Preferences$"}).empty();
  }));
  const std::string stored = ReadFile(PreferencesPath());
  EXPECT_TRUE(stored.starts_with("# mine\nFileOperation = 2\nQuitWhenDone = true\n")) << stored;
  EXPECT_NE(std::string::npos, stored.find("TessaryType = 3\n")) << stored;
  EXPECT_NE(std::string::npos, stored.find("RecurseFolders = true\n")) << stored;
}

TEST_F(DesktopWindow, ByeIsShownAndTheProgramEndsByItselfWhenItQuitsWhenDone) {
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  StartProgram({QString::fromStdString(MakeSource("letters"))});
  AnswerPanel(At("filed"));
  // It says so for an instant: looked at while it stands still, and let go on in between.
  EXPECT_TRUE(WaitUntil([this] {
    program_->Suspend();
    const bool isThere = ReadText(kStatusText, {"Bye."}).has_value();
    program_->Resume();
    return isThere || !program_->IsRunning();
  }));
  EXPECT_TRUE(program_->IsRunning()) << "it ended without a word";
  EXPECT_EQ(0, program_->WaitForEnd());
  EXPECT_TRUE(Exists(At("filed/txt/letters.txt")));
}

TEST_F(DesktopWindow, TheSourceAsDestinationIsToldAndNothingIsFiled) {
  const std::string source = MakeSource("letters");
  StartProgram({QString::fromStdString(source)});
  AnswerPanel(source);
  EXPECT_TRUE(WaitForText(kStatusText, {"The destination directory can not be the same as the "
                                        "source directory"})
                  .has_value());
  EXPECT_EQ(std::vector<std::string>{"letters.txt"}, NamesIn(source));
}

TEST_F(DesktopWindow, ClosingTheWindowQuits) {
  StartProgram();
  PressKeys({"alt+F4"});
  EXPECT_EQ(0, program_->WaitForEnd());
}

TEST_F(DesktopWindow, TheQuitCommandQuits) {
  StartProgram();
  PressKeys({"ctrl+q"});
  EXPECT_EQ(0, program_->WaitForEnd());
}

TEST_F(DesktopWindow, TheDestinationIsOpenedWithTheDesktopsProgramForFolders) {
  WriteFile(At("data/applications/other.desktop"),
            "[Desktop Entry]\nType=Application\nExec=/bin/cp -r -t " + At("opened") + " %f\n");
  MakeFolder(At("opened"));
  WriteFile(At("config/mimeapps.list"),
            "[Default Applications]\n"
            "inode/directory=org.tessary.Tessary.desktop;missing.desktop;other.desktop;\n");
  StartProgram({QString::fromStdString(MakeSource("letters"))});
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitUntil([this] { return Exists(At("opened/filed/txt/letters.txt")); }));
  EXPECT_EQ(0, CountInLog("Nothing on this desktop"));
}

TEST_F(DesktopWindow, ADesktopWithoutAProgramForFoldersIsToldInTheLogAndTheRunCounts) {
  StartProgram({QString::fromStdString(MakeSource("letters"))});
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForLog("Nothing on this desktop opens the folder \"" + At("filed") + "\"."));
  EXPECT_TRUE(Exists(At("filed/txt/letters.txt")));
}

}  // namespace
}  // namespace tessary::test
