#include <QDBusArgument>
#include <QVariant>
#include <string>
#include <vector>

#include "app/main_window.h"
#include "tests/gui/desktop.h"

// Every way in which a folder reaches the desktop program, up to its files being filed.
namespace tessary::test {
namespace {

constexpr int kStatusText = 1;
constexpr int kElapsedTimeText = 6;

class EntryPoints : public DesktopTest {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    if (!IsSkipped()) MakeFolder(At("filed"));
  }

  // The order in which the program took up folders, by their names.
  std::vector<std::string> FoldersInOrder() const {
    static constexpr std::string_view kText = "Aggregating folder ";
    std::vector<std::string> names;
    const std::string log = program_->Output();
    for (size_t at = log.find(kText); at != std::string::npos; at = log.find(kText, at + 1)) {
      const size_t start = at + kText.size();
      names.push_back(log.substr(start, log.find('\n', start) - start));
    }
    return names;
  }

  bool WaitForFiled(const std::string& name) const {
    return WaitUntil([this, &name] { return Exists(At("filed/txt/" + name)); });
  }
};

TEST_F(EntryPoints, AFolderDroppedWithTheMouseIsFiledAndItsTimeShown) {
  const std::string source = MakeSource("letters");
  StartProgram();
  DragOnto({UriOf(source)});
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("letters.txt"));
  std::vector<std::string> times = {"Elapsed time: 0 secs", "Elapsed time: 1 sec "};
  for (int seconds = 2; seconds < 30; ++seconds) {
    times.push_back("Elapsed time: " + std::to_string(seconds) + " secs ");
  }
  EXPECT_TRUE(WaitForText(kElapsedTimeText, times).has_value());
  EXPECT_TRUE(WaitForText(kStatusText, {kDropPrompt}).has_value());
  EXPECT_EQ("filed", WindowTitle());
}

TEST_F(EntryPoints, ThreeFoldersDroppedAtOnceGiveThreeRunsInTheirOrder) {
  const QStringList uris = {UriOf(MakeSource("zebra")), UriOf(MakeSource("apple")),
                            UriOf(MakeSource("mango"))};
  StartProgram();
  DragOnto(uris);
  for (const char* name : {"zebra.txt", "apple.txt", "mango.txt"}) {
    EXPECT_FALSE(Exists(At(std::string("filed/txt/") + name)));
    AnswerPanel(At("filed"));
    EXPECT_TRUE(WaitForFiled(name));
  }
  EXPECT_EQ((std::vector<std::string>{"zebra", "apple", "mango"}), FoldersInOrder());
}

TEST_F(EntryPoints, NamesThatAreNoTextAreDroppedLikeOthers) {
  const std::string source = At("caf\xE9 # 100%");
  WriteFile(source + "/one.txt");
  StartProgram();
  DragOnto({UriOf(source)});
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("one.txt"));
}

TEST_F(EntryPoints, WhatIsNoFolderOfThisMachineIsRefused) {
  StartProgram();
  for (const QString& uris :
       {QString("text:a text"), QString("https://tessary.example/folder"), QString("file:///%zz"),
        QString("file://another-machine/tmp"), UriOf(At("nowhere"))}) {
    EXPECT_FALSE(Drag({uris})) << uris.toStdString();
  }
  EXPECT_FALSE(IsPanelUp());
  EXPECT_TRUE(WaitForText(kStatusText, {kDropPrompt}).has_value());
}

TEST_F(EntryPoints, AFileIsTakenAndThenNothingHappens) {
  WriteFile(At("file.txt"));
  const std::string source = MakeSource("letters");
  StartProgram();
  DragOnto({UriOf(At("file.txt")), "https://tessary.example", UriOf(source)});
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("letters.txt"));
  EXPECT_TRUE(Exists(At("file.txt")));
  EXPECT_EQ(std::vector<std::string>{"letters"}, FoldersInOrder());
}

TEST_F(EntryPoints, AFolderOnTheCommandLineIsAskedForWhenTheWindowIsThere) {
  const std::string source = MakeSource("letters");
  StartProgram({QString::fromStdString(source), QString::fromStdString(At("nowhere"))});
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("letters.txt"));
  EXPECT_EQ(1, CountInLog("tessary: " + At("nowhere") + ": "));
}

TEST_F(EntryPoints, ASecondStartHandsItsFoldersToTheFirst) {
  const std::string source = MakeSource("letters");
  MakeLink(source, At("link"));
  StartProgram();
  EXPECT_EQ(0, StartAgain({QString::fromStdString(At("link"))}));
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("letters.txt"));
  EXPECT_EQ(0, StartAgain({}));
  EXPECT_TRUE(program_->IsRunning());
}

TEST_F(EntryPoints, TheServiceRunsTheFirstFolderWhateverTheCaseOfItsName) {
  const QStringList uris = {UriOf(MakeSource("letters")), UriOf(MakeSource("photos"))};
  StartProgram();
  EXPECT_EQ("", CallProgram("org.tessary.Service", "Perform", {"sort", uris}));
  EXPECT_EQ("", CallProgram("org.tessary.Service", "Perform", {"aggregate", QStringList()}));
  EXPECT_EQ("", CallProgram("org.tessary.Service", "Perform",
                            {"aggregate", QStringList{"https://tessary.example"}}));
  // Answered before the panel is.
  EXPECT_EQ("", CallProgram("org.tessary.Service", "Perform", {"AGGREGATE", uris}));
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("letters.txt"));
  EXPECT_EQ(std::vector<std::string>{"letters"}, FoldersInOrder());
}

TEST_F(EntryPoints, ARequestWaitsWhileAPanelIsUpAndItsCallerDoesNot) {
  const std::string first = MakeSource("first");
  const std::string second = MakeSource("second");
  StartProgram({QString::fromStdString(first)});
  ASSERT_TRUE(WaitForPanel());
  EXPECT_EQ("", CallProgram("org.freedesktop.Application", "Open",
                            {QStringList{UriOf(second)}, QVariantMap()}));
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("first.txt"));
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("second.txt"));
  EXPECT_EQ((std::vector<std::string>{"first", "second"}), FoldersInOrder());
}

TEST_F(EntryPoints, AnUnknownMethodOrArgumentIsAnswered) {
  StartProgram();
  EXPECT_NE("", CallProgram("org.tessary.Service", "Perform", {"aggregate"}));
  EXPECT_NE("", CallProgram("org.freedesktop.Application", "Close", {}));
  EXPECT_TRUE(program_->IsRunning());
}

TEST_F(EntryPoints, TheChooseSourceCommandAsksForSourceAndDestination) {
  const std::string source = MakeSource("letters");
  StartProgram();
  PressKeys({"ctrl+o"});
  CancelPanel();
  PressKeys({"ctrl+o"});
  AnswerPanel(source);
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("letters.txt"));
}

TEST_F(EntryPoints, WorkWithoutASessionBus) {
  environment_.insert("DBUS_SESSION_BUS_ADDRESS",
                      QString::fromStdString("unix:path=" + At("no-bus")));
  const std::string source = MakeSource("letters");
  StartProgram({QString::fromStdString(source)});
  AnswerPanel(At("filed"));
  EXPECT_TRUE(WaitForFiled("letters.txt"));
  EXPECT_EQ(1, CountInLog("There is no session bus"));
}

}  // namespace
}  // namespace tessary::test
