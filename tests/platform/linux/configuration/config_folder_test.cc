#include "platform/linux/configuration/config_folder.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

// Sets or unsets an environment variable, and restores it when destroyed.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const std::optional<std::string>& value) : name_(name) {
    if (const char* saved = std::getenv(name)) saved_ = saved;
    Assign(value);
  }
  ~ScopedVariable() { Assign(saved_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  void Assign(const std::optional<std::string>& value) {
    if (value) {
      setenv(name_, value->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

  const char* name_;
  std::optional<std::string> saved_;
};

struct FolderRow {
  std::optional<std::string> configHome;
  std::optional<std::string> home;
  std::string expected;
};

TEST(ConfigFolder, FollowsTheEnvironment) {
  const std::string listed = std::string(getpwuid(getuid())->pw_dir) + "/.config/tessary";
  const std::vector<FolderRow> rows = {
      {"/a/b", "/home/u", "/a/b/tessary"},
      {"/a/b//", "/home/u", "/a/b/tessary"},
      {"/\xff\n", "/home/u", "/\xff\n/tessary"},
      {"/", "/home/u", "/tessary"},
      {"", "/home/u", "/home/u/.config/tessary"},
      {"relative/folder", "/home/u", "/home/u/.config/tessary"},
      {"~/x", "/home/u", "/home/u/.config/tessary"},
      {std::nullopt, "/home/u/", "/home/u/.config/tessary"},
      {std::nullopt, "/", "/.config/tessary"},
      {std::nullopt, std::nullopt, listed},
      {std::nullopt, "", listed},
      {std::nullopt, "relative", listed},
      {"", std::nullopt, listed},
  };
  for (const FolderRow& row : rows) {
    const ScopedVariable configHome("XDG_CONFIG_HOME", row.configHome);
    const ScopedVariable home("HOME", row.home);
    EXPECT_EQ(row.expected, ConfigFolder());
  }
}

mode_t ModeOf(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(0, stat(path.c_str(), &info)) << path;
  return info.st_mode & 07777;
}

TEST(MakeConfigFolder, CreatesPrivateFolders) {
  const TemporaryFolder folder;
  const ScopedVariable configHome("XDG_CONFIG_HOME", folder / "a/b");
  EXPECT_EQ(noErr, MakeConfigFolder());
  for (const char* made : {"a", "a/b", "a/b/tessary"}) EXPECT_EQ(0700U, ModeOf(folder / made));
}

TEST(MakeConfigFolder, KeepsExistingFolder) {
  const TemporaryFolder folder;
  const ScopedVariable configHome("XDG_CONFIG_HOME", folder.path());
  MakeFolder(folder / "tessary");
  ASSERT_EQ(0, chmod((folder / "tessary").c_str(), 0755));
  EXPECT_EQ(noErr, MakeConfigFolder());
  EXPECT_EQ(0755U, ModeOf(folder / "tessary"));
}

TEST(MakeConfigFolder, ReportsExistingFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  const ScopedVariable configHome("XDG_CONFIG_HOME", folder / "file");
  EXPECT_EQ(dirNFErr, MakeConfigFolder());
}

TEST(ConfigEnvironment, IsNotCurrentBeforeCapture) {
  const ScopedVariable configHome("XDG_CONFIG_HOME", std::nullopt);
  const ScopedVariable home("HOME", std::nullopt);
  EXPECT_FALSE(ConfigEnvironment().IsCurrent());
}

TEST(ConfigEnvironment, IsCurrentUntilVariableChanges) {
  const ScopedVariable configHome("XDG_CONFIG_HOME", "/first");
  const ScopedVariable home("HOME", "");
  ConfigEnvironment environment;
  environment.Capture();
  EXPECT_TRUE(environment.IsCurrent());
  {
    const ScopedVariable other("XDG_CONFIG_HOME", "/second");
    EXPECT_FALSE(environment.IsCurrent());
  }
  EXPECT_TRUE(environment.IsCurrent());
  const ScopedVariable none("HOME", std::nullopt);
  EXPECT_FALSE(environment.IsCurrent());
  environment.Capture();
  EXPECT_TRUE(environment.IsCurrent());
}

}  // namespace
}  // namespace tessary::test
