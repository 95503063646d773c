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

#include "tests/support/environment_variable.h"
#include "tests/support/memory_volume.h"
#include "tests/support/paused_calls.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

using testing::HasSubstr;

using Value = std::optional<CFPropertyList>;
using Names = std::vector<std::string>;

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool SetAndSynchronise(const std::string& key, const Value& value) {
  CFPreferencesSetAppValue(key, value);
  return CFPreferencesAppSynchronize();
}

// Runs `body` in a child process; true when it made no expectation fail.
bool RunInChild(const std::function<void()>& body) {
  (void)std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    body();
    (void)std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Runs `body` as a user whom permissions bind, to whom the configuration folder is given first.
bool RunAsOrdinaryUser(const std::string& configHome, const std::function<void()>& body) {
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

TEST(PreferencesStore, ReadsEachTypeAsItsOwn) {
  const PreferencesFolder folder;
  folder.Write("b = true\nn = 1\ns = 'true'\nf = 1.0\n");
  EXPECT_EQ(Value(true), CFPreferencesCopyAppValue("b"));
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("n"));
  EXPECT_EQ(Value(std::string("true")), CFPreferencesCopyAppValue("s"));
  EXPECT_EQ(Value(UnsupportedPreferenceValue{}), CFPreferencesCopyAppValue("f"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("absent"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("B"));
}

TEST(PreferencesStore, TellsThePathOfItsFile) {
  const PreferencesFolder folder;
  EXPECT_EQ(folder.PreferencesPath(), PreferencesFilePath());
}

TEST(PreferencesStore, IsEmptyAndWellWithoutAFileOrWithADanglingLink) {
  const PreferencesFolder folder;
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_FALSE(Exists(FolderOf(folder.PreferencesPath())));
  MakeLink("nowhere", folder.PreferencesPath());
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, DescribePreferencesProblem());
}

TEST(PreferencesStore, SeesOutsideChangesAtASynchroniseOnly) {
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

TEST(PreferencesStore, SeesChangesOfTheSameSizeThatComeFasterThanTheClockTicks) {
  const PreferencesFolder folder;
  for (int64_t i = 0; i < 2000; ++i) {
    folder.Write("N = " + std::to_string(i % 10) + "\n");
    ASSERT_EQ(Value(i % 10), CFPreferencesCopyAppValue("N")) << i;
  }
}

TEST(PreferencesStore, SeesAChangeThatKeepsSizeAndModificationDateOfAnOldFile) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  SetModificationDate(folder.PreferencesPath(), 1000);
  // Until the file is old enough for its stamp to be trusted.
  std::this_thread::sleep_for(std::chrono::milliseconds(2200));
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
  WriteFile(folder.PreferencesPath(), "N = 2\n");
  SetModificationDate(folder.PreferencesPath(), 1000);
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(Value(int64_t{2}), CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, LoadsTheFileAtTheFirstReadOfAProcess) {
  // In the style that starts this program anew, where nothing has used the store yet; the child
  // runs this test from its beginning, with a temporary folder of its own.
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
  // An empty value is as good as none.
  setenv("XDG_CONFIG_HOME", savedHome.c_str(), 1);
}

TEST(PreferencesStore, WritesAtASynchroniseWhatReadsSeeAtOnce) {
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

TEST(PreferencesStore, MakesFileAndFolderForTheirUserAlone) {
  const PreferencesFolder folder;
  EXPECT_TRUE(SetAndSynchronise("N", int64_t{1}));
  EXPECT_EQ("N = 1\n", ReadFile(folder.PreferencesPath()));
  struct stat info = {};
  ASSERT_EQ(0, stat(FolderOf(folder.PreferencesPath()).c_str(), &info));
  EXPECT_EQ(0700U, info.st_mode & 07777);
  ASSERT_EQ(0, stat(folder.PreferencesPath().c_str(), &info));
  EXPECT_EQ(0600U, info.st_mode & 07777);
}

TEST(PreferencesStore, TouchesNothingWhenNothingChanges) {
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

TEST(PreferencesStore, WritesBesideWhatOthersWroteSinceTheLastRead) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  WriteFile(folder.PreferencesPath(), "# new\nN = 1\nM = 7\n");
  EXPECT_TRUE(SetAndSynchronise("N", int64_t{2}));
  EXPECT_EQ("# new\nN = 2\nM = 7\n", ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(Value(int64_t{7}), CFPreferencesCopyAppValue("M"));
}

TEST(PreferencesStore, WritesThroughALinkAndKeepsIt) {
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

TEST(PreferencesStore, FailsToWriteThroughALinkIntoAFolderThatIsMissing) {
  const PreferencesFolder folder;
  MakeLink("no folder/mine.toml", folder.PreferencesPath());
  EXPECT_FALSE(SetAndSynchronise("N", int64_t{1}));
  EXPECT_THAT(DescribePreferencesProblem().value_or(""),
              HasSubstr("the folder that it lies in does not exist"));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, NeverReplacesAFileThatCannotBeParsed) {
  const PreferencesFolder folder;
  const std::string text = "N = 1\nM = yes\n";
  folder.Write("N = 1\n");
  WriteFile(folder.PreferencesPath(), text);
  EXPECT_FALSE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_THAT(DescribePreferencesProblem().value_or(""),
              HasSubstr(folder.PreferencesPath() + " cannot be read, because line 2, column 5: "));
  for (const Value& value : {Value(int64_t{2}), Value()}) {
    EXPECT_FALSE(SetAndSynchronise("N", value));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""),
                HasSubstr(folder.PreferencesPath() + " was not changed, because line 2, column 5"));
  }
  EXPECT_EQ(text, ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_FALSE(CFPreferencesAppSynchronize());
  EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr(" cannot be read, because "));
  folder.Write("N = 1\n");
  EXPECT_EQ(std::nullopt, DescribePreferencesProblem());
  EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
}

TEST(PreferencesStore, NeverReplacesAFileThatItDoesNotReadWhole) {
  const PreferencesFolder folder;
  const std::string text = "N = 1\n#" + std::string(70000, ' ') + "\nM = 2\n";
  folder.Write(text);
  EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
  EXPECT_FALSE(SetAndSynchronise("N", int64_t{2}));
  EXPECT_EQ(text, ReadFile(folder.PreferencesPath()));
}

// Why the store, with its file below this folder, could not do what it was asked for.
std::string ProblemBelow(const std::string& configHome) {
  const EnvironmentVariable variable("XDG_CONFIG_HOME", configHome);
  // What is set before would be forgotten with the file before.
  (void)CFPreferencesAppSynchronize();
  EXPECT_FALSE(SetAndSynchronise("a", true)) << configHome;
  return DescribePreferencesProblem().value_or("");
}

TEST(PreferencesStore, TellsWhatIsWrongWithThePathOfItsFile) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  EXPECT_THAT(ProblemBelow(folder / "file"), HasSubstr("because a part of its path is no folder"));
  MakeLink("preferences.toml", folder / "tessary/preferences.toml");
  EXPECT_THAT(ProblemBelow(folder.path()), HasSubstr("because the file system reports error -36"));
}

TEST(PreferencesStore, TellsThatTheVolumeIsFullOrReadOnlyAndKeepsTheFile) {
  MemoryVolume volume("size=64k");
  if (!volume.IsMounted()) GTEST_SKIP() << "this process may not mount a volume of its own";
  const std::string path = volume / "tessary/preferences.toml";
  WriteFile(path, "b = 1\n");
  std::ofstream(volume / "filling") << std::string(100'000, 'x');
  EXPECT_THAT(ProblemBelow(volume.path()), HasSubstr("because there is no room on the volume"));
  EXPECT_EQ("b = 1\n", ReadFile(path));
  EXPECT_EQ(Names{"preferences.toml"}, NamesIn(volume / "tessary"));
  std::filesystem::remove(volume / "filling");
  volume.MakeReadOnly();
  EXPECT_THAT(ProblemBelow(volume.path()), HasSubstr("because the volume is read-only"));
}

TEST(PreferencesStore, ForgetsWhatCouldNotBeWritten) {
  const PreferencesFolder folder;
  folder.Write("[N]\n");
  EXPECT_FALSE(SetAndSynchronise("N", int64_t{1}));
  EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr("\"N\" is a table in it"));
  EXPECT_EQ(Value(UnsupportedPreferenceValue{}), CFPreferencesCopyAppValue("N"));
  EXPECT_TRUE(CFPreferencesAppSynchronize());
  EXPECT_EQ(std::nullopt, DescribePreferencesProblem());
  EXPECT_EQ("[N]\n", ReadFile(folder.PreferencesPath()));
}

TEST(PreferencesStore, ForgetsWhatWasSetForAnotherFile) {
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

TEST(OverridePreference, ComesFirstAndIsNeverWritten) {
  const PreferencesFolder folder;
  folder.Write("Laid = 1\nM = 1\n");
  const auto body = [&] {
    OverridePreference("Laid", true);
    EXPECT_EQ(Value(true), CFPreferencesCopyAppValue("Laid"));
    EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("M"));
    EXPECT_TRUE(SetAndSynchronise("M", int64_t{2}));
    EXPECT_EQ("Laid = 1\nM = 2\n", ReadFile(folder.PreferencesPath()));
    EXPECT_TRUE(SetAndSynchronise("Laid", int64_t{3}));
    EXPECT_EQ("Laid = 3\nM = 2\n", ReadFile(folder.PreferencesPath()));
    WriteFile(folder.PreferencesPath(), "Laid = = 4\n");
    EXPECT_FALSE(CFPreferencesAppSynchronize());
    EXPECT_EQ(Value(true), CFPreferencesCopyAppValue("Laid"));
  };
  // In a process of its own, because what is laid stays.
  EXPECT_TRUE(RunInChild(body));
}

TEST(PreferencesStore, StandsForAnEmptyOneWhereTheFileMayNotBeRead) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0200));
  const std::string configHome = FolderOf(FolderOf(folder.PreferencesPath()));
  EXPECT_TRUE(RunAsOrdinaryUser(configHome, [] {
    EXPECT_FALSE(CFPreferencesAppSynchronize());
    EXPECT_EQ(std::nullopt, CFPreferencesCopyAppValue("N"));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr("permission is denied"));
    EXPECT_FALSE(SetAndSynchronise("N", int64_t{2}));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr("was not changed"));
  }));
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0600));
  EXPECT_EQ("N = 1\n", ReadFile(folder.PreferencesPath()));
}

TEST(PreferencesStore, LeavesAWriteProtectedFileOrFolderAlone) {
  const PreferencesFolder folder;
  folder.Write("N = 1\n");
  const std::string configHome = FolderOf(FolderOf(folder.PreferencesPath()));
  const auto body = [] {
    EXPECT_TRUE(CFPreferencesAppSynchronize());
    EXPECT_FALSE(SetAndSynchronise("N", int64_t{2}));
    EXPECT_THAT(DescribePreferencesProblem().value_or(""), HasSubstr("permission is denied"));
    EXPECT_EQ(Value(int64_t{1}), CFPreferencesCopyAppValue("N"));
  };
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0400));
  EXPECT_TRUE(RunAsOrdinaryUser(configHome, body));
  ASSERT_EQ(0, chmod(folder.PreferencesPath().c_str(), 0600));
  ASSERT_EQ(0, chmod(FolderOf(folder.PreferencesPath()).c_str(), 0500));
  EXPECT_TRUE(RunAsOrdinaryUser(configHome, body));
  EXPECT_EQ("N = 1\n", ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(Names{"preferences.toml"}, NamesIn(FolderOf(folder.PreferencesPath())));
}

TEST(PreferencesStore, LosesNothingOfSeveralProgramsThatWriteAtOnce) {
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
      bool isWell = true;
      for (int64_t i = 1; i <= kWrites; ++i) {
        isWell = isWell && SetAndSynchronise(key, i);
        isWell = isWell && CFPreferencesCopyAppValue(key) == Value(i);
      }
      _exit(isWell ? 0 : 1);
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

TEST(PreferencesStore, ShowsReadersTheOldTextOrTheNewNeverAPart) {
  const PreferencesFolder folder;
  const std::string filling = "# " + std::string(20000, 'x') + "\n";
  folder.Write("N = 1\n" + filling);
  (void)std::fflush(nullptr);
  const pid_t writer = fork();
  if (writer == 0) {
    bool isWell = true;
    for (int64_t i = 0; i < 60; ++i) isWell = isWell && SetAndSynchronise("N", i % 2 + 1);
    _exit(isWell ? 0 : 1);
  }
  std::set<std::string> seen;
  int status = -1;
  while (waitpid(writer, &status, WNOHANG) == 0) seen.insert(ReadFile(folder.PreferencesPath()));
  EXPECT_EQ(0, status);
  EXPECT_FALSE(seen.empty());
  for (const std::string& text : seen) {
    EXPECT_TRUE(text == "N = 1\n" + filling || text == "N = 2\n" + filling) << text.size();
  }
}

TEST(PreferencesStore, GivesUpOnAFileThatKeepsChanging) {
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
                HasSubstr("because another program keeps changing it;"));
    EXPECT_EQ("Other = 1111111111\n", ReadFile(preferences.PreferencesPath()));
  });
}

}  // namespace
}  // namespace tessary::test
