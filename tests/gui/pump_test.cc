#include <QDir>
#include <QFileInfo>
#include <QPoint>
#include <QVariantMap>
#include <string>

#include "tests/gui/desktop.h"

// The pump on X11 and Wayland displays: a text that is pumped in the middle of a run reaches the
// screen, and no events are delivered.
namespace tessary::test {
namespace {

constexpr char kText[] = "Moving: /the/last";

class PumpTest : public DesktopTest {
 protected:
  // True until the pump program prints what was delivered during its work.
  bool IsWorking() const { return program_->Output().find("during") == std::string::npos; }
};

class PumpOnX11 : public PumpTest {};

TEST_F(PumpOnX11, PaintsAndDeliversNoEvents) {
  StartOtherProgram(TESSARY_PUMP_PROGRAM);
  ASSERT_TRUE(program_->WaitForOutput("busy"));
  EXPECT_TRUE(WaitForStatus(kText));
  const QImage window = TakeScreenshot();
  ClickAt(QPoint(window.width() - 50, window.height() - 25));
  EXPECT_EQ("", CallProgram("org.freedesktop.Application", "Open",
                            {QStringList{UriOf(At(""))}, QVariantMap()}));
  EXPECT_TRUE(IsWorking()) << "the work has ended too early";
  EXPECT_EQ(0, program_->WaitForExit());
  EXPECT_NE(std::string::npos, program_->Output().find("during 0 0 0\nafter 1 1 1\n"));
}

class PumpOnWayland : public PumpTest {
 protected:
  // Takes a picture of the whole screen. Returns a null image on failure.
  QImage TakeScreen() const {
    QProcess shooter;
    shooter.setProcessEnvironment(environment_);
    shooter.setWorkingDirectory(QString::fromStdString(At("shots")));
    shooter.start("weston-screenshooter", QStringList());
    shooter.waitForFinished();
    const QFileInfoList shots =
        QDir(QString::fromStdString(At("shots"))).entryInfoList({"*.png"}, QDir::Files, QDir::Time);
    return shots.isEmpty() ? QImage() : QImage(shots.first().filePath());
  }
};

// A nested compositor has a pointer. Weston pings the window that the pointer enters.
TEST_F(PumpOnWayland, AnswersPingDuringWork) {
  const std::string missing = MissingTool({"weston"});
  if (!missing.empty()) GTEST_SKIP() << missing << " is not installed";
  const BackgroundProcess weston(
      "weston",
      {"--backend=x11-backend.so", "--use-pixman", "--width=1024", "--height=768",
       "--socket=tessary-test", "--idle-time=0", "--no-config"},
      environment_, At("weston"));
  ASSERT_TRUE(WaitUntil([this] { return Exists(At("run/tessary-test")); })) << weston.Output();
  QProcessEnvironment nested = environment_;
  nested.insert("WAYLAND_DISPLAY", "tessary-test");
  nested.insert("QT_QPA_PLATFORM", "wayland");
  nested.insert("WAYLAND_DEBUG", "client");
  program_ =
      std::make_unique<BackgroundProcess>(TESSARY_PUMP_PROGRAM, QStringList(), nested, At("log"));
  ASSERT_TRUE(program_->WaitForOutput("busy")) << weston.Output();
  // Crosses the whole screen, because the compositor places windows at random.
  QStringList path;
  for (int y = 50; y < 900; y += 90) {
    for (int x = 50; x < 1280; x += 100) {
      path += {"mousemove", QString::number(x), QString::number(y), "sleep", "0.02"};
    }
  }
  RunTool("xdotool", path);
  EXPECT_TRUE(program_->WaitForOutput(".ping(")) << weston.Output();
  EXPECT_TRUE(program_->WaitForOutput(".pong("));
  const std::string log = program_->Output();
  EXPECT_LT(log.find(".pong("), log.find("during")) << "the work has ended before the answer";
}

TEST_F(PumpOnWayland, PaintsDuringWork) {
  const std::string missing = MissingTool({"weston", "weston-screenshooter"});
  if (!missing.empty()) GTEST_SKIP() << missing << " is not installed";
  MakeFolder(At("shots"));
  const BackgroundProcess weston(
      "weston",
      {"--backend=headless-backend.so", "--use-pixman", "--width=1024", "--height=768",
       "--socket=tessary-test", "--idle-time=0", "--debug", "--no-config"},
      environment_, At("weston"));
  ASSERT_TRUE(WaitUntil([this] { return Exists(At("run/tessary-test")); }));
  environment_.insert("WAYLAND_DISPLAY", "tessary-test");
  environment_.remove("DISPLAY");
  environment_.insert("QT_QPA_PLATFORM", "wayland");
  program_ = std::make_unique<BackgroundProcess>(TESSARY_PUMP_PROGRAM, QStringList(), environment_,
                                                 At("log"));
  ASSERT_TRUE(program_->WaitForOutput("busy")) << weston.Output();
  environment_.insert("QT_QPA_PLATFORM", "offscreen");
  EXPECT_TRUE(WaitUntil([this] {
    const QImage screen = TakeScreen();
    return !screen.isNull() && ReadTextIn(screen, kStatusText, {kText}).has_value();
  })) << weston.Output();
  EXPECT_TRUE(IsWorking()) << "the work has ended too early";
}

}  // namespace
}  // namespace tessary::test
