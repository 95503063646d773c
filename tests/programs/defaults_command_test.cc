#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "programs/cli/command_specs.h"
#include "tests/programs/program.h"

namespace tessary::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

class DefaultsCommand : public ProgramTest {
 protected:
  // Expects success, `output` and nothing on standard error.
  void ExpectOutput(const std::vector<std::string>& arguments, const std::string& output) const {
    const ProgramResult result = Run(arguments);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.errors);
    EXPECT_EQ(output, result.output);
  }
};

TEST_F(DefaultsCommand, ReadsAllKeysInOrder) {
  ExpectOutput(
      {"defaults", "read"},
      "FileOperation not set (files are copied)\n"
      "TessaryType not set (files are sorted by extension)\n"
      "QuitWhenDone not set (the desktop program stays open after a run)\n"
      "RecurseFolders not set (subfolders are not entered)\n"
      "ReplaceFilesBySameName not set (existing files are kept, and the incoming file "
      "gets a distinct name)\n"
      "AggregateAppResourcesOnly not set (only the resources of an application are sorted)\n"
      "PreserveComments not set (comments are not copied)\n");
  EXPECT_THAT(NamesIn(At("config")), IsEmpty());
}

TEST_F(DefaultsCommand, ReadsStoredValues) {
  WriteFile(PreferencesPath(),
            "TessaryType = \"2\\n\"\nFileOperation = 70000\nQuitWhenDone = true\n"
            "RecurseFolders = false\nReplaceFilesBySameName = 1.5\nOther = 3\n");
  ExpectOutput(
      {"defaults", "read"},
      "FileOperation = 70000 (invalid: expected 1 or 2)\n"
      "TessaryType = \"2\\n\" (invalid: expected a whole number)\n"
      "QuitWhenDone = true\n"
      "RecurseFolders = false\n"
      "ReplaceFilesBySameName = 1.5 (invalid: expected true or false)\n"
      "AggregateAppResourcesOnly not set (only the resources of an application are sorted)\n"
      "PreserveComments not set (comments are not copied)\n");
  ExpectOutput({"defaults", "read", "FileOperation"}, "70000 (invalid: expected 1 or 2)\n");
  ExpectOutput({"defaults", "read", "QuitWhenDone"}, "true\n");
  ExpectOutput({"defaults", "read", "TessaryType"},
               "\"2\\n\" (invalid: expected a whole number)\n");
}

TEST_F(DefaultsCommand, FailsToReadUnsetKey) {
  ExpectError({"defaults", "read", "TessaryType"}, "TessaryType: not set");
}

TEST_F(DefaultsCommand, KeepsOtherKeys) {
  WriteFile(PreferencesPath(), "# mine\nOther = \"x\" # kept\nQuitWhenDone = true\n");
  ExpectOutput({"defaults", "write", "TessaryType", "-int", "4"}, "");
  ExpectOutput({"defaults", "read", "TessaryType"}, "4\n");
  ExpectOutput({"defaults", "write", "QuitWhenDone", "-bool", "no"}, "");
  ExpectOutput({"defaults", "read", "QuitWhenDone"}, "false\n");
  EXPECT_THAT(ReadFile(PreferencesPath()), HasSubstr("# mine\nOther = \"x\" # kept\n"));
  ExpectOutput({"defaults", "delete", "TessaryType"}, "");
  ExpectError({"defaults", "read", "TessaryType"}, "not set");
  ExpectOutput({"defaults", "read", "QuitWhenDone"}, "false\n");
}

TEST_F(DefaultsCommand, WritesMeaninglessNumberOnlyIfForced) {
  ExpectError({"defaults", "write", "TessaryType", "6"},
              "6: invalid value for TessaryType: expected a number from 1 to 5, or --force", 2);
  ExpectOutput({"defaults", "write", "--force", "TessaryType", "6"}, "");
  ExpectOutput({"defaults", "read", "TessaryType"}, "6 (invalid: expected a number from 1 to 5)\n");
  ExpectOutput({"defaults", "write", "--force", "FileOperation", "-1"}, "");
  ExpectOutput({"defaults", "read", "FileOperation"}, "-1 (invalid: expected 1 or 2)\n");
}

TEST_F(DefaultsCommand, PrintsValuesOfOtherTypes) {
  WriteFile(PreferencesPath(),
            "TessaryType = 3.5\nFileOperation = [1,\n2]\nQuitWhenDone = 2026-11-22\n");
  ExpectOutput({"defaults", "read", "TessaryType"}, "3.5 (invalid: expected a whole number)\n");
  ExpectOutput({"defaults", "read", "FileOperation"}, "[...] (invalid: expected a whole number)\n");
  ExpectOutput({"defaults", "read", "QuitWhenDone"},
               "2026-11-22 (invalid: expected true or false)\n");
}

TEST_F(DefaultsCommand, CreatesPreferencesFile) {
  ExpectOutput({"defaults", "write", "RecurseFolders", "-bool", "yes"}, "");
  ExpectOutput({"defaults", "read", "RecurseFolders"}, "true\n");
}

TEST_F(DefaultsCommand, DeletesUnsetKeyWithoutWriting) {
  ExpectOutput({"defaults", "delete", "TessaryType"}, "");
  EXPECT_THAT(NamesIn(At("config")), IsEmpty());
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  const std::vector<std::string> before = DescribeTree(At("config"));
  ExpectOutput({"defaults", "delete", "TessaryType"}, "");
  EXPECT_EQ(before, DescribeTree(At("config")));
}

TEST_F(DefaultsCommand, KeepsUnparsableFile) {
  WriteFile(PreferencesPath(), "QuitWhenDone = \n");
  ExpectError({"defaults", "read"}, "preferences.toml");
  ExpectError({"defaults", "read", "QuitWhenDone"}, "preferences.toml");
  ExpectError({"defaults", "write", "QuitWhenDone", "-bool", "true"}, "preferences.toml");
  ExpectError({"defaults", "delete", "QuitWhenDone"}, "preferences.toml");
}

TEST_F(DefaultsCommand, FailsIfFileIsReadOnly) {
  OpenToOrdinaryUser();
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  EXPECT_EQ(0, chmod(PreferencesPath().c_str(), 0444));
  EXPECT_EQ(0, chmod(At("config/tessary").c_str(), 0555));
  const ProgramSetup ordinary = {.isOrdinaryUser = true};
  ExpectError({"defaults", "write", "QuitWhenDone", "-bool", "no"}, "preferences.toml", 1,
              ordinary);
  ExpectError({"defaults", "delete", "QuitWhenDone"}, "preferences.toml", 1, ordinary);
}

TEST_F(DefaultsCommand, RefusesBadUsage) {
  WriteFile(PreferencesPath(), "QuitWhenDone = true\n");
  ExpectError({"defaults"}, "read, write or delete", 2);
  ExpectError({"defaults", "read", "Kind"}, "Kind: unknown key", 2);
  ExpectError({"defaults", "delete", "Kind"}, "Kind: unknown key", 2);
  ExpectError({"defaults", "write", "Kind", "-int", "1"}, "Kind: unknown key", 2);
  ExpectError({"defaults", "write", "QuitWhenDone", "-int", "1"}, "-bool", 2);
  ExpectError({"defaults", "write", "QuitWhenDone", "-string", "1"}, "-bool", 2);
  ExpectError({"defaults", "write", "TessaryType", "-int", "40000"}, "32767", 2);
  ExpectError({"defaults", "write", "QuitWhenDone", "-bool", "maybe"}, "maybe: invalid value", 2);
  ExpectError({"defaults", "write", "QuitWhenDone", "-bool"}, "missing VALUE", 2);
}

TEST_F(DefaultsCommand, FailsIfOutputCannotBeWritten) {
  const ProgramSetup full = {.outputPath = "/dev/full"};
  ExpectError({"defaults", "read"}, "standard output: write error", 1, full);
  ExpectError({"--help"}, "standard output: write error", 1, full);
  ExpectError({"--version"}, "standard output: write error", 1, {.closedFiles = {1}});
}

TEST_F(DefaultsCommand, PrintsHelpAndVersion) {
  ExpectOutput({"--version"}, "tessary-cli 0.1.0\n");
  ExpectOutput({"--help"}, HelpText(kProgramSpec));
  ExpectOutput({"defaults", "write", "-h"}, HelpText(kDefaultsSpec));
}

TEST_F(DefaultsCommand, WritesWithoutAType) {
  ExpectOutput({"defaults", "write", "TessaryType", "4"}, "");
  ExpectOutput({"defaults", "read", "TessaryType"}, "4\n");
  ExpectOutput({"defaults", "write", "FileOperation", "--", "1"}, "");
  ExpectOutput({"defaults", "read", "FileOperation"}, "1\n");
  ExpectOutput({"defaults", "write", "QuitWhenDone", "yes"}, "");
  ExpectOutput({"defaults", "read", "QuitWhenDone"}, "true\n");
}

}  // namespace
}  // namespace tessary::test
