#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "programs/cli/nautilus_script.h"
#include "programs/cli/thunar_actions.h"
#include "tests/programs/program.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kOwnActions[] =
    "<?xml version=\"1.0\"?>\n<actions>\n<!-- mine -->\n<action><unique-id>1</unique-id></action>\n"
    "</actions>\n";

class IntegrateCommand : public ProgramTest {
 protected:
  IntegrateCommand() {
    MakeFolder(At("system"));
    WriteFile(At("bin/tessary"));
    EXPECT_EQ(0, chmod(DesktopProgram().c_str(), 0755));
  }

  std::string DesktopProgram() const { return At("bin/tessary"); }

  std::string ActionsPath() const { return At("config/Thunar/uca.xml"); }
  std::string ScriptPath() const {
    return At("data/nautilus/scripts/" + std::string(kNautilusScriptName));
  }

  ProgramSetup ProgramPaths() const {
    return {.environment = {{"XDG_CONFIG_DIRS", At("system")}, {"PATH", At("bin")}}};
  }

  ProgramResult Integrate(const std::string& action) const {
    return Run({"integrate", action}, ProgramPaths());
  }

  // Expects success and a line for each file manager.
  void ExpectOutput(const std::string& action, const std::string& thunar,
                    const std::string& nautilus) const {
    const ProgramResult result = Integrate(action);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.errors);
    EXPECT_EQ("Thunar: " + thunar + " \"" + ActionsPath() + "\"\nNautilus: " + nautilus + " \"" +
                  ScriptPath() + "\"\n",
              result.output);
  }
};

TEST_F(IntegrateCommand, RemovesWhatItInstalled) {
  ExpectOutput("status", "not in", "not in");
  ExpectOutput("remove", "not in", "not in");
  EXPECT_THAT(FilesBelow(At(".")), ElementsAre("bin/tessary"));
  EXPECT_FALSE(Exists(At("config/Thunar")));
  ExpectOutput("install", "added to", "added to");
  ExpectOutput("status", "in", "in");
  const std::string installed = ReadFile(ActionsPath());
  ExpectOutput("install", "already in", "already in");
  EXPECT_EQ(installed, ReadFile(ActionsPath()));
  EXPECT_THAT(FilesBelow(At("config")), ElementsAre("Thunar/uca.xml"));
  EXPECT_THAT(FilesBelow(At("data")),
              ElementsAre("nautilus/scripts/" + std::string(kNautilusScriptName)));
  EXPECT_EQ(0, access(ScriptPath().c_str(), X_OK));
  EXPECT_EQ(NautilusScript(), ReadFile(ScriptPath()));
  ExpectOutput("remove", "removed from", "removed from");
  EXPECT_THAT(FilesBelow(At(".")), ElementsAre("bin/tessary"));
}

// The entries of a desktop program that was uninstalled can still be removed.
TEST_F(IntegrateCommand, InstallRequiresDesktopProgram) {
  ExpectOutput("install", "added to", "added to");
  ASSERT_EQ(0, unlink(DesktopProgram().c_str()));
  ExpectError({"integrate", "install"}, "tessary: desktop program not found in PATH", 1,
              ProgramPaths());
  ExpectOutput("status", "in", "in");
  ExpectOutput("remove", "removed from", "removed from");
  ExpectError({"integrate", "install"}, "tessary: desktop program not found in PATH", 1,
              ProgramPaths());
  EXPECT_THAT(FilesBelow(At("")), IsEmpty());
}

TEST_F(IntegrateCommand, RestoresOwnActions) {
  WriteFile(ActionsPath(), kOwnActions);
  ASSERT_EQ(0, chmod(ActionsPath().c_str(), 0640));
  ExpectOutput("install", "added to", "added to");
  EXPECT_THAT(ReadFile(ActionsPath()),
              HasSubstr("<!-- mine -->\n<action><unique-id>1</unique-id>"));
  EXPECT_THAT(ReadFile(ActionsPath()), HasSubstr("tessary --aggregate %U"));
  struct stat info = {};
  ASSERT_EQ(0, stat(ActionsPath().c_str(), &info));
  EXPECT_EQ(0640U, info.st_mode & 07777U);
  ExpectOutput("remove", "removed from", "removed from");
  EXPECT_EQ(kOwnActions, ReadFile(ActionsPath()));
}

TEST_F(IntegrateCommand, StartsFromSystemActions) {
  WriteFile(At("system/Thunar/uca.xml"), kOwnActions);
  ExpectOutput("install", "added to", "added to");
  EXPECT_THAT(ReadFile(ActionsPath()), HasSubstr("<!-- mine -->"));
  ExpectOutput("remove", "removed from", "removed from");
  EXPECT_FALSE(Exists(ActionsPath()));
  WriteFile(At("system/Thunar/uca.xml"), "unusable");
  ExpectOutput("install", "added to", "added to");
  EXPECT_THAT(ReadFile(ActionsPath()), Not(HasSubstr("unusable")));
}

TEST_F(IntegrateCommand, KeepsUnreadableActions) {
  struct Row {
    const char* text;
    const char* position;
  };
  for (const auto& [text, position] : {
           Row{"", ":1:1"},
           Row{"<actions>\n<action>\n</actions>", ":3:3"},
           Row{"<actions>\xFF</actions>", ":1:10"},
           Row{"<html/>", ""},
       }) {
    WriteFile(ActionsPath(), text);
    const std::vector<std::string> before = DescribeTree(At("config"));
    for (const char* action : {"install", "status", "remove"}) {
      const ProgramResult result = Integrate(action);
      EXPECT_EQ(1, result.status) << action;
      const bool isChange = std::string(action) != "status";
      EXPECT_THAT(
          result.Problems(),
          ElementsAre(StartsWith(ActionsPath() + position +
                                 (isChange ? ": not changed: " : ": cannot be checked: "))));
      // The other file manager is processed in any case.
      EXPECT_THAT(result.output, HasSubstr("Nautilus: "));
      EXPECT_EQ(before, DescribeTree(At("config"))) << action;
    }
  }
  WriteFile(ActionsPath(), "<actions>\n<action>\n</actions>");
  EXPECT_THAT(Integrate("install").Problems(),
              ElementsAre(HasSubstr("uca.xml:3:3: not changed: mismatched tag")));
}

TEST_F(IntegrateCommand, RefusesFolders) {
  MakeFolder(ActionsPath());
  MakeFolder(ScriptPath());
  for (const char* action : {"install", "status", "remove"}) {
    const ProgramResult result = Integrate(action);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(2U, result.Problems().size());
    EXPECT_EQ("", result.output);
  }
}

TEST_F(IntegrateCommand, KeepsScriptOfAnotherProgram) {
  WriteFile(ScriptPath(), "#!/bin/sh\necho mine\n");
  const ProgramResult result = Integrate("install");
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.Problems(),
              ElementsAre(HasSubstr(": not changed: it is the script of another program")));
  ExpectOutput("status", "in", "not in");
  ExpectOutput("remove", "removed from", "not in");
  EXPECT_EQ("#!/bin/sh\necho mine\n", ReadFile(ScriptPath()));
}

TEST_F(IntegrateCommand, UpdatesOlderScript) {
  WriteFile(ScriptPath(), NautilusScript() + "# older\n");
  ASSERT_EQ(0, chmod(ScriptPath().c_str(), 0644));
  ExpectOutput("install", "added to", "already in");
  EXPECT_EQ(NautilusScript(), ReadFile(ScriptPath()));
  struct stat info = {};
  ASSERT_EQ(0, stat(ScriptPath().c_str(), &info));
  EXPECT_EQ(0744U, info.st_mode & 07777U);
}

TEST_F(IntegrateCommand, WritesThroughSymbolicLink) {
  const std::string empty(EmptyThunarActions());
  WriteFile(At("dotfiles/uca.xml"), empty);
  MakeFolder(At("config/Thunar"));
  MakeLink("../../dotfiles/uca.xml", ActionsPath());
  ExpectOutput("install", "added to", "added to");
  EXPECT_THAT(ReadFile(At("dotfiles/uca.xml")), HasSubstr("tessary --aggregate"));
  ExpectOutput("remove", "removed from", "removed from");
  EXPECT_EQ(empty, ReadFile(At("dotfiles/uca.xml")));
  struct stat info = {};
  ASSERT_EQ(0, lstat(ActionsPath().c_str(), &info));
  EXPECT_TRUE(S_ISLNK(info.st_mode));
}

TEST_F(IntegrateCommand, ReportsPermissionErrors) {
  WriteFile(ActionsPath(), kOwnActions);
  ASSERT_EQ(0, chmod(ActionsPath().c_str(), 0444));
  MakeFolder(At("data"));
  OpenToOrdinaryUser();
  ASSERT_EQ(0, chmod(At("data").c_str(), 0555));
  ProgramSetup setup = ProgramPaths();
  setup.isOrdinaryUser = true;
  const ProgramResult result = Run({"integrate", "install"}, setup);
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.Problems(),
              ElementsAre(HasSubstr("Permission denied"), HasSubstr("Permission denied")));
  EXPECT_EQ(kOwnActions, ReadFile(ActionsPath()));
}

}  // namespace
}  // namespace tessary::test
