#include "platform/managers/integration.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/support/environment_variable.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using Text = std::optional<std::string>;

MenuFileEditor Writing(const std::string& newText) {
  return [newText](const Text&, std::string* text) {
    *text = newText;
    return MenuFileChange::kWrite;
  };
}

MenuFileChange Delete(const Text&, std::string* newText) {
  *newText = "text for the link target";
  return MenuFileChange::kDelete;
}

mode_t PermissionsOf(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(0, stat(path.c_str(), &info)) << path;
  return info.st_mode & 07777U;
}

TEST(EditMenuFile, PassesTextAndWritesResult) {
  const TemporaryFolder folder;
  const std::string path = folder / "a\n/.b/\xFF";
  Text seen = "not called";
  EXPECT_EQ(noErr, EditMenuFile(path, MenuFileKind::kDocument,
                                [&seen](const Text& text, std::string* newText) {
                                  seen = text;
                                  *newText = std::string("\xEF\xBB\xBFnew\0text", 11);
                                  return MenuFileChange::kWrite;
                                }));
  EXPECT_EQ(std::nullopt, seen);
  EXPECT_EQ(std::string("\xEF\xBB\xBFnew\0text", 11), ReadFile(path));
  EXPECT_EQ(0600U, PermissionsOf(path));
  EXPECT_EQ(std::vector<std::string>{"\xFF"}, NamesIn(folder / "a\n/.b"));
  std::string text;
  EXPECT_EQ(noErr, ReadMenuFile(path, &text));
  EXPECT_EQ(ReadFile(path), text);
}

TEST(EditMenuFile, NoChangeCreatesNothing) {
  const TemporaryFolder folder;
  const auto keep = [](const Text&, std::string*) { return MenuFileChange::kNone; };
  EXPECT_EQ(noErr, EditMenuFile(folder / "a/b", MenuFileKind::kDocument, keep));
  EXPECT_FALSE(Exists(folder / "a"));
}

TEST(EditMenuFile, MakesProgramExecutable) {
  const TemporaryFolder folder;
  EXPECT_EQ(noErr, EditMenuFile(folder / "new", MenuFileKind::kProgram, Writing("x")));
  EXPECT_EQ(0700U, PermissionsOf(folder / "new"));
  WriteFile(folder / "old");
  ASSERT_EQ(0, chmod((folder / "old").c_str(), 0640));
  EXPECT_EQ(noErr, EditMenuFile(folder / "old", MenuFileKind::kProgram, Writing("x")));
  EXPECT_EQ(0740U, PermissionsOf(folder / "old"));
}

TEST(EditMenuFile, DeletesFileButKeepsLink) {
  const TemporaryFolder folder;
  WriteFile(folder / "file", "x");
  EXPECT_EQ(noErr, EditMenuFile(folder / "file", MenuFileKind::kDocument, Delete));
  EXPECT_TRUE(NamesIn(folder.path()).empty());
  EXPECT_EQ(noErr, EditMenuFile(folder / "file", MenuFileKind::kDocument, Delete));
  WriteFile(folder / "kept/target", "x");
  MakeLink("kept/target", folder / "link");
  EXPECT_EQ(noErr, EditMenuFile(folder / "link", MenuFileKind::kDocument, Delete));
  EXPECT_EQ("text for the link target", ReadFile(folder / "kept/target"));
  EXPECT_TRUE(Exists(folder / "link"));
}

TEST(EditMenuFile, RepeatsAfterConcurrentChange) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  WriteFile(path, "first");
  int calls = 0;
  const Status status =
      EditMenuFile(path, MenuFileKind::kDocument, [&](const Text& text, std::string* newText) {
        if (++calls == 2) WriteFile(path, "another program's");
        *newText = text.value_or("") + " and ours";
        return MenuFileChange::kWrite;
      });
  EXPECT_EQ(noErr, status);
  EXPECT_EQ("another program's and ours", ReadFile(path));
}

TEST(EditMenuFile, FailsAfterRepeatedChanges) {
  const TemporaryFolder folder;
  const std::string path = folder / "file";
  WriteFile(path, "x");
  for (const MenuFileChange change : {MenuFileChange::kWrite, MenuFileChange::kDelete}) {
    const Status status =
        EditMenuFile(path, MenuFileKind::kDocument, [&](const Text& text, std::string* newText) {
          WriteFile(path, text.value_or("") + "x");
          *newText = "ours";
          return change;
        });
    EXPECT_EQ(fBsyErr, status);
    EXPECT_EQ(std::string::npos, ReadFile(path).find("ours"));
  }
}

TEST(EditMenuFile, RejectsNonFilesAndLargeFiles) {
  const TemporaryFolder folder;
  MakeFolder(folder / "folder");
  ASSERT_EQ(0, mkfifo((folder / "fifo").c_str(), 0600));
  WriteFile(folder / "large", std::string((size_t{4} << 20U) + 1, 'x'));
  MakeLink("loop", folder / "loop");
  std::string text = "unchanged";
  for (const char* name : {"folder", "fifo", "large"}) {
    EXPECT_EQ(paramErr, EditMenuFile(folder / name, MenuFileKind::kDocument, Writing("x")));
    EXPECT_EQ(paramErr, ReadMenuFile(folder / name, &text));
  }
  EXPECT_NE(noErr, EditMenuFile(folder / "loop", MenuFileKind::kDocument, Writing("x")));
  EXPECT_NE(noErr, EditMenuFile(folder / "large/x", MenuFileKind::kDocument, Writing("x")));
  EXPECT_EQ(paramErr, EditMenuFile(folder / "x", MenuFileKind::kDocument, {}));
  EXPECT_EQ(paramErr, ReadMenuFile(folder / "x", nullptr));
  EXPECT_EQ(fnfErr, ReadMenuFile(folder / "x", &text));
  EXPECT_EQ("unchanged", text);
}

TEST(UserPaths, FollowTheEnvironment) {
  const EnvironmentVariable home("HOME", "/home/u");
  {
    const EnvironmentVariable config("XDG_CONFIG_HOME", "/c/");
    const EnvironmentVariable data("XDG_DATA_HOME", "/d");
    EXPECT_EQ("/c/x/y", UserConfigurationPath("x/y"));
    EXPECT_EQ("/d/x/y", UserDataPath("x/y"));
  }
  const EnvironmentVariable config("XDG_CONFIG_HOME", "relative");
  const EnvironmentVariable data("XDG_DATA_HOME", "");
  EXPECT_EQ("/home/u/.config/x", UserConfigurationPath("x"));
  EXPECT_EQ("/home/u/.local/share/x", UserDataPath("x"));
}

TEST(IsProgramInstalled, FindsExecutableFilesOnly) {
  const TemporaryFolder folder;
  MakeFolder(folder / "first/program");
  WriteFile(folder / "second/program");
  WriteFile(folder / "third/program");
  ASSERT_EQ(0, chmod((folder / "second/program").c_str(), 0644));
  ASSERT_EQ(0, chmod((folder / "third/program").c_str(), 0755));
  const std::string unusable = "::" + (folder / "first") + ":" + (folder / "second");
  {
    const EnvironmentVariable path("PATH", unusable + ":" + (folder / "third"));
    EXPECT_TRUE(IsProgramInstalled("program"));
    EXPECT_FALSE(IsProgramInstalled("another"));
  }
  for (const std::string& value : {unusable, std::string("third"), std::string()}) {
    const EnvironmentVariable path("PATH", value);
    EXPECT_FALSE(IsProgramInstalled("program")) << value;
  }
}

TEST(ReadSystemConfiguration, ReadsFirstFileFound) {
  const TemporaryFolder folder;
  WriteFile(folder / "second/a/b", "second");
  WriteFile(folder / "third/a/b", "third");
  MakeFolder(folder / "first/a/b");
  const EnvironmentVariable folders(
      "XDG_CONFIG_DIRS",
      "relative::" + (folder / "first") + ":" + (folder / "second") + ":" + (folder / "third"));
  EXPECT_EQ("second", ReadSystemConfiguration("a/b"));
  EXPECT_EQ(std::nullopt, ReadSystemConfiguration("a/c"));
}

}  // namespace
}  // namespace tessary::test
