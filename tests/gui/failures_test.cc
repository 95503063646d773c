#include <sys/stat.h>

#include <QVariantMap>
#include <filesystem>
#include <memory>
#include <string>

#include "tests/gui/desktop.h"

// What the desktop program tells about failures outside of its main window: the log window and the
// notifications.
namespace tessary::test {
namespace {

class Failures : public DesktopTest {
 protected:
  // Starts the notification service. It invokes the action with that key.
  void StartServer(const QString& capabilities, const QString& key = "") {
    server_ = std::make_unique<BackgroundProcess>(
        TESSARY_NOTIFICATION_SERVER, QStringList{capabilities, key}, environment_, At("server"));
    ASSERT_TRUE(server_->WaitForOutput("ready"));
  }

  void TearDown() override {
    if (HasFailure() && server_ != nullptr) printf("Notified:\n%s", server_->Output().c_str());
    server_ = nullptr;
    DesktopTest::TearDown();
  }

  // Makes a source with three text files and three FIFOs, which cannot be copied.
  std::string MakeSourceWithFifos() {
    const std::string source = At("mixed");
    for (const char* name : {"a", "b", "c"}) {
      WriteFile(source + "/" + name + ".txt");
      EXPECT_EQ(0, mkfifo((source + "/" + name + ".fifo").c_str(), 0600));
    }
    return source;
  }

  bool IsLogOpen() const { return !FindVisibleWindow("^Log").isEmpty(); }

  std::unique_ptr<BackgroundProcess> server_;
};

TEST_F(Failures, NotificationShowsThem) {
  StartServer("actions,body", "show");
  StartRun(MakeSourceWithFifos());
  EXPECT_TRUE(
      server_->WaitForOutput("3 of 6 items could not be filed | From “mixed” to “sorted” | "
                             "default,Show Log,show,Show Log"));
  EXPECT_TRUE(WaitUntil([this] { return IsLogOpen(); }));
  EXPECT_TRUE(WaitForLog("3 filed, 0 skipped, 3 failed in "));
}

TEST_F(Failures, NotificationWithoutActions) {
  StartServer("body,body-markup", "show");
  WriteFile(At("<b>&/a.txt"));
  ASSERT_EQ(0, mkfifo(At("<b>&/a.fifo").c_str(), 0600));
  StartRun(At("<b>&"));
  EXPECT_TRUE(
      server_->WaitForOutput("1 of 2 items could not be filed | From “&lt;b&gt;&amp;” to “sorted”\n"
                             "The log lists the failures: File, Show Log… | \n"));
  EXPECT_FALSE(IsLogOpen());
}

TEST_F(Failures, RunWithoutFailuresIsSilent) {
  StartServer("actions", "show");
  StartRun(MakeSource("letters"));
  EXPECT_TRUE(WaitForLog("1 filed, 0 skipped, 0 failed in "));
  EXPECT_FALSE(server_->WaitForOutput("letters", 1000)) << server_->Output();
}

TEST_F(Failures, UnusableSourceIsNotified) {
  StartServer("actions", "show");
  const std::string file = At("a file.txt");
  WriteFile(file);
  StartProgram();
  EXPECT_EQ("", CallProgram("org.freedesktop.Application", "Open",
                            {QStringList{UriOf(file), UriOf(At("gone"))}, QVariantMap()}));
  EXPECT_TRUE(server_->WaitForOutput("“a file.txt” could not be aggregated | Not a directory | "));
  EXPECT_TRUE(server_->WaitForOutput("could not be aggregated | No such file or directory | "));
  EXPECT_TRUE(WaitForLog(file + ": Not a directory\n"));
  EXPECT_TRUE(WaitUntil([this] { return IsLogOpen(); }));
}

TEST_F(Failures, SourceThatVanishesBehindPanel) {
  StartServer("actions");
  const std::string source = MakeSource("letters");
  StartProgram({source});
  ASSERT_TRUE(WaitForPanel());
  std::filesystem::remove_all(source);
  ChooseDestination();
  EXPECT_TRUE(server_->WaitForOutput("1 of 1 items could not be filed | From “letters” to "));
  EXPECT_TRUE(
      WaitForLog(source + ": cannot list the folder: Removed or replaced during the run\n"));
}

TEST_F(Failures, WithoutNotificationService) {
  StartRun(MakeSourceWithFifos());
  EXPECT_TRUE(WaitForLog("Notifications cannot be shown on this desktop: "));
}

TEST_F(Failures, LogCommandOpensWindow) {
  StartProgram();
  PressKeys({"ctrl+l"});
  EXPECT_TRUE(WaitUntil([this] { return IsLogOpen(); }));
  EXPECT_TRUE(WaitUntil([this] {
    return RunTool("xdotool", {"getactivewindow", "getwindowname"}) == "Log — Tessary\n";
  }));
  PressKeys({"Escape"});
  EXPECT_TRUE(WaitUntil([this] { return !IsLogOpen(); }));
  EXPECT_TRUE(program_->IsRunning());
}

}  // namespace
}  // namespace tessary::test
