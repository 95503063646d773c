#include <QDir>
#include <QFileInfo>
#include <QPoint>
#include <QVariantMap>
#include <string>

#include "tests/gui/desktop.h"

// The pump on real displays: what is painted in the middle of work is on the screen, and nothing
// comes in.
namespace tessary::test {
namespace {

constexpr int kStatusText = 1;
constexpr char kText[] = "Moving: /the/last";

class PumpOnScreen : public DesktopTest {};

TEST_F(PumpOnScreen, ShowsTheTextAndDeliversNoClickNoTimerAndNoRequestOnX11) {
  StartProgramOf(TESSARY_PUMP_PROGRAM);
  ASSERT_TRUE(program_->WaitForOutput("busy"));
  EXPECT_TRUE(WaitForText(kStatusText, {kText}).has_value());
  const QImage window = TakeScreenshot();
  ClickAt(QPoint(window.width() - 50, window.height() - 25));
  EXPECT_EQ("", CallProgram("org.freedesktop.Application", "Open",
                            {QStringList{UriOf(At(""))}, QVariantMap()}));
  EXPECT_EQ(std::string::npos, program_->Output().find("during")) << "the work is over";
  EXPECT_EQ(0, program_->WaitForEnd());
  EXPECT_NE(std::string::npos, program_->Output().find("during 0 0 0\nafter 1 1 1\n"));
}

class PumpOnWayland : public DesktopTest {
 protected:
  // A picture of the whole screen; none where none can be taken.
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

TEST_F(PumpOnWayland, ShowsTheTextInTheMiddleOfWork) {
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
  EXPECT_EQ(std::string::npos, program_->Output().find("during")) << "the work is over";
}

}  // namespace
}  // namespace tessary::test
