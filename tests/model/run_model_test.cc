// Random runs: nothing is lost, every object is where the model expects it, the run reports that,
// and a second run changes nothing.

#include "tests/model/run_model.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iomanip>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <sstream>
#include <utility>

#include "engine/application_source.h"
#include "engine/run.h"
#include "engine/shell.h"
#include "platform/extension_map.h"
#include "platform/linux/apple_events/comment_agent.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/volume.h"
#include "platform/linux/descriptors/unique_fd.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/planned_changes.h"
#include "platform/managers/text.h"
#include "programs/cli/journal_writer.h"
#include "programs/cli/run_totals.h"
#include "programs/cli/undo_command.h"
#include "tests/support/captured_log.h"
#include "tests/support/distinct_names.h"
#include "tests/support/environment_variable.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tree_lines.h"
#include "tests/support/volumes.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

const SoakSuite kSuite("RandomRuns");

constexpr char kInside[] = "inside";  // the file in each package that holds the content
constexpr char kComment[] = "user.xdg.comment";
constexpr char kCreationDate[] = "user.tessary.creation-date";

std::string IsoDate(int64_t seconds) {
  struct tm parts = {};
  gmtime_r(&seconds, &parts);
  std::array<char, 40> text = {};
  (void)strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.000000000Z", &parts);
  return text.data();
}

// A random run in real filesystems.
class RealRun {
 public:
  // `scratch` is in `volume`; `other` is in another filesystem, if possible.
  RealRun(const RandomRun& run, ScratchVolume* volume, const TemporaryFolder& scratch,
          const TemporaryFolder& other)
      : run_(run),
        volume_(volume),
        scratch_(scratch),
        other_(other),
        model_(run, run.place == RunPlace::kOtherFilesystem &&
                        AreOnDifferentVolumes(scratch.path(), other.path())) {}

  // Runs, and returns what is wrong afterwards.
  std::vector<SoakViolation> FindViolations() {
    Prepare();
    Run();
    if (log_.Messages().empty()) Add("unreported", "the log is empty");
    CheckPlaces();
    CheckReport();
    if (!run_.isCopy && run_.kind < 4) CheckSecondRun();
    return std::move(violations_);
  }

  // Makes a dry run and then the run, and returns how they differ.
  std::vector<SoakViolation> CompareWithDryRun() {
    Prepare();
    const std::string before = DescribeUnchangedTrees();
    {
      const FSPlannedChanges plan;
      Run();
    }
    if (before != DescribeUnchangedTrees()) Add("changed", "the dry run changed something");
    const std::vector<std::string> planned = TakeReport();
    Run();
    // Otherwise the result depends on the order in which the filesystem lists new folders: a run by
    // date enters those that it makes, and sorts them.
    if (model_.IsPredictable()) CompareReports(planned, TakeReport());
    return std::move(violations_);
  }

  // Makes the run with a journal, undoes it, and returns what is not as before.
  std::vector<SoakViolation> CompareWithUndo() {
    // Replaced items cannot be restored.
    if (run_.replaces) return {};
    Prepare();
    const std::string before = DescribeRestoredTrees();
    const TemporaryFolder folder;
    const std::string path = folder / "journal";
    std::string problem;
    {
      const std::unique_ptr<JournalWriter> journal =
          CreateJournal(path, PathOf(run_.Source()), PathOf(run_.Destination()), &problem);
      EXPECT_TRUE(journal) << problem;
      Run();
    }
    const ExitStatus status = UndoSilently(path);
    if (status != ExitStatus::kSuccess) Add("not restored", "undo skipped a change");
    const std::string after = DescribeRestoredTrees();
    if (before != after) Add("not restored", "before:\n" + before + "after:\n" + after);
    return std::move(violations_);
  }

 private:
  void Prepare() {
    CreateObjects();
    volume_->SealLowerLayer();
  }

  void Add(const std::string& name, const std::string& details) {
    violations_.push_back({name, details});
  }

  std::string PathOf(const std::string& path) const {
    return (path.starts_with("other") ? other_ : scratch_) / path;
  }

  void CreateObjects() {
    preferences_.Write(run_.Preferences());
    MakeFolder(PathOf(run_.Source()));
    MakeFolder(PathOf(run_.Destination()));
    for (size_t i = 0; i < run_.objects.size(); ++i) CreateObject(run_.objects[i], i);
  }

  void CreateObject(const RandomObject& object, size_t number) {
    const std::string path = PathOf(object.path);
    MakeFolder(FolderOf(path));
    switch (object.kind) {
      case ObjectKind::kFile:
        WriteFile(path, object.content);
        break;
      case ObjectKind::kFolder:
        MakeFolder(path);
        break;
      case ObjectKind::kPackage:
        WriteFile(path + "/" + kInside, object.content);
        if (object.hasFifo) MakeFifo(path + "/fifo");
        break;
      case ObjectKind::kLink:
        MakeLink(object.content, path);
        break;
      case ObjectKind::kFifo:
        MakeFifo(path);
        fifos_[LstatAt(path).st_ino] = number;
        break;
    }
    SetAttributes(object, path);
    SetModificationDate(path, DateOf(object));
  }

  static void MakeFifo(const std::string& path) { EXPECT_EQ(0, mkfifo(path.c_str(), 0600)); }

  static int64_t DateOf(const RandomObject& object) {
    return RunDates()[static_cast<size_t>(object.date)].seconds;
  }

  void SetAttributes(const RandomObject& object, const std::string& path) const {
    bool isSet = true;
    if (!object.fileType.empty() || object.isInvisible) {
      isSet = SetFinderInfo(path, object.fileType, object.isInvisible ? 0x4000 : 0);
    }
    if (!object.comment.empty()) {
      isSet = isSet && SetAttribute(path, kComment, object.comment);
    }
    if (run_.kind == 5 &&
        (object.kind == ObjectKind::kFile || object.kind == ObjectKind::kPackage)) {
      isSet = isSet && SetAttribute(path, kCreationDate, IsoDate(DateOf(object)));
    }
    EXPECT_TRUE(isSet) << path;
  }

  void Run() {
    const FSRef destination = RefAt(PathOf(run_.Destination()));
    SetEngineHooks(
        {.runAggregation = [&](const FSRef& source) { AggregateFolder(source, destination); },
         .observeItem =
             [this](const ItemReport& report) {
               totals_.Count(report);
               reports_.push_back(DescribeReport(report));
             }});
    ResolveRunSource(RefAt(PathOf(run_.GivenSource())));
    SetEngineHooks({});
  }

  // ---- Dry run ----

  static std::string DescribeReport(const ItemReport& report) {
    std::ostringstream text;
    text << std::quoted(std::string(report.path)) << " to "
         << std::quoted(std::string(report.folderPath)) << " as "
         << std::quoted(Utf8FromUtf16(report.newName)) << " outcome "
         << static_cast<int>(report.outcome) << " step " << static_cast<int>(report.step)
         << (report.isCopy ? " copied" : "") << " status " << report.status << " replace "
         << report.replace;
    return text.str();
  }

  // Returns what has been reported and logged since the last call, sorted and without UUIDs: the
  // order is that of the folders' listings, which new items change.
  std::vector<std::string> TakeReport() {
    std::vector<std::string> lines = std::exchange(reports_, {});
    const std::vector<std::string> messages = log_.Messages();
    lines.insert(lines.end(), messages.begin() + static_cast<ptrdiff_t>(messagesTaken_),
                 messages.end());
    messagesTaken_ = messages.size();
    // An item that has been filed is met again, and skipped, if its folder is listed later.
    if (run_.place == RunPlace::kInside && run_.recurses) {
      const std::string skipped =
          " outcome " + std::to_string(static_cast<int>(ItemOutcome::kSkipped));
      std::erase_if(lines, [&](const std::string& line) {
        return line.starts_with("Moving: ") || line.find(skipped) != std::string::npos;
      });
    }
    static const std::regex kUuid("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
    for (std::string& line : lines) line = std::regex_replace(line, kUuid, "UUID");
    std::ranges::sort(lines);
    return lines;
  }

  void CompareReports(const std::vector<std::string>& planned,
                      const std::vector<std::string>& real) {
    std::vector<std::string> surplus;
    std::ranges::set_difference(planned, real, std::back_inserter(surplus));
    for (const std::string& line : surplus) Add("differs", "only planned: " + line);
    surplus.clear();
    std::ranges::set_difference(real, planned, std::back_inserter(surplus));
    for (const std::string& line : surplus) Add("differs", "not planned: " + line);
  }

  // The command "undo", without its output.
  static ExitStatus UndoSilently(const std::string& path) {
    (void)std::fflush(stdout);
    const UniqueFd output(dup(STDOUT_FILENO));
    const UniqueFd nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    EXPECT_GE(dup2(nowhere.get(), STDOUT_FILENO), 0);
    const ExitStatus status = Undo({.isDryRun = false, .journal = path});
    EXPECT_GE(dup2(output.get(), STDOUT_FILENO), 0);
    return status;
  }

  // Everything that an undo restores. An item that was copied to another filesystem, or as a
  // package of a lower layer, and back has its creation date in an attribute.
  std::string DescribeRestoredTrees() const {
    const bool isRenamed = run_.place != RunPlace::kOtherFilesystem && !volume_->HasLowerLayer();
    const TreeAspects aspects = {.folderTimes = false, .creationDates = isRenamed};
    return TreeText(scratch_.path(), aspects) + TreeText(other_.path(), aspects);
  }

  std::string DescribeUnchangedTrees() const {
    const TreeAspects aspects = {.identities = HasStableInodes(), .linkCounts = true};
    return TreeText(scratch_.path(), aspects) + TreeText(other_.path(), aspects);
  }

  // ---- Places ----

  // Finds the relative paths of each object's content.
  void FindPlaces() {
    places_.assign(run_.objects.size(), {});
    std::map<std::string, size_t> numbers;
    for (size_t i = 0; i < run_.objects.size(); ++i) numbers[run_.objects[i].content] = i;
    for (const std::string& top : {scratch_.path(), other_.path()}) {
      fs::recursive_directory_iterator it(top);
      for (; it != fs::recursive_directory_iterator(); ++it) {
        const std::string path = it->path().string();
        const std::string below = path.substr(top.size() + 1);
        if (NameIn(below).starts_with(".tessary-")) Add("stale temporary files", below);
        std::string content = ContentOf(path);
        if (content.empty()) continue;
        if (it->symlink_status().type() == fs::file_type::directory) it.disable_recursion_pending();
        if (const auto fifo = fifos_.find(LstatAt(path).st_ino);
            content == "fifo" && fifo != fifos_.end()) {
          places_[fifo->second].push_back(below);
        } else if (const auto found = numbers.find(content); found != numbers.end()) {
          places_[found->second].push_back(below);
        } else {
          Add("unexpected", std::string(below).append(" contains ").append(content));
        }
      }
    }
  }

  // What identifies the object at the path; empty for a folder that is not a package.
  static std::string ContentOf(const std::string& path) {
    const mode_t mode = LstatAt(path).st_mode;
    if (S_ISLNK(mode)) return fs::read_symlink(path).string();
    if (S_ISREG(mode)) return ReadFile(path);
    if (S_ISFIFO(mode)) return "fifo";
    const std::string inside = path + "/" + kInside;
    return Exists(inside) ? ReadFile(inside) : "";
  }

  void CheckPlaces() {
    FindPlaces();
    for (size_t i = 0; i < run_.objects.size(); ++i) {
      const RandomObject& object = run_.objects[i];
      if (object.kind == ObjectKind::kFolder) {
        if (!Exists(PathOf(object.path))) Add("lost", object.path);
        continue;
      }
      if (places_[i].empty() && !model_.MayBeReplaced(i)) Add("lost", object.path);
      if (model_.IsPredictable()) CheckPlacesOf(i);
    }
  }

  void CheckPlacesOf(size_t i) {
    const RandomObject& object = run_.objects[i];
    const Expectation& expected = model_.Of(i);
    size_t originals = 0;
    size_t filed = 0;
    for (const std::string& place : places_[i]) {
      if (place == object.path) {
        ++originals;
      } else if (expected.outcome == ExpectedOutcome::kFiled &&
                 FolderOf(place) == expected.folder && HasExpectedName(i, place)) {
        ++filed;
        CheckComment(object, expected, PathOf(place));
      } else {
        Add("misplaced", object.path + " is now " + place);
      }
    }
    const bool isFiled = expected.outcome == ExpectedOutcome::kFiled;
    const size_t expectedOriginals = isFiled && !expected.keepsOriginal ? 0 : 1;
    const size_t expectedFiled = isFiled ? 1 : 0;
    const bool isExact = originals == expectedOriginals && filed == expectedFiled;
    const bool isLess = originals <= expectedOriginals && filed <= expectedFiled;
    if (!isExact && !(model_.MayBeReplaced(i) && isLess)) {
      Add("misplaced", object.path + ": " + std::to_string(originals) + " originals, " +
                           std::to_string(filed) + " filed");
    }
    isAnyReplaced_ |= !isExact;
  }

  bool HasExpectedName(size_t i, const std::string& place) const {
    const std::string name = NameIn(run_.objects[i].path);
    if (NameIn(place) == name) return true;
    return model_.HasNameCollision(i) && IsSameOrDistinctName(NameIn(place), name);
  }

  void CheckComment(const RandomObject& object, const Expectation& expected,
                    const std::string& path) {
    if (object.comment.empty() || object.kind == ObjectKind::kLink) return;
    const bool isKept = !expected.keepsOriginal || run_.keepsComments;
    if (AttributeAt(path, kComment) != (isKept ? object.comment : "(none)")) {
      Add("misplaced", "comment of " + path);
    }
  }

  // ---- Log and summary ----

  void CheckReport() {
    // A run by date may replace an item while it is in the folder of its year. That is not
    // reported.
    if (!model_.IsPredictable() || (run_.kind >= 4 && isAnyReplaced_)) return;
    const size_t filed = model_.Count(ExpectedOutcome::kFiled);
    const size_t failed = model_.Count(ExpectedOutcome::kFailed);
    const size_t skipped = model_.Count(ExpectedOutcome::kSkipped);
    const ItemCounts source = totals_.OfSource();
    const ItemCounts destination = totals_.OfDestination();
    const size_t unreachedFiled = CountReplacedInside(ExpectedOutcome::kFiled);
    const size_t unreachedFailed = CountReplacedInside(ExpectedOutcome::kFailed);
    Expect("filed", filed, source.filed + destination.filed, 0, unreachedFiled);
    Expect("failed", failed + model_.Count(ExpectedOutcome::kFailedUnlogged),
           source.failed + destination.failed, 0, unreachedFailed);
    // An item filed into a folder that is listed later may be met, and skipped, there again.
    const bool mayBeListedAgain = run_.place == RunPlace::kInside && run_.recurses;
    Expect("skipped", skipped, source.skipped + destination.skipped, mayBeListedAgain ? filed : 0);
    Expect("log lines of failed items", failed, CountLines("The file \""), 0, unreachedFailed);
    if (run_.kind < 4) {
      Expect("log lines of filed items", filed, CountLines("Moved \""), 0, unreachedFiled);
    }
  }

  // The number of items that the run may have replaced before it reached them, because they were in
  // a destination inside the source, in a folder that it lists after another one.
  size_t CountReplacedInside(ExpectedOutcome outcome) const {
    if (run_.place != RunPlace::kInside || !run_.recurses) return 0;
    size_t count = 0;
    for (size_t i = 0; i < run_.objects.size(); ++i) {
      const bool isInside = run_.objects[i].path.starts_with(run_.Destination() + "/");
      const bool isGone = places_[i].empty() && model_.MayBeReplaced(i);
      if (isInside && isGone && model_.Of(i).outcome == outcome) ++count;
    }
    return count;
  }

  size_t CountLines(const std::string& beginning) const {
    const std::vector<std::string> messages = log_.Messages();
    return static_cast<size_t>(std::ranges::count_if(
        messages, [&](const std::string& message) { return message.starts_with(beginning); }));
  }

  void Expect(const std::string& what, size_t expected, uint64_t reported, size_t maxSurplus = 0,
              size_t maxMissing = 0) {
    const size_t least = expected - maxMissing;
    if (reported >= least && reported <= expected + maxSurplus) return;
    Add("misreported", what + ": " + std::to_string(reported) + ", expected " +
                           std::to_string(least) + " to " + std::to_string(expected + maxSurplus));
  }

  // ---- Second run ----

  void CheckSecondRun() {
    // A failed item whose name exists deletes the existing item again, and that may be a filed one.
    if (run_.replaces && model_.Count(ExpectedOutcome::kFailed) > 0) return;
    const std::string before = DescribeTrees();
    Run();
    if (before != DescribeTrees()) Add("not idempotent", "a second run changed something");
  }

  bool HasStableInodes() const {
    const uint32_t device = ReferenceOf(RefAt(scratch_.path())).device;
    return !VolumeAt(device, scratch_.path()).hasUnstableInodes;
  }

  std::string DescribeTrees() const {
    const TreeAspects aspects = {
        .times = false, .linkTimes = false, .identities = HasStableInodes()};
    return TreeText(scratch_.path(), aspects) + TreeText(other_.path(), aspects);
  }

  const RandomRun& run_;
  ScratchVolume* volume_;
  const TemporaryFolder& scratch_;
  const TemporaryFolder& other_;
  RunModel model_;
  PreferencesFolder preferences_;
  CapturedLog log_;
  RunTotals totals_;
  std::vector<std::string> reports_;
  size_t messagesTaken_ = 0;
  std::map<ino_t, size_t> fifos_;
  std::vector<std::vector<std::string>> places_;
  bool isAnyReplaced_ = false;
  std::vector<SoakViolation> violations_;
};

using Check = std::vector<SoakViolation> (RealRun::*)();

std::vector<SoakViolation> TryRun(const RandomRun& run, ScratchVolume* volume, Check check) {
  std::vector<SoakViolation> violations;
  {
    // Releases the interned folders, as at the end of a real run: another folder may get a path
    // again.
    const NSAutoreleasePool pool;
    const TemporaryFolder scratch(volume->path());
    const TemporaryFolder other(MemoryFolder());
    violations = (RealRun(run, volume, scratch, other).*check)();
  }
  volume->StartOver();
  return violations;
}

// Leaves out every object without which the run has violations, too.
RandomRun Shrink(RandomRun run, ScratchVolume* volume, Check check) {
  for (size_t i = run.objects.size(); i > 0; --i) {
    RandomRun smaller = run;
    smaller.objects.erase(smaller.objects.begin() + static_cast<ptrdiff_t>(i - 1));
    if (!TryRun(smaller, volume, check).empty()) run = std::move(smaller);
  }
  return run;
}

// Replaces this machine's MIME database, extension map and time zone with those of the model.
class RandomRuns : public testing::TestWithParam<VolumeKind> {
 protected:
  RandomRuns()
      : zone_("UTC0"),
        home_("XDG_DATA_HOME", folder_ / "none"),
        data_("XDG_DATA_DIRS", folder_.path()) {
    std::string globs;
    for (const auto& [extension, type] : KnownMimeTypes()) {
      globs.append("50:").append(type).append(":*.").append(extension).append("\n");
    }
    WriteFile(folder_ / "mime/globs2", globs);
    std::string map;
    for (const auto& [extension, type] : MappedFileTypes()) {
      map.append(".").append(extension).append(" \"").append(type).append("\"\n");
    }
    WriteFile(preferences_.MappingPath(), map);
    BuildExtensionMap();
    RegisterCommentAgent();
  }

  // Checks random runs on the filesystem of the parameter.
  void CheckRuns(const std::string& title, const std::vector<std::string>& violations, Check check,
                 bool hasSidecars) {
    ScratchVolume volume(GetParam());
    if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
    const bool isOwn = GetParam() == VolumeKind::kOwn;
    VolumeTraits traits = volume.Traits();
    // Special files are recognised by their inode numbers, which only some filesystems keep.
    traits.hasSpecialFiles &= isOwn;
    if (!traits.takesAnyNameBytes || !traits.isCaseSensitive) {
      GTEST_SKIP() << "the filesystem does not support all names";
    }
    Soak soak(isOwn ? title : title + ", on " + NameOf(GetParam()), "runs", violations);
    soak.Run(isOwn ? 60 : 5, [&](SoakRandom& random) {
      RandomRun run = MakeRandomRun(random, traits);
      if (hasSidecars) AddSidecars(random, &run);
      soak.AddTries();
      if (TryRun(run, &volume, check).empty()) return;
      const RandomRun smallest = Shrink(run, &volume, check);
      soak.AddViolations(TryRun(smallest, &volume, check), Describe(smallest));
    });
  }

 private:
  TemporaryFolder folder_;
  TimeZone zone_;
  EnvironmentVariable home_;
  EnvironmentVariable data_;
  PreferencesFolder preferences_;
};

TEST_P(RandomRuns, AgreeWithModel) {
  CheckRuns("random runs",
            {"lost", "unexpected", "misplaced", "stale temporary files", "misreported",
             "unreported", "not idempotent"},
            &RealRun::FindViolations, /*hasSidecars=*/false);
}

TEST_P(RandomRuns, AgreeWithDryRun) {
  CheckRuns("random dry runs", {"changed", "differs"}, &RealRun::CompareWithDryRun,
            /*hasSidecars=*/true);
}

TEST_P(RandomRuns, AreUndone) {
  CheckRuns("random runs, undone", {"not restored"}, &RealRun::CompareWithUndo,
            /*hasSidecars=*/true);
}

// Only filesystems that take any name and any attribute.
INSTANTIATE_TEST_SUITE_P(EachFilesystem, RandomRuns,
                         testing::Values(VolumeKind::kOwn, VolumeKind::kMergerfs,
                                         VolumeKind::kOverlay, VolumeKind::kOverlayLower),
                         [](const auto& kind) { return NameOf(kind.param); });

}  // namespace
}  // namespace tessary::test
