#include "platform/managers/preferences_store.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/configuration/stamped_file.h"
#include "tests/support/environment_variable.h"
#include "tests/support/fault_injection/paused_calls.h"
#include "tests/support/memory_volume.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/run_in_child.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

using Value = std::optional<CFPropertyList>;
using Names = std::vector<std::string>;

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool SetAndSynchronise(const std::string& key, const Value& value) {
  CFPreferencesSetAppValue(key, value);
  return CFPreferencesAppSynchronize();
}

// Runs `body` as an ordinary user, who becomes the owner of the configuration folder.
bool RunAsUser(const std::string& configHome, const std::function<void()>& body) {
  if (geteuid() != 0) return RunInChild(body);
  constexpr uid_t kNobody = 65534;
  for (const std::string& path :
       {configHome, configHome + "/tessary", configHome + "/tessary/preferences.toml"}) {
    if (!Exists(path)) continue;
    EXPECT_EQ(0, lchown(path.c_str(), kNobody, kNobody)) << path;
  }
  return RunInChild([&] {
    ASSERT_EQ(0, setgroups(0, nullptr));
    ASSERT_EQ(0, setresgid(kNobody, kNobody, kNobody));
    ASSERT_EQ(0, setresuid(kNobody, kNobody, kNobody));
    body();
  });
}

TEST(PreferencesStore, DistinguishesTypes) {
  const PreferencesFolder folder;
  folder.Write("b = true\nn = 1\ns = 'true'\nf = 1.0\n");
  EXPECT_EQ(Value(true), CFPreferencesCopyAppValue("b"));
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("n"));
  EXPECT_EQ(Value(std::string("true")), CFPreferencesCopyAppValue("s"));
  EXPECT_EQ(Value(UnsupportedPreferenceValue{}), CFPreferencesCopyAppValue("f"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("absent"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("B"));
}

TEST(PreferencesStore, ReturnsPathOfFile) {
  const PreferencesFolder folder;
  EXPECT_EQ(folder.PreferencesPath(), PreferencesFilePath());
}

TEST(PreferencesStore, IsEmptyWithoutFile) {
  const PreferencesFolder folder;
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_FALSE(Exists(FolderOf(folder.PreferencesPath())));
  MakeLink("nowhere", folder.PreferencesPath());
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, DescribePreferencesProblem());
}

TEST(PreferencesStore, ReadsChangesOnSynchronise) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  for (const char* text : {"N = 2\n", "N = 3\n", "M = 1\n", "N = 10\n", ""}) {
    const Value before = CFPreferencesCopyAppValue("N");
    WriteFile(folder.PreferencesPath(), text);
    EXPECT_EQ(before, CFPreferencesCopyAppValue("N")) << text;
    EXPECT_TRUE(CFPreferencesAppSynchronize());
    EXPECT_NE(before, CFPreferencesCopyAppValue("N")) << text;
    folder.Write("N = 1\n");
  }
  ASSERT_EQ(0, unlink(folder.PreferencesPath().c_str()));
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, DetectsRapidChangesOfSameSize) {
  const PreferencesFolder folder;
  for (int64_t i = 0; i < 2000; ++i) {
    folder.Write("N = " + std::to_string(i % 10) + "\n");
    ASSERT_EQ(Value(i % 10), CFPreferencesCopyAppValue("N")) << i;
  }
}

// The kernel gives files on its own filesystems different times as soon as anybody has looked at
// them; the driver of exFAT stores times in steps, so that two writes may get the same ones.
TEST(PreferencesStore, DetectsChangesWithSameStamp) {
  const ScratchVolume exfat(VolumeKind::kExfat, "", 16);
  if (!exfat.IsAvailable()) GTEST_SKIP() << exfat.UnavailableReason();
  const EnvironmentVariable variable("XDG_CONFIG_HOME", exfat.path());
  const std::string path = exfat / "tessary/preferences.toml";
  WriteFile(path, "N = 0\n");
  FileStamp last;
  bool hasSameStamp = false;
  for (int64_t i = 1; i <= 500; ++i) {
    // In place, so that the file keeps its number.
    WriteFile(path, "N = " + std::to_string(i % 10) + "\n");
    EXPECT_TRUE(CFPreferencesAppSynchronize());
    ASSERT_EQ(Value(i % 10), CFPreferencesCopyAppValue("N")) << i;
    FileStamp stamp;
    ASSERT_EQ(noErr, ReadFileStamp(path.c_str(), &stamp));
    hasSameStamp |= stamp == last;
    last = stamp;
  }
  EXPECT_TRUE(hasSameStamp);
}

TEST(PreferencesStore, DetectsChangeWithSameSizeAndDate) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  SetModificationDate(folder.PreferencesPath(), 1000);
  // Wait until the file is old enough for its stamp to be trusted.
  std::this_thread::sleep_for(std::chrono::milliseconds(2200));
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
  WriteFile(folder.PreferencesPath(), "N = 2\n");
  SetModificationDate(folder.PreferencesPath(), 1000);
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(Value(int64_t{2}), CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, FirstReadLoadsFile) {
  // This style executes the program again, so that nothing has used the store yet. The child runs
  // this test from its start, with its own temporary folder.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const char* const saved = std::getenv("XDG_CONFIG_HOME");
  const std::string savedHome = saved != nullptr ? saved : "";
  const TemporaryFolder folder;
  setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
  const auto body = [&folder] {
    WriteFile(PreferencesFilePath(), "N = 5\n");
    const Value first = CFPreferencesCopyAppValue("N");
    WriteFile(PreferencesFilePath(), "N = 6\n");
    const Value second = CFPreferencesCopyAppValue("N");
    std::filesystem::remove_all(folder.path());
    std::exit(first == Value(int64_t{5}) && second == first ? 0 : 1);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
  // An empty value means unset.
  setenv("XDG_CONFIG_HOME", savedHome.c_str(), 1);
}

TEST(PreferencesStore, WritesOnSynchronise) {
  const PreferencesFolder folder;
  folder.Write("# note\nN = 1 # one\r\nM = true");
  CFPreferencesSetAppValue("N", int64_t{2});
  CFPreferencesSetAppValue("M", std::nullopt);
  CFPreferencesSetAppValue("S", std::string("x\ny"));
  EXPECT_EQ(Value(int64_t{2}), CFPreferencesCopyAppValue("N"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("M"));
  EXPECT_EQ("# note\nN = 1 # one\r\nM = true", ReadFile(folder.PreferencesPath()));
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ("# note\nN = 2 # one\r\nS = \"x\\u000Ay\"\n", ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(Value(int64_t{2}), CFPreferencesCopyAppValue("N"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("M"));
  EXPECT_EQ(Value(std::string("x\ny")), CFPreferencesCopyAppValue("S"));
  EXPECT_EQ(Names{"preferences.toml"}, NamesIn(FolderOf(folder.PreferencesPath())));
}

TEST(PreferencesStore, CreatesPrivateFileAndFolder) {
  const PreferencesFolder folder;
  EXPECT_TRUE(SetAndSynchronise("N", int64_t{1}));
  EXPECT_EQ("N = 1\n", ReadFile(folder.PreferencesPath()));
  struct stat info = {};
  ASSERT_EQ(0, stat(FolderOf(folder.PreferencesPath()).c_str(), &info));
  EXPECT_EQ(0700U, info.st_mode & 07777);
  ASSERT_EQ(0, stat(folder.PreferencesPath().c_str(), &info));
  EXPECT_EQ(0600U, info.st_mode & 07777);
}

TEST(PreferencesStore, NoChangeWritesNothing) {
  const PreferencesFolder folder;
  EXPECT_TRUE(SetAndSynchronise("N", std::nullopt));
  EXPECT_FALSE(Exists(FolderOf(folder.PreferencesPath())));
  folder.Write("N = 0x1\n");
  struct stat before = {};
  ASSERT_EQ(0, stat(folder.PreferencesPath().c_str(), &before));
  EXPECT_TRUE(SetAndSynchronise("N", int64_t{1}));
  struct stat after = {};
  ASSERT_EQ(0, stat(folder.PreferencesPath().c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ("N = 0x1\n", ReadFile(folder.PreferencesPath()));
}

TEST(PreferencesStore, KeepsChangesOfOtherPrograms) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  WriteFile(folder.PreferencesPath(), "# new\nN = 1\nM = 7\n");
  EXPECT_TRUE(SetAndSynchronise("N", int64_t{2}));
  EXPECT_EQ("# new\nN = 2\nM = 7\n", ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(Value(int64_t{7}), CFPreferencesCopyAppValue("M"));
}

TEST(PreferencesStore, WritesThroughLink) {
  const PreferencesFolder folder;
  const TemporaryFolder elsewhere;
  MakeLink(elsewhere / "mine.toml", folder.PreferencesPath());
  EXPECT_TRUE(SetAndSynchronise("N", int64_t{1}));
  EXPECT_EQ("N = 1\n", ReadFile(elsewhere / "mine.toml"));
  EXPECT_TRUE(SetAndSynchronise("N", int64_t{2}));
  EXPECT_EQ("N = 2\n", ReadFile(elsewhere / "mine.toml"));
  EXPECT_EQ(Names{"mine.toml"}, NamesIn(elsewhere.path()));
  struct stat info = {};
  ASSERT_EQ(0, lstat(folder.PreferencesPath().c_str(), &info));
  EXPECT_TRUE(S_ISLNK(info.st_mode));
  WriteFile(elsewhere / "mine.toml", "N = 3\n");
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(Value(int64_t{3}), CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, ReportsLinkIntoMissingFolder) {
  const PreferencesFolder folder;
  MakeLink("no folder/mine.toml", folder.PreferencesPath());
  EXPECT_FALSE(SetAndSynchronise("N", int64_t{1}));
  EXPECT_THAT(DescribePreferencesProblem().value_or(""),
              HasSubstr(": its folder does not exist; not changed"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, DoesNotReplaceInvalidFile) {
  const PreferencesFolder folder;
  const std::string text = "N = 1\nM = yes\n";
  folder.Write("N = 1\n");
  WriteFile(folder.PreferencesPath(), text);
  EXPECT_FALSE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_THAT(DescribePreferencesProblem().value_or(""),
              MatchesRegex(folder.PreferencesPath() + ":2:5: .*; using defaults"));
  for (const Value& value : {Value(int64_t{2}), Value()}) {
    EXPECT_FALSE(SetAndSynchronise("N", value));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""),
                MatchesRegex(folder.PreferencesPath() + ":2:5: .*; not changed"));
  }
  EXPECT_EQ(text, ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_FALSE(CFPreferencesAppSynchronize());
  EXPECT_THAT(DescribePreferencesProblem().value_or(""), EndsWith("; using defaults"));
  folder.Write("N = 1\n");
  EXPECT_EQ(std::nullopt, DescribePreferencesProblem());
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, DoesNotReplaceTooLargeFile) {
  const PreferencesFolder folder;
  const std::string text = "N = 1\n#" + std::string(70000, ' ') + "\nM = 2\n";
  folder.Write(text);
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_FALSE(SetAndSynchronise("N", int64_t{2}));
  EXPECT_EQ(text, ReadFile(folder.PreferencesPath()));
}

// Returns the problem of setting a value in the preferences file below this folder.
std::string ProblemBelow(const std::string& configHome) {
  const EnvironmentVariable variable("XDG_CONFIG_HOME", configHome);
  // Switches to the new file first, because a change pending for the old file is discarded.
  (void)CFPreferencesAppSynchronize();
  EXPECT_FALSE(SetAndSynchronise("a", true)) << configHome;
  return DescribePreferencesProblem().value_or("");
}

TEST(PreferencesStore, ReportsInvalidPath) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  EXPECT_THAT(ProblemBelow(folder / "file"),
              HasSubstr(": a component of the path is not a folder;"));
  MakeLink("preferences.toml", folder / "tessary/preferences.toml");
  EXPECT_THAT(ProblemBelow(folder.path()), HasSubstr(": filesystem error -36;"));
}

TEST(PreferencesStore, ReportsFullAndReadOnlyFilesystem) {
  MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "this process may not mount a filesystem";
  const std::string path = volume / "tessary/preferences.toml";
  WriteFile(path, "b = 1\n");
  std::ofstream(volume / "filler") << std::string(100'000, 'x');
  EXPECT_THAT(ProblemBelow(volume.path()), HasSubstr(": no space left on device;"));
  EXPECT_EQ("b = 1\n", ReadFile(path));
  EXPECT_EQ(Names{"preferences.toml"}, NamesIn(volume / "tessary"));
  std::filesystem::remove(volume / "filler");
  volume.MakeReadOnly();
  EXPECT_THAT(ProblemBelow(volume.path()), HasSubstr(": read-only filesystem;"));
}

TEST(PreferencesStore, DiscardsChangeThatFailed) {
  const PreferencesFolder folder;
  folder.Write("[N]\n");
  EXPECT_FALSE(SetAndSynchronise("N", int64_t{1}));
  EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr("\"N\" is a table"));
  EXPECT_EQ(Value(UnsupportedPreferenceValue{}), CFPreferencesCopyAppValue("N"));
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, DescribePreferencesProblem());
  EXPECT_EQ("[N]\n", ReadFile(folder.PreferencesPath()));
}

TEST(PreferencesStore, DiscardsChangesForPreviousFile) {
  const PreferencesFolder first;
  first.Write("N = 1\n");
  CFPreferencesSetAppValue("N", int64_t{2});
  {
    const PreferencesFolder second;
    EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
    EXPECT_FALSE(Exists(second.PreferencesPath()));
    second.Write("N = 3\n");
    EXPECT_EQ(Value(int64_t{3}), CFPreferencesCopyAppValue("N"));
  }
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
  EXPECT_EQ("N = 1\n", ReadFile(first.PreferencesPath()));
}

TEST(OverridePreference, HasPrecedenceAndIsNotWritten) {
  const PreferencesFolder folder;
  folder.Write("Overridden = 1\nM = 1\n");
  const auto body = [&] {
    OverridePreference("Overridden", true);
    EXPECT_EQ(Value(true), CFPreferencesCopyAppValue("Overridden"));
    EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("M"));
    EXPECT_TRUE(SetAndSynchronise("M", int64_t{2}));
    EXPECT_EQ("Overridden = 1\nM = 2\n", ReadFile(folder.PreferencesPath()));
    EXPECT_TRUE(SetAndSynchronise("Overridden", int64_t{3}));
    EXPECT_EQ("Overridden = 3\nM = 2\n", ReadFile(folder.PreferencesPath()));
    WriteFile(folder.PreferencesPath(), "Overridden = = 4\n");
    EXPECT_FALSE(CFPreferencesAppSynchronize());
    EXPECT_EQ(Value(true), CFPreferencesCopyAppValue("Overridden"));
  };
  // In a child process, because an override stays for the life of the process.
  EXPECT_TRUE(RunInChild(body));
}

TEST(PreferencesStore, UnreadableFileMeansDefaults) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0200));
  const std::string configHome = FolderOf(FolderOf(folder.PreferencesPath()));
  EXPECT_TRUE(RunAsUser(configHome, [] {
    EXPECT_FALSE(CFPreferencesAppSynchronize());
    EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr(": permission denied;"));
    EXPECT_FALSE(SetAndSynchronise("N", int64_t{2}));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""), EndsWith("; not changed"));
  }));
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0600));
  EXPECT_EQ("N = 1\n", ReadFile(folder.PreferencesPath()));
}

TEST(PreferencesStore, KeepsWriteProtectedFile) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  const std::string configHome = FolderOf(FolderOf(folder.PreferencesPath()));
  const auto body = [] {
    EXPECT_TRUE(CFPreferencesAppSynchronize());
    EXPECT_FALSE(SetAndSynchronise("N", int64_t{2}));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr(": permission denied;"));
    EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
  };
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0400));
  EXPECT_TRUE(RunAsUser(configHome, body));
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0600));
  ASSERT_EQ(0, chmod(FolderOf(folder.PreferencesPath()).c_str(), 0500));
  EXPECT_TRUE(RunAsUser(configHome, body));
  EXPECT_EQ("N = 1\n", ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(Names{"preferences.toml"}, NamesIn(FolderOf(folder.PreferencesPath())));
}

TEST(PreferencesStore, ConcurrentWritersLoseNothing) {
  const PreferencesFolder folder;
  folder.Write("# head\nkept = 1 # note\n[table]\nkey0 = 'other'\n");
  constexpr int kPrograms = 4;
  constexpr int64_t kWrites = 40;
  std::vector<pid_t> programs;
  (void)std::fflush(nullptr);
  for (int program = 0; program < kPrograms; ++program) {
    const pid_t child = fork();
    if (child == 0) {
      const std::string key = "key" + std::to_string(program);
      bool succeeded = true;
      for (int64_t i = 1; i <= kWrites; ++i) {
        succeeded = succeeded && SetAndSynchronise(key, i);
        succeeded = succeeded && CFPreferencesCopyAppValue(key) == Value(i);
      }
      _exit(succeeded ? 0 : 1);
    }
    programs.push_back(child);
  }
  for (const pid_t program : programs) {
    int status = -1;
    ASSERT_EQ(program, waitpid(program, &status, 0));
    EXPECT_EQ(0, status);
  }
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  for (int program = 0; program < kPrograms; ++program) {
    EXPECT_EQ(Value(kWrites), CFPreferencesCopyAppValue("key" + std::to_string(program)));
  }
  const std::string text = ReadFile(folder.PreferencesPath());
  EXPECT_EQ(0U, text.find("# head\nkept = 1 # note\nkey"));
  EXPECT_THAT(text, HasSubstr("\n[table]\nkey0 = 'other'\n"));
  EXPECT_EQ(Names{"preferences.toml"}, NamesIn(FolderOf(folder.PreferencesPath())));
}

TEST(PreferencesStore, ReadersNeverSeePartialText) {
  const PreferencesFolder folder;
  const std::string filler = "# " + std::string(20000, 'x') + "\n";
  folder.Write("N = 1\n" + filler);
  (void)std::fflush(nullptr);
  const pid_t writer = fork();
  if (writer == 0) {
    bool succeeded = true;
    for (int64_t i = 0; i < 60; ++i) succeeded = succeeded && SetAndSynchronise("N", i % 2 + 1);
    _exit(succeeded ? 0 : 1);
  }
  std::set<std::string> seen;
  int status = -1;
  while (waitpid(writer, &status, WNOHANG) == 0) seen.insert(ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(0, status);
  EXPECT_FALSE(seen.empty());
  for (const std::string& text : seen) {
    EXPECT_TRUE(text == "N = 1\n" + filler || text == "N = 2\n" + filler) << text.size();
  }
}

TEST(PreferencesStore, FailsAfterRepeatedChanges) {
  const PreferencesFolder preferences;
  preferences.Write("Other = 0\n");
  std::vector<PausedCall> saves;
  for (int save = 1; save <= 10; ++save) {
    saves.push_back({SYS_fsync, "", save, [&preferences, save] {
                       WriteFile(preferences.PreferencesPath(),
                                 "Other = " + std::string(static_cast<size_t>(save), '1') + "\n");
                     }});
  }
  RunWithPausedCalls(saves, [&preferences] {
    EXPECT_FALSE(SetAndSynchronise("Key", CFPropertyList(true)));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""),
                HasSubstr(": another program keeps changing it;"));
    EXPECT_EQ("Other = 1111111111\n", ReadFile(preferences.PreferencesPath()));
  });
}

}  // namespace
}  // namespace tessary::test
