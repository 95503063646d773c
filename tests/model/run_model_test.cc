// Runs made up by chance, compared with what they ought to do: nothing is lost, everything is where
// it belongs, the run tells so, and a second one changes nothing.

#include "tests/model/run_model.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "engine/application_source.h"
#include "engine/run.h"
#include "engine/shell.h"
#include "platform/extension_map.h"
#include "platform/linux/apple_events/comment_agent.h"
#include "platform/managers/autorelease_pool.h"
#include "programs/cli/run_totals.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_variable.h"
#include "tests/support/file_operations.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tree_lines.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr char kInside[] = "inside";  // the file in every package, with its content
constexpr char kComment[] = "user.xdg.comment";
constexpr char kCreationDate[] = "user.tessary.creation-date";

struct Violation {
  std::string name;
  std::string details;
};

std::string IsoDate(int64_t seconds) {
  struct tm parts = {};
  gmtime_r(&seconds, &parts);
  std::array<char, 40> text = {};
  (void)strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.000000000Z", &parts);
  return text.data();
}

// Whether `name` is `own`, or a name that `own` gets where it is taken, once or again and again.
bool IsDistinctNameOf(std::string name, const std::string& own) {
  const size_t dot = own.rfind('.');
  const std::string extension = dot == std::string::npos ? "" : own.substr(dot);
  // In the catalog's name such an extension is written otherwise, and so it is not taken for one.
  const bool isKept = extension.find(':') != std::string::npos;
  const std::string form = " - 00000000-0000-0000-0000-000000000000";
  while (name != own) {
    if (name.size() < form.size() + extension.size() || !name.ends_with(extension)) return false;
    name.resize(name.size() - extension.size());
    for (size_t i = 0; i < form.size(); ++i) {
      const char c = name[name.size() - form.size() + i];
      const bool isDigit = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
      if (form[i] == '0' ? !isDigit : c != form[i]) return false;
    }
    name.resize(name.size() - form.size());
    if (!isKept) name += extension;
  }
  return true;
}

// One run in the real file system.
class RealRun {
 public:
  RealRun(const RandomRun& run, const TemporaryFolder& ground, const TemporaryFolder& other)
      : run_(run),
        ground_(ground),
        other_(other),
        isAcross_(run.place == RunPlace::kOtherVolume &&
                  AreOnDifferentVolumes(ground.path(), other.path())),
        model_(run, isAcross_) {}

  std::vector<Violation> Check() {
    Make();
    Run();
    const size_t messages = log_.Messages().size();
    CheckPlaces();
    CheckReport();
    if (!run_.isCopy && run_.kind < 4) CheckSecondRun();
    if (messages == 0) Add("untold", "the log does not tell of the run");
    return std::move(violations_);
  }

 private:
  void Add(const std::string& name, const std::string& details) {
    violations_.push_back({name, details});
  }

  std::string PathOf(const std::string& path) const {
    return path.starts_with("other") ? other_ / path : ground_ / path;
  }

  void Make() {
    preferences_.Write(run_.Preferences());
    MakeFolder(PathOf(run_.Walked()));
    MakeFolder(PathOf(run_.Destination()));
    for (size_t i = 0; i < run_.objects.size(); ++i) MakeObject(run_.objects[i], i);
  }

  void MakeObject(const RandomObject& object, size_t number) {
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
        if (object.holdsFifo) MakeFifo(path + "/fifo");
        break;
      case ObjectKind::kLink:
        MakeLink(object.content, path);
        break;
      case ObjectKind::kFifo:
        MakeFifo(path);
        fifos_[LstatAt(path).st_ino] = number;
        break;
    }
    GiveAttributes(object, path);
    SetModificationDate(path, DateOf(object));
  }

  static void MakeFifo(const std::string& path) { EXPECT_EQ(0, mkfifo(path.c_str(), 0600)); }

  static int64_t DateOf(const RandomObject& object) {
    return RunDates()[static_cast<size_t>(object.date)].seconds;
  }

  void GiveAttributes(const RandomObject& object, const std::string& path) const {
    bool isGiven = true;
    if (!object.fileType.empty() || object.isInvisible) {
      isGiven = SetFinderInfo(path, object.fileType, object.isInvisible ? 0x4000 : 0);
    }
    if (!object.comment.empty()) {
      isGiven = isGiven && SetAttribute(path, kComment, object.comment);
    }
    if (run_.kind == 5 &&
        (object.kind == ObjectKind::kFile || object.kind == ObjectKind::kPackage)) {
      isGiven = isGiven && SetAttribute(path, kCreationDate, IsoDate(DateOf(object)));
    }
    EXPECT_TRUE(isGiven) << path;
  }

  void Run() {
    const FSRef destination = RefAt(PathOf(run_.Destination()));
    SetEngineHooks(
        {.runAggregation = [&](const FSRef& source) { AggregateFolder(source, destination); },
         .observeItem = [this](const std::string& path,
                               ItemOutcome outcome) { totals_.Count(path, outcome); }});
    ResolveRunSource(RefAt(PathOf(run_.SourceTop())));
    SetEngineHooks({});
  }

  // ---- Where everything is ----

  // The places of every object's content, below the ground.
  void FindPlaces() {
    places_.assign(run_.objects.size(), {});
    std::map<std::string, size_t> numbers;
    for (size_t i = 0; i < run_.objects.size(); ++i) numbers[run_.objects[i].content] = i;
    for (const std::string& top : {ground_.path(), other_.path()}) {
      fs::recursive_directory_iterator it(top);
      for (; it != fs::recursive_directory_iterator(); ++it) {
        const std::string path = it->path().string();
        const std::string below = path.substr(top.size() + 1);
        if (NameIn(below).starts_with(".tessary-")) Add("leftover", below);
        std::string content = ContentOf(path);
        if (content.empty()) continue;
        if (it->symlink_status().type() == fs::file_type::directory) it.disable_recursion_pending();
        if (const auto fifo = fifos_.find(LstatAt(path).st_ino);
            content == "fifo" && fifo != fifos_.end()) {
          places_[fifo->second].push_back(below);
        } else if (const auto found = numbers.find(content); found != numbers.end()) {
          places_[found->second].push_back(below);
        } else {
          Add("invented", std::string(below).append(" holds ").append(content));
        }
      }
    }
  }

  // What identifies the object at the path; empty for a plain folder.
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
    size_t arrived = 0;
    for (const std::string& place : places_[i]) {
      if (place == object.path) {
        ++originals;
      } else if (expected.outcome == ExpectedOutcome::kFiled &&
                 FolderOf(place) == expected.folder && HasExpectedName(i, place)) {
        ++arrived;
        CheckComment(object, PathOf(place));
      } else {
        Add("misplaced", object.path + " is " + place);
      }
    }
    const bool mayBeGone = model_.MayBeReplaced(i);
    const bool isFiled = expected.outcome == ExpectedOutcome::kFiled;
    const size_t wantedOriginals = isFiled && !expected.keepsOriginal ? 0 : 1;
    const size_t wantedArrived = isFiled ? 1 : 0;
    const bool isRight = originals == wantedOriginals && arrived == wantedArrived;
    const bool isLess = originals <= wantedOriginals && arrived <= wantedArrived;
    if (!isRight && !(mayBeGone && isLess)) {
      Add("misplaced", object.path + ": " + std::to_string(originals) + " originals, " +
                           std::to_string(arrived) + " arrived");
    }
    hasVanished_ |= !isRight;
  }

  bool HasExpectedName(size_t i, const std::string& place) const {
    const std::string own = NameIn(run_.objects[i].path);
    if (NameIn(place) == own) return true;
    return model_.HasNameCollision(i) && IsDistinctNameOf(NameIn(place), own);
  }

  void CheckComment(const RandomObject& object, const std::string& path) {
    if (object.comment.empty() || object.kind == ObjectKind::kLink) return;
    const bool isKept =
        !model_.Of(static_cast<size_t>(&object - run_.objects.data())).keepsOriginal ||
        run_.keepsComments;
    const std::string wanted = isKept ? object.comment : "(none)";
    if (AttributeAt(path, kComment) != wanted) Add("misplaced", "comment of " + path);
  }

  // ---- What was told ----

  void CheckReport() {
    if (!model_.IsPredictable()) return;
    const size_t filed = model_.Count(ExpectedOutcome::kFiled);
    const size_t failed =
        model_.Count(ExpectedOutcome::kFailed) + model_.Count(ExpectedOutcome::kFailedUnlogged);
    const size_t left = model_.Count(ExpectedOutcome::kSkipped);
    // What was replaced between its year and its day is not told of.
    if (run_.kind >= 4 && hasVanished_) return;
    Expect("filed", filed, filed, totals_.filed());
    Expect("failed", failed, failed, totals_.failed());
    // What is filed into a folder that is walked later is met there once more.
    const bool isListedAgain = run_.place == RunPlace::kInside && run_.recurses;
    Expect("left", left, left + (isListedAgain ? filed : 0), totals_.skipped());
    Expect("lines of what failed", model_.Count(ExpectedOutcome::kFailed),
           model_.Count(ExpectedOutcome::kFailed), LinesWith("The file \""));
    if (run_.kind < 4) Expect("lines of what was moved", filed, filed, LinesWith("Moved \""));
  }

  size_t LinesWith(const std::string& beginning) const {
    size_t count = 0;
    for (const std::string& message : log_.Messages())
      count += message.starts_with(beginning) ? 1U : 0U;
    return count;
  }

  void Expect(const std::string& what, size_t least, size_t most, uint64_t told) {
    if (told >= least && told <= most) return;
    Add("mistold", what + ": " + std::to_string(told) + " and not " + std::to_string(least) +
                       " to " + std::to_string(most));
  }

  // ---- Once more ----

  void CheckSecondRun() {
    // What cannot be filed makes way for itself again, and what has its name by now is replaced.
    if (run_.replaces && model_.Count(ExpectedOutcome::kFailed) > 0) return;
    const std::vector<std::string> before = Lines();
    Run();
    if (before != Lines()) Add("changed again", "a second run changed something");
  }

  std::vector<std::string> Lines() const {
    const TreeAspects aspects = {.times = false, .linkTimes = false, .identities = true};
    std::vector<std::string> lines = TreeLines(ground_.path(), aspects);
    const std::vector<std::string> others = TreeLines(other_.path(), aspects);
    lines.insert(lines.end(), others.begin(), others.end());
    return lines;
  }

  const RandomRun& run_;
  const TemporaryFolder& ground_;
  const TemporaryFolder& other_;
  bool isAcross_;
  RunModel model_;
  PreferencesFolder preferences_;
  CapturedLog log_;
  RunTotals totals_;
  std::map<ino_t, size_t> fifos_;
  std::vector<std::vector<std::string>> places_;
  bool hasVanished_ = false;
  std::vector<Violation> violations_;
};

std::vector<Violation> TryRun(const RandomRun& run) {
  // As around a real run: a folder of the same path may come back as another one later.
  const NSAutoreleasePool pool;
  const TemporaryFolder ground;
  const bool hasMemory = fs::is_directory("/dev/shm");
  const TemporaryFolder other(hasMemory ? "/dev/shm" : fs::temp_directory_path().string());
  return RealRun(run, ground, other).Check();
}

// The run without every object that it fails without as well.
RandomRun Shrink(RandomRun run) {
  for (size_t i = run.objects.size(); i > 0; --i) {
    RandomRun smaller = run;
    smaller.objects.erase(smaller.objects.begin() + static_cast<ptrdiff_t>(i - 1));
    if (!TryRun(smaller).empty()) run = std::move(smaller);
  }
  return run;
}

// The tables that the keys of the runs are made with, instead of this machine's.
class KnownTables {
 public:
  KnownTables()
      : zone_("UTC0"),
        home_("XDG_DATA_HOME", folder_ / "none"),
        data_("XDG_DATA_DIRS", folder_.path()) {
    std::string globs;
    for (const auto& [extension, type] : KnownMimeTypes())
      globs.append("50:").append(type).append(":*.").append(extension).append("\n");
    WriteFile(folder_ / "mime/globs2", globs);
    std::string map;
    for (const auto& [extension, type] : MappedFileTypes())
      map.append(".").append(extension).append(" \"").append(type).append("\"\n");
    WriteFile(preferences_.MappingPath(), map);
    BuildExtensionMap();
    RegisterCommentAgent();
  }

 private:
  TemporaryFolder folder_;
  TimeZone zone_;
  EnvironmentVariable home_;
  EnvironmentVariable data_;
  PreferencesFolder preferences_;
};

TEST(RandomRuns, LoseNothingAndTellWhatTheyDid) {
  const KnownTables tables;
  const TemporaryFolder ground;
  const VolumeTraits traits = ProbeVolume(ground.path());
  if (!traits.takesAnyNameBytes || !traits.isCaseSensitive)
    GTEST_SKIP() << "not every name can be made here";
  SoakCount count(
      "random runs", "runs",
      {"lost", "invented", "misplaced", "leftover", "mistold", "untold", "changed again"});
  for (SoakRounds rounds("random runs", 60); rounds.Next();) {
    const RandomRun run = MakeRandomRun(rounds.random(), traits);
    count.AddTries();
    if (TryRun(run).empty()) continue;
    const RandomRun smallest = Shrink(run);
    const std::string told = rounds.Describe() + "\n" + Describe(smallest);
    for (const Violation& violation : TryRun(smallest))
      count.AddViolation(violation.name, violation.details + "\n" + told);
  }
}

}  // namespace
}  // namespace tessary::test
