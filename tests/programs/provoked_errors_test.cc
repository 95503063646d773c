#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/programs/aggregate_fixture.h"
#include "tests/support/memory_volume.h"

// What the program prints for each error that a user can run into, and its exit status. In the
// expected lines, "~" stands for the scratch directory and "M" for a second filesystem.
namespace tessary::test {
namespace {

using testing::ElementsAreArray;
using testing::MatchesRegex;

class ProvokedErrors;

// One run of the program.
struct Provocation {
  const ProvokedErrors* test = nullptr;
  std::vector<std::string> arguments = {};
  ProgramSetup setup = {};
  std::unique_ptr<MemoryVolume> volume = {};
  UniqueFd held = {};  // a file that stays open during the run

  std::string At(const std::string& name) const;
  void MakeVolume(const std::string& options) { volume = std::make_unique<MemoryVolume>(options); }

  // Sets the arguments of a run from "source" to "destination", or to the second filesystem.
  void Aggregate(std::vector<std::string> options);
  void AggregateToVolume(std::vector<std::string> options);

  // Runs as an ordinary user, who may write everywhere in the scratch directory.
  void UseOrdinaryUser();
};

struct ErrorRow {
  std::string name;
  std::function<void(Provocation* run)> provoke;
  int status;
  std::vector<std::string> problems;  // regular expressions
};

class ProvokedErrors : public AggregateTest, public testing::WithParamInterface<ErrorRow> {
 public:
  using AggregateTest::At;
  using AggregateTest::OpenToOrdinaryUser;

 protected:
  static void ReplaceAll(std::string* text, const std::string& from, const std::string& to) {
    for (size_t at = text->find(from); at != std::string::npos; at = text->find(from, at)) {
      text->replace(at, from.size(), to);
    }
  }
};

std::string Provocation::At(const std::string& name) const { return test->At(name); }

void Provocation::Aggregate(std::vector<std::string> options) {
  arguments = {"aggregate"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(), {At("source"), At("destination")});
}

void Provocation::AggregateToVolume(std::vector<std::string> options) {
  Aggregate(std::move(options));
  arguments.back() = volume->path();
}

void Provocation::UseOrdinaryUser() {
  test->OpenToOrdinaryUser();
  EXPECT_EQ(0, chmod(At("destination").c_str(), 0777));
  EXPECT_EQ(0, chmod(At("source").c_str(), 0777));
  setup.isOrdinaryUser = true;
}

const ErrorRow kUnusableFolders[] = {
    {"MissingSource",
     [](Provocation* run) {
       run->arguments = {"aggregate", run->At("none"), run->At("made")};
     },
     1,
     {"~/none: No such file or directory"}},
    {"SourceIsFile",
     [](Provocation* run) {
       WriteFile(run->At("file"));
       run->arguments = {"aggregate", run->At("file"), run->At("made")};
     },
     1,
     {"~/file: Not a directory"}},
    {"SourceIsLinkLoop",
     [](Provocation* run) {
       MakeLink("loop", run->At("loop"));
       run->arguments = {"aggregate", run->At("loop"), run->At("made")};
     },
     1,
     {"~/loop: Too many levels of symbolic links"}},
    {"SourceIsDanglingLink",
     [](Provocation* run) {
       MakeLink("nowhere", run->At("link"));
       run->arguments = {"aggregate", run->At("link"), run->At("made")};
     },
     1,
     {"~/link: No such file or directory"}},
    {"SourceIsUnreadable",
     [](Provocation* run) {
       run->UseOrdinaryUser();
       EXPECT_EQ(0, chmod(run->At("source").c_str(), 0));
       run->Aggregate({});
     },
     1,
     {"~/source: Permission denied"}},
    {"SourceNameTooLong",
     [](Provocation* run) {
       run->arguments = {"aggregate", std::string(300, 'x'), run->At("made")};
     },
     1,
     {"x{300}: File name too long or invalid"}},
    {"SourceIsEmptyText",
     [](Provocation* run) {
       run->arguments = {"aggregate", "", run->At("made")};
     },
     1,
     {"\"\": Invalid argument"}},
    {"ApplicationWithoutResources",
     [](Provocation* run) {
       WriteFile(run->At("Tool.app/Contents/Info.plist"));
       run->arguments = {"aggregate", run->At("Tool.app"), run->At("made")};
     },
     1,
     {"~/Tool.app: the application has no readable resources folder; use --whole-application to "
      "sort all of it"}},
    {"DestinationIsFile",
     [](Provocation* run) {
       WriteFile(run->At("file"));
       run->arguments = {"aggregate", run->At("source"), run->At("file")};
     },
     1,
     {"~/file: Not a directory"}},
    {"DestinationWithoutParent",
     [](Provocation* run) {
       run->arguments = {"aggregate", run->At("source"), run->At("none/made")};
     },
     1,
     {"~/none/made: cannot create the folder in ~/none/: No such file or directory"}},
    {"DestinationIsDanglingLink",
     [](Provocation* run) {
       MakeLink("nowhere", run->At("link"));
       run->arguments = {"aggregate", run->At("source"), run->At("link")};
     },
     1,
     {"~/link: cannot create the folder: it is a dangling symbolic link"}},
    {"DestinationIsLinkLoop",
     [](Provocation* run) {
       MakeLink("loop", run->At("loop"));
       run->arguments = {"aggregate", run->At("source"), run->At("loop")};
     },
     1,
     {"~/loop: Too many levels of symbolic links"}},
    {"DestinationCannotBeCreated",
     [](Provocation* run) {
       run->UseOrdinaryUser();
       EXPECT_EQ(0, chmod(run->At("destination").c_str(), 0555));
       run->arguments = {"aggregate", run->At("source"), run->At("destination/made")};
     },
     1,
     {"~/destination/made: cannot create the folder: Permission denied"}},
    {"DestinationCannotBeCreatedOnReadOnlyFilesystem",
     [](Provocation* run) {
       run->MakeVolume("size=1m");
       run->volume->MakeReadOnly();
       run->arguments = {"aggregate", run->At("source"), *run->volume / "made"};
     },
     1,
     {"M/made: cannot create the folder: Read-only file system"}},
    {"DestinationIsSource",
     [](Provocation* run) {
       run->arguments = {"aggregate", run->At("source"), run->At("source")};
     },
     1,
     {"The destination directory can not be the same as the source directory"}},
};

const ErrorRow kFailedItems[] = {
    {"UnreadableFile",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       run->UseOrdinaryUser();
       EXPECT_EQ(0, chmod(run->At("source/a.txt").c_str(), 0));
       run->Aggregate({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot copy to ~/destination/txt: Permission denied"}},
    {"UnwritableSourceFolder",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       run->UseOrdinaryUser();
       EXPECT_EQ(0, chmod(run->At("source").c_str(), 0555));
       run->Aggregate({"--move"});
     },
     3,
     {"~/source/a.txt: cannot move to ~/destination/txt: Permission denied"}},
    {"UnwritableDestination",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       run->UseOrdinaryUser();
       EXPECT_EQ(0, chmod(run->At("destination").c_str(), 0555));
       run->Aggregate({});
     },
     3,
     {"~/source/a.txt: cannot create ~/destination/txt: Permission denied"}},
    {"UnwritableKeyFolder",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       MakeFolder(run->At("destination/txt"));
       run->UseOrdinaryUser();
       EXPECT_EQ(0, chmod(run->At("destination/txt").c_str(), 0555));
       run->Aggregate({});
     },
     3,
     {"~/source/a.txt: cannot copy to ~/destination/txt: Permission denied"}},
    {"UnreadableSubfolder",
     [](Provocation* run) {
       WriteFile(run->At("source/closed/a.txt"));
       run->UseOrdinaryUser();
       EXPECT_EQ(0, chmod(run->At("source/closed").c_str(), 0));
       run->Aggregate({"--recurse"});
     },
     3,
     {"~/source/closed: contents not filed: cannot list the folder: Permission denied"}},
    {"KeyFolderIsFile",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       WriteFile(run->At("destination/txt"));
       run->Aggregate({"--move"});
     },
     3,
     {"~/source/a.txt: cannot move to ~/destination/txt: Not a directory"}},
    {"KeyFolderIsLink",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       MakeLink(run->At("source"), run->At("destination/txt"));
       run->Aggregate({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot copy to ~/destination/txt: Not a directory"}},
    {"YearFolderIsFile",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       SetModificationDate(run->At("source/a.txt"), kMarch2009);
       WriteFile(run->At("destination/2009"));
       run->Aggregate({"--kind=modification-date"});
     },
     3,
     {"~/source/a.txt: cannot copy to ~/destination/2009: Not a directory"}},
    {"DayFolderIsFile",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       SetModificationDate(run->At("source/a.txt"), kMarch2009);
       MakeLink("nowhere", run->At("destination/2009/Mar 04, 2009"));
       run->Aggregate({"--kind=modification-date"});
     },
     3,
     {"~/destination/2009/a.txt: cannot move to ~/destination/2009/Mar 04, 2009: Not a directory"}},
    {"NameTooLongForDistinctName",
     [](Provocation* run) {
       const std::string name = std::string(250, 'x') + ".txt";
       WriteFile(run->At("source/" + name));
       WriteFile(run->At("destination/txt/" + name));
       run->Aggregate({"--copy"});
     },
     3,
     {"~/source/x{250}.txt: cannot copy to ~/destination/txt: File name too long or invalid"}},
    {"PathTooLong",
     [](Provocation* run) {
       std::string folder = run->At("source");
       while (folder.size() < 2048) folder += "/" + std::string(200, 'd');
       WriteFile(folder + "/a.txt");
       run->Aggregate({"--recurse"});
     },
     3,
     {"~/source/[d/]*/a.txt: cannot read: File name too long or invalid"}},
    {"FullFilesystem",
     [](Provocation* run) {
       run->MakeVolume("size=64k");
       WriteFile(run->At("source/a.txt"), std::string(200'000, 'x'));
       run->AggregateToVolume({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot copy to M/txt: No space left on device"}},
    {"FullFilesystemByMove",
     [](Provocation* run) {
       run->MakeVolume("size=64k");
       WriteFile(run->At("source/a.txt"), std::string(200'000, 'x'));
       run->AggregateToVolume({"--move"});
     },
     3,
     {"~/source/a.txt: cannot move to M/txt: No space left on device"}},
    {"NoInodes",
     [](Provocation* run) {
       run->MakeVolume("nr_inodes=2");
       WriteFile(run->At("source/a.txt"));
       run->AggregateToVolume({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot copy to M/txt: No space left on device"}},
    {"NoInodesForKeyFolder",
     [](Provocation* run) {
       run->MakeVolume("nr_inodes=1");
       WriteFile(run->At("source/a.txt"));
       run->AggregateToVolume({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot create M/txt: No space left on device"}},
    {"ReadOnlyFilesystem",
     [](Provocation* run) {
       run->MakeVolume("size=1m");
       run->volume->MakeReadOnly();
       WriteFile(run->At("source/a.txt"));
       run->AggregateToVolume({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot create M/txt: Read-only file system"}},
    {"FileSizeLimit",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"), std::string(200'000, 'x'));
       run->setup.fileSize = 100'000;
       run->Aggregate({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot copy to ~/destination/txt: File too large"}},
    {"FewDescriptors",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       run->setup.descriptors = 6;
       run->Aggregate({"--copy"});
     },
     3,
     {"~/source/a.txt: cannot copy to ~/destination/txt: Too many open files"}},
    {"FifoAcrossFilesystems",
     [](Provocation* run) {
       run->MakeVolume("size=1m");
       EXPECT_EQ(0, mkfifo(run->At("source/a.pipe").c_str(), 0600));
       run->AggregateToVolume({"--move"});
     },
     3,
     {"~/source/a.pipe: cannot move to M/pipe: Not a regular file"}},
    {"FifoCopied",
     [](Provocation* run) {
       EXPECT_EQ(0, mkfifo(run->At("source/a.pipe").c_str(), 0600));
       run->Aggregate({"--copy"});
     },
     3,
     {"~/source/a.pipe: cannot copy to ~/destination/pipe: Not a regular file"}},
    {"FileBeingWritten",
     [](Provocation* run) {
       run->MakeVolume("size=1m");
       WriteFile(run->At("source/a.txt"));
       run->held.Reset(open(run->At("source/a.txt").c_str(), O_WRONLY | O_CLOEXEC));
       run->AggregateToVolume({"--move"});
     },
     3,
     {"~/source/a.txt: cannot move to M/txt: Busy, or another program is writing to it"}},
    {"ManyItems",
     [](Provocation* run) {
       for (int i = 0; i < 25; ++i) WriteFile(run->At("source/" + std::to_string(i) + ".txt"));
       EXPECT_EQ(0, mkfifo(run->At("source/a.pipe").c_str(), 0600));
       WriteFile(run->At("destination/txt"));
       run->Aggregate({"--copy"});
     },
     3,
     {".*: cannot copy to .*", ".*: cannot copy to .*", ".*: cannot copy to .*",
      ".*: cannot copy to .*", ".*: cannot copy to .*", ".*: cannot copy to .*",
      ".*: cannot copy to .*", ".*: cannot copy to .*", ".*: cannot copy to .*",
      ".*: cannot copy to .*", ".*: cannot copy to .*", ".*: cannot copy to .*",
      ".*: cannot copy to .*", ".*: cannot copy to .*", ".*: cannot copy to .*",
      ".*: cannot copy to .*", ".*: cannot copy to .*", ".*: cannot copy to .*",
      ".*: cannot copy to .*", ".*: cannot copy to .*", "and 6 more: see the log",
      "25 × Not a directory",  "1 × Not a regular file"}},
};

const ErrorRow kNotices[] = {
    {"FolderInTheWayOfReplace",
     [](Provocation* run) {
       WriteFile(run->At("source/a.txt"));
       WriteFile(run->At("destination/txt/a.txt/inside"));
       run->Aggregate({"--replace"});
     },
     0,
     {"~/destination/txt/a.txt: cannot be replaced: it is a folder that is not empty; "
      "~/source/a.txt is "
      "now ~/destination/txt/a - [0-9A-F-]{36}.txt"}},
    {"BrokenPreferences",
     [](Provocation* run) {
       WriteFile(run->At("config/tessary/preferences.toml"), "TessaryType = [\n");
       run->Aggregate({});
     },
     0,
     {"~/config/tessary/preferences.toml:[0-9]+:[0-9]+: .*; using defaults"}},
    {"UnknownSetting",
     [](Provocation* run) {
       WriteFile(run->At("config/tessary/preferences.toml"), "recursefolders = true\n");
       run->Aggregate({});
     },
     0,
     {"~/config/tessary/preferences.toml: recursefolders: unknown setting; did you mean "
      "RecurseFolders\\?"}},
    {"SettingOfWrongType",
     [](Provocation* run) {
       WriteFile(run->At("config/tessary/preferences.toml"), "RecurseFolders = 1\n");
       run->Aggregate({});
     },
     0,
     {"~/config/tessary/preferences.toml: RecurseFolders: expected true or false; using its "
      "default"}},
    {"OperationWithoutMeaning",
     [](Provocation* run) {
       WriteFile(run->At("config/tessary/preferences.toml"), "FileOperation = 3\n");
       run->Aggregate({});
     },
     0,
     {"~/config/tessary/preferences.toml: FileOperation: expected 1 or 2; files are moved"}},
    {"KindWithoutMeaning",
     [](Provocation* run) {
       WriteFile(run->At("config/tessary/preferences.toml"), "TessaryType = 9\n");
       run->Aggregate({});
     },
     1,
     {"TessaryType = 9 is not a valid kind \\(1–5\\); nothing to do"}},
    {"UnwritableSummary",
     [](Provocation* run) {
       run->setup.outputPath = "/dev/full";
       run->Aggregate({});
     },
     1,
     {"standard output: write error; the summary is: 0 filed, 0 skipped, 0 failed in 0.[0-9] s"}},
};

const ErrorRow kOtherCommands[] = {
    {"UnknownOption",
     [](Provocation* run) { run->Aggregate({"--fast"}); },
     2,
     {"--fast: unknown option. Try 'tessary-cli aggregate --help'."}},
    {"UnknownKind",
     [](Provocation* run) { run->Aggregate({"--kind=size"}); },
     2,
     {"size: unknown kind: expected extension, file-type, mime-type, modification-date or "
      "creation-date"}},
    {"ContradictoryOptions",
     [](Provocation* run) {
       run->Aggregate({"--move", "--copy"});
     },
     2,
     {"--move and --copy contradict each other"}},
    {"QuietAndVerbose",
     [](Provocation* run) {
       run->Aggregate({"-q", "-v"});
     },
     2,
     {"--quiet and --verbose contradict each other"}},
    {"NumberWithoutMeaning",
     [](Provocation* run) {
       run->arguments = {"defaults", "write", "TessaryType", "9"};
     },
     2,
     {"9: invalid value for TessaryType: expected a number from 1 to 5, or --force"}},
    {"WriteToBrokenPreferences",
     [](Provocation* run) {
       WriteFile(run->At("config/tessary/preferences.toml"), "TessaryType = [\n");
       run->arguments = {"defaults", "write", "TessaryType", "2"};
     },
     1,
     {"~/config/tessary/preferences.toml:[0-9]+:[0-9]+: .*; not changed"}},
    {"ReadOfUnsetKey",
     [](Provocation* run) {
       run->arguments = {"defaults", "read", "TessaryType"};
     },
     1,
     {"TessaryType: not set"}},
    {"InfoOnMissingFile",
     [](Provocation* run) {
       run->arguments = {"info", run->At("none")};
     },
     1,
     {"~/none: cannot read: No such file or directory"}},
    {"ThunarActionsWithoutEndTag",
     [](Provocation* run) {
       WriteFile(run->At("config/Thunar/uca.xml"), "<actions>\n");
       run->arguments = {"integrate", "status"};
     },
     1,
     {".*~/config/Thunar/uca.xml.*:2:1: .*"}},
};

TEST_P(ProvokedErrors, AreExplained) {
  Provocation run;
  run.test = this;
  GetParam().provoke(&run);
  if (run.volume && !run.volume->IsMounted()) GTEST_SKIP() << "cannot mount a tmpfs";
  const ProgramResult result = Run(run.arguments, run.setup);
  EXPECT_EQ(GetParam().status, result.status);
  std::string printed;
  std::vector<testing::Matcher<std::string>> expected;
  for (const std::string& problem : GetParam().problems) expected.push_back(MatchesRegex(problem));
  std::vector<std::string> problems = result.Problems();
  for (std::string& problem : problems) {
    ReplaceAll(&problem, At(""), "~/");
    if (run.volume) ReplaceAll(&problem, run.volume->path(), "M");
    printed += "tessary-cli: " + problem + "\n";
  }
  EXPECT_THAT(problems, ElementsAreArray(expected)) << result.errors;
  RecordProperty("exit", result.status);
  RecordProperty("printed", printed);
}

std::string NameOfRow(const testing::TestParamInfo<ErrorRow>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(UnusableFolder, ProvokedErrors, testing::ValuesIn(kUnusableFolders),
                         NameOfRow);
INSTANTIATE_TEST_SUITE_P(FailedItem, ProvokedErrors, testing::ValuesIn(kFailedItems), NameOfRow);
INSTANTIATE_TEST_SUITE_P(Notice, ProvokedErrors, testing::ValuesIn(kNotices), NameOfRow);
INSTANTIATE_TEST_SUITE_P(OtherCommand, ProvokedErrors, testing::ValuesIn(kOtherCommands),
                         NameOfRow);

}  // namespace
}  // namespace tessary::test
