#include <QDBusArgument>
#include <QVariant>
#include <filesystem>
#include <string>
#include <vector>

#include "app/main_window.h"
#include "tests/gui/desktop.h"

// Every way in which a folder reaches the desktop program, up to the end of its run.
namespace tessary::test {
namespace {

class EntryPoints : public DesktopTest {};

TEST_F(EntryPoints, DroppedFolder) {
  const std::string source = MakeSource("letters");
  StartProgram();
  DragOnto({UriOf(source)});
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
  std::vector<std::string> times = {"Elapsed time: 0 secs", "Elapsed time: 1 sec "};
  for (int seconds = 2; seconds < 30; ++seconds) {
    times.push_back("Elapsed time: " + std::to_string(seconds) + " secs ");
  }
  EXPECT_TRUE(WaitForText(kElapsedTimeText, times));
  EXPECT_TRUE(WaitForStatus(kDropPrompt));
  EXPECT_EQ("sorted — Tessary", WindowTitle());
}

TEST_F(EntryPoints, ThreeDroppedFoldersRunInOrder) {
  const QStringList uris = {UriOf(MakeSource("zebra")), UriOf(MakeSource("apple")),
                            UriOf(MakeSource("mango"))};
  StartProgram();
  DragOnto(uris);
  for (const char* name : {"zebra.txt", "apple.txt", "mango.txt"}) {
    EXPECT_FALSE(Exists(Destination() + "/txt/" + name));
    ChooseDestination();
    EXPECT_TRUE(WaitForSorted(name));
  }
  EXPECT_EQ((std::vector<std::string>{"zebra", "apple", "mango"}), FoldersInOrder());
}

TEST_F(EntryPoints, DroppedNameThatIsNotUtf8) {
  const std::string source = At("caf\xE9 # 100%");
  WriteFile(source + "/one.txt");
  StartProgram();
  DragOnto({UriOf(source)});
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("one.txt"));
}

TEST_F(EntryPoints, DropWithoutLocalItemIsRefused) {
  StartProgram();
  for (const QString& uris :
       {QString("text:a text"), QString("https://tessary.example/folder"), QString("file:///%zz"),
        QString("file://another-machine/tmp"), UriOf(At("nowhere"))}) {
    EXPECT_FALSE(Drag({uris})) << uris.toStdString();
  }
  EXPECT_FALSE(IsPanelOpen());
  EXPECT_TRUE(WaitForStatus(kDropPrompt));
}

TEST_F(EntryPoints, VanishedItemsAreSkipped) {
  const QStringList uris = {UriOf(MakeSource("first")), UriOf(MakeSource("second")),
                            UriOf(MakeSource("third"))};
  StartProgram();
  DragOnto(uris, [this] {
    std::filesystem::remove_all(At("first"));
    std::filesystem::remove_all(At("third"));
  });
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("second.txt"));
  EXPECT_TRUE(WaitForStatus(kDropPrompt));
  EXPECT_EQ(std::vector<std::string>{"second"}, FoldersInOrder());
}

TEST_F(EntryPoints, DropWhilePanelIsOpen) {
  const std::string first = MakeSource("first");
  const std::string second = MakeSource("second");
  StartProgram({first});
  ASSERT_TRUE(WaitForPanel());
  MoveAside("^Choose Destination");
  DragOnto({UriOf(second)});
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("first.txt"));
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("second.txt"));
  EXPECT_EQ((std::vector<std::string>{"first", "second"}), FoldersInOrder());
}

TEST_F(EntryPoints, DropWhileSheetIsOpen) {
  const std::string source = MakeSource("letters");
  StartProgram();
  PressKeys({"ctrl+comma"});
  ASSERT_TRUE(WaitUntil([this] {
    return RunTool("xdotool", {"getactivewindow", "getwindowname"}).starts_with("Preferences");
  }));
  MoveAside("^Preferences");
  DragOnto({UriOf(source)});
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
}

TEST_F(EntryPoints, DroppedFileIsIgnored) {
  WriteFile(At("file.txt"));
  const std::string source = MakeSource("letters");
  StartProgram();
  DragOnto({UriOf(At("file.txt")), "https://tessary.example", UriOf(source)});
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
  EXPECT_TRUE(Exists(At("file.txt")));
  EXPECT_EQ(std::vector<std::string>{"letters"}, FoldersInOrder());
}

TEST_F(EntryPoints, CommandLineFolder) {
  const std::string source = MakeSource("letters");
  StartProgram({source, At("nowhere")});
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
  EXPECT_EQ(1, CountInLog("tessary: " + At("nowhere") + ": "));
}

TEST_F(EntryPoints, SecondInstanceForwardsFolders) {
  const std::string source = MakeSource("letters");
  MakeLink(source, At("link"));
  StartProgram();
  EXPECT_EQ(0, StartSecondInstance({At("link")}));
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
  EXPECT_EQ(0, StartSecondInstance({}));
  EXPECT_TRUE(program_->IsRunning());
}

TEST_F(EntryPoints, ServiceRunsFirstFolder) {
  const QStringList uris = {UriOf(MakeSource("letters")), UriOf(MakeSource("photos"))};
  StartProgram();
  EXPECT_EQ("", CallProgram("org.tessary.Service", "Perform", {"sort", uris}));
  // The call returns while the panel is open. Only file URIs count.
  EXPECT_EQ("", CallProgram("org.tessary.Service", "Perform",
                            {"AGGREGATE", QStringList{"https://tessary.example"} + uris}));
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
  EXPECT_EQ(std::vector<std::string>{"letters"}, FoldersInOrder());
}

TEST_F(EntryPoints, ServiceWithoutFileReturnsError) {
  StartProgram();
  for (const QStringList& uris : {QStringList(), QStringList{"https://tessary.example", "/tmp"}}) {
    EXPECT_EQ("org.freedesktop.DBus.Error.InvalidArgs",
              CallProgram("org.tessary.Service", "Perform", {"aggregate", uris}));
  }
  EXPECT_FALSE(IsPanelOpen());
}

TEST_F(EntryPoints, RequestWaitsForPanel) {
  const std::string first = MakeSource("first");
  const std::string second = MakeSource("second");
  StartProgram({first});
  ASSERT_TRUE(WaitForPanel());
  EXPECT_EQ("", CallProgram("org.freedesktop.Application", "Open",
                            {QStringList{UriOf(second)}, QVariantMap()}));
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("first.txt"));
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("second.txt"));
  EXPECT_EQ((std::vector<std::string>{"first", "second"}), FoldersInOrder());
}

TEST_F(EntryPoints, UnknownMethodReturnsError) {
  StartProgram();
  EXPECT_NE("", CallProgram("org.tessary.Service", "Perform", {"aggregate"}));
  EXPECT_NE("", CallProgram("org.freedesktop.Application", "Close", {}));
  EXPECT_TRUE(program_->IsRunning());
}

TEST_F(EntryPoints, ChooseSourceCommand) {
  const std::string source = MakeSource("letters");
  StartProgram();
  PressKeys({"ctrl+o"});
  CancelPanel();
  PressKeys({"ctrl+o"});
  AnswerPanel(source);
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
}

TEST_F(EntryPoints, WithoutSessionBus) {
  environment_.insert("DBUS_SESSION_BUS_ADDRESS",
                      QString::fromStdString("unix:path=" + At("no-bus")));
  StartRun(MakeSource("letters"));
  EXPECT_TRUE(WaitForSorted("letters.txt"));
  EXPECT_EQ(1, CountInLog("There is no session bus"));
}

}  // namespace
}  // namespace tessary::test
