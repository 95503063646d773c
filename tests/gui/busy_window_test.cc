#include <QThread>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "app/main_window.h"
#include "tests/gui/desktop.h"

// The main window during a run: it answers the desktop and accepts drops.
namespace tessary::test {
namespace {

// Lets a process run a fifth of the time, so that its run lasts long enough for a user's action.
class SlowMotion {
 public:
  explicit SlowMotion(const BackgroundProcess* process)
      : thread_([this, process] {
          while (!isOver_) {
            process->Suspend();
            QThread::msleep(80);
            process->Resume();
            QThread::msleep(20);
          }
        }) {}
  ~SlowMotion() {
    isOver_ = true;
    thread_.join();
  }
  SlowMotion(const SlowMotion&) = delete;
  SlowMotion& operator=(const SlowMotion&) = delete;

 private:
  std::atomic<bool> isOver_ = false;
  std::thread thread_;
};

class BusyWindow : public DesktopTest {
 protected:
  // True if the frame that shows that a drop is accepted is on the window.
  bool IsHilited() const {
    constexpr int kMiddleOfFrame = 4;
    constexpr int kOutside = 1;
    const QImage picture = TakeScreenshot();
    const int middle = picture.height() / 2;
    return picture.pixel(kMiddleOfFrame, middle) != picture.pixel(kOutside, middle);
  }
};

TEST_F(BusyWindow, ThreeFoldersDroppedDuringRun) {
  const QStringList uris = {UriOf(MakeSource("zebra")), UriOf(MakeSource("apple")),
                            UriOf(MakeSource("mango"))};
  StartLongRun();
  bool wasHilited = false;
  {
    const SlowMotion slow(program_.get());
    DragOnto(uris, [&] { wasHilited = IsHilited(); });
    EXPECT_GT(CountRemaining(), 0U) << "the run has ended too early";
  }
  EXPECT_TRUE(wasHilited);
  for (const char* name : {"zebra.txt", "apple.txt", "mango.txt"}) {
    ChooseDestination();
    EXPECT_TRUE(WaitForSorted(name));
  }
  EXPECT_EQ((std::vector<std::string>{"many", "zebra", "apple", "mango"}), FoldersInOrder());
}

TEST_F(BusyWindow, AnswersPingDuringRun) {
  StartLongRun();
  const SlowMotion slow(program_.get());
  EXPECT_TRUE(AnswersPing());
  EXPECT_GT(CountRemaining(), 0U) << "the run has ended too early";
}

TEST_F(BusyWindow, AnswersPingWhilePanelIsOpen) {
  StartProgram({MakeSource("letters")});
  ASSERT_TRUE(WaitForPanel());
  EXPECT_TRUE(AnswersPing());
}

TEST_F(BusyWindow, ClosingDuringRunQuitsAfterwards) {
  StartLongRun();
  {
    const SlowMotion slow(program_.get());
    RunTool("xdotool", {"key", "--window", QString::fromStdString(WindowID()), "ctrl+q"});
    EXPECT_GT(CountRemaining(), 0U) << "the run has ended too early";
  }
  EXPECT_EQ(0, program_->WaitForExit());
  EXPECT_EQ(0U, CountRemaining());
}

// How the window is hidden during a run, and shown again.
struct Hiding {
  std::string name;
  QStringList hide;
  QStringList show;
};

class HiddenWindow : public BusyWindow, public testing::WithParamInterface<Hiding> {};

TEST_P(HiddenWindow, RunEnds) {
  RunTool("xdotool", {"set_num_desktops", "2"});
  StartLongRun();
  program_->Suspend();
  ASSERT_GT(CountRemaining(), 0U) << "the run has ended too early";
  const QString window = QString::fromStdString(WindowID());
  RunTool("xdotool", QStringList(GetParam().hide).replaceInStrings("WINDOW", window));
  program_->Resume();
  EXPECT_TRUE(WaitForEndOfLongRun());
  EXPECT_TRUE(AnswersPing());
  RunTool("xdotool", QStringList(GetParam().show).replaceInStrings("WINDOW", window));
  EXPECT_TRUE(WaitForStatus(kDropPrompt));
}

INSTANTIATE_TEST_SUITE_P(
    BusyWindow, HiddenWindow,
    testing::Values(Hiding{"Iconified", {"windowminimize", "WINDOW"}, {"windowactivate", "WINDOW"}},
                    Hiding{"OffScreen",
                           {"windowmove", "WINDOW", "3000", "3000"},
                           {"windowmove", "WINDOW", "600", "300"}},
                    Hiding{"OnOtherWorkspace",
                           {"set_desktop_for_window", "WINDOW", "1"},
                           {"set_desktop_for_window", "WINDOW", "0"}}),
    [](const auto& row) { return row.param.name; });

TEST_F(BusyWindow, CoveredWindowIsRepainted) {
  StartLongRun();
  program_->Suspend();
  ASSERT_GT(CountRemaining(), 0U) << "the run has ended too early";
  WriteFile(At("uris"));
  auto cover = std::make_unique<BackgroundProcess>(TESSARY_DRAG_SOURCE,
                                                   QStringList{QString::fromStdString(At("uris"))},
                                                   environment_, At("cover"));
  ASSERT_TRUE(cover->WaitForOutput("ready"));
  RunTool("xdotool",
          {"search", "--onlyvisible", "--class", "drag_source", "windowsize", "1280", "900"});
  program_->Resume();
  EXPECT_TRUE(WaitForEndOfLongRun());
  cover = nullptr;
  EXPECT_TRUE(WaitForStatus(kDropPrompt));
}

}  // namespace
}  // namespace tessary::test
