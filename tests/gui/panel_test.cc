#include <string>

#include "tests/gui/desktop.h"

// The panels of the desktop program.
namespace tessary::test {
namespace {

using Panel = DesktopTest;

TEST_F(Panel, ReturnWithoutChoiceIsIgnored) {
  StartProgram({MakeSource("letters")});
  ASSERT_TRUE(WaitForPanel());
  PressKeys({"Return", "Return"});
  EXPECT_TRUE(IsPanelOpen());
  ChooseDestination();
  EXPECT_TRUE(WaitForSorted("letters.txt"));
}

// The first panel opens in the parent of the source, the second one where the first choice was
// made.
TEST_F(Panel, OpensWhereLastChoiceWasMade) {
  const std::string target = At("deep/\xC3\xA9 # 1%/target");
  MakeFolder(target);
  MakeLink(target, At("link"));
  StartProgram({MakeSource("letters")});
  AnswerPanel("link");
  EXPECT_TRUE(WaitUntil([&] { return Exists(target + "/txt/letters.txt"); }));
  EXPECT_EQ(0, StartSecondInstance({MakeSource("photos")}));
  AnswerPanel("target");
  EXPECT_TRUE(WaitUntil([&] { return Exists(target + "/txt/photos.txt"); }));
  EXPECT_TRUE(Exists(At("state/tessary/panels.ini")));
  EXPECT_FALSE(Exists(PreferencesPath()));
}

}  // namespace
}  // namespace tessary::test
