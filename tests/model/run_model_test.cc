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
#include "programs/cli/tally.h"
#include "tests/support/captured_log.h"
#include "tests/support/copying.h"
#include "tests/support/environment_variable.h"
#include "tests/support/preferences_folder.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tree_lines.h"

namespace tessary {
namespace {

namespace fs = std::filesystem;

using testing::Expectation;
using testing::Fate;
using testing::FolderOf;
using testing::NameIn;
using testing::ObjectKind;
using testing::RandomObject;
using testing::RandomRun;
using testing::RunModel;
using testing::TemporaryFolder;

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
bool IsDistinctOf(std::string name, const std::string& own) {
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
        isAcross_(run.place == testing::RunPlace::kOtherVolume &&
                  testing::AreOnDifferentVolumes(ground.path(), other.path())),
        model_(run, isAcross_) {}

  std::vector<Violation> Check() {
    Make();
    Run();
    const size_t messages = log_.Messages().size();
    CheckPlaces();
    CheckTold();
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
    testing::MakeFolder(PathOf(run_.Walked()));
    testing::MakeFolder(PathOf(run_.Destination()));
    for (size_t i = 0; i < run_.objects.size(); ++i) MakeObject(run_.objects[i], i);
  }

  void MakeObject(const RandomObject& object, size_t number) {
    const std::string path = PathOf(object.path);
    testing::MakeFolder(FolderOf(path));
    switch (object.kind) {
      case ObjectKind::kFile:
        testing::WriteFile(path, object.content);
        break;
      case ObjectKind::kFolder:
        testing::MakeFolder(path);
        break;
      case ObjectKind::kPackage:
        testing::WriteFile(path + "/" + kInside, object.content);
        if (object.holdsFifo) MakeFifo(path + "/fifo");
        break;
      case ObjectKind::kLink:
        testing::MakeLink(object.content, path);
        break;
      case ObjectKind::kFifo:
        MakeFifo(path);
        fifos_[testing::InfoAt(path).st_ino] = number;
        break;
    }
    GiveAttributes(object, path);
    testing::SetModificationDate(path, DateOf(object));
  }

  static void MakeFifo(const std::string& path) { EXPECT_EQ(0, mkfifo(path.c_str(), 0600)); }

  static int64_t DateOf(const RandomObject& object) {
    return testing::RunDates()[static_cast<size_t>(object.date)].seconds;
  }

  void GiveAttributes(const RandomObject& object, const std::string& path) const {
    bool isGiven = true;
    if (!object.fileType.empty() || object.isInvisible) {
      isGiven = testing::SetFinderInfo(path, object.fileType, object.isInvisible ? 0x4000 : 0);
    }
    if (!object.comment.empty()) {
      isGiven = isGiven && testing::SetAttribute(path, kComment, object.comment);
    }
    if (run_.kind == 5 &&
        (object.kind == ObjectKind::kFile || object.kind == ObjectKind::kPackage)) {
      isGiven = isGiven && testing::SetAttribute(path, kCreationDate, IsoDate(DateOf(object)));
    }
    EXPECT_TRUE(isGiven) << path;
  }

  void Run() {
    const FSRef destination = testing::RefAt(PathOf(run_.Destination()));
    SetShellHooks(
        {.runAggregation = [&](const FSRef& source) { AggregateFolder(source, destination); },
         .observeItem = [this](const std::string& path,
                               ItemOutcome outcome) { tally_.Count(path, outcome); }});
    ResolveRunSource(testing::RefAt(PathOf(run_.SourceTop())));
    SetShellHooks({});
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
        if (const auto fifo = fifos_.find(testing::InfoAt(path).st_ino);
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
    const mode_t mode = testing::InfoAt(path).st_mode;
    if (S_ISLNK(mode)) return fs::read_symlink(path).string();
    if (S_ISREG(mode)) return testing::ReadFile(path);
    if (S_ISFIFO(mode)) return "fifo";
    const std::string inside = path + "/" + kInside;
    return testing::Exists(inside) ? testing::ReadFile(inside) : "";
  }

  void CheckPlaces() {
    FindPlaces();
    for (size_t i = 0; i < run_.objects.size(); ++i) {
      const RandomObject& object = run_.objects[i];
      if (object.kind == ObjectKind::kFolder) {
        if (!testing::Exists(PathOf(object.path))) Add("lost", object.path);
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
      } else if (expected.fate == Fate::kFiled && FolderOf(place) == expected.folder &&
                 BearsItsName(i, place)) {
        ++arrived;
        CheckComment(object, PathOf(place));
      } else {
        Add("misplaced", object.path + " is " + place);
      }
    }
    const bool mayBeGone = model_.MayBeReplaced(i);
    const bool isFiled = expected.fate == Fate::kFiled;
    const size_t wantedOriginals = isFiled && !expected.staysToo ? 0 : 1;
    const size_t wantedArrived = isFiled ? 1 : 0;
    const bool isRight = originals == wantedOriginals && arrived == wantedArrived;
    const bool isLess = originals <= wantedOriginals && arrived <= wantedArrived;
    if (!isRight && !(mayBeGone && isLess)) {
      Add("misplaced", object.path + ": " + std::to_string(originals) + " originals, " +
                           std::to_string(arrived) + " arrived");
    }
    hasVanished_ |= !isRight;
  }

  bool BearsItsName(size_t i, const std::string& place) const {
    const std::string own = NameIn(run_.objects[i].path);
    if (NameIn(place) == own) return true;
    return model_.HasRival(i) && IsDistinctOf(NameIn(place), own);
  }

  void CheckComment(const RandomObject& object, const std::string& path) {
    if (object.comment.empty() || object.kind == ObjectKind::kLink) return;
    const bool isKept = !model_.Of(static_cast<size_t>(&object - run_.objects.data())).staysToo ||
                        run_.keepsComments;
    const std::string wanted = isKept ? object.comment : "(none)";
    if (testing::AttributeAt(path, kComment) != wanted) Add("misplaced", "comment of " + path);
  }

  // ---- What was told ----

  void CheckTold() {
    if (!model_.IsPredictable()) return;
    const size_t filed = model_.Count(Fate::kFiled);
    const size_t failed = model_.Count(Fate::kFailed) + model_.Count(Fate::kUntold);
    const size_t left = model_.Count(Fate::kLeft);
    // What was replaced between its year and its day is not told of.
    if (run_.kind >= 4 && hasVanished_) return;
    Expect("filed", filed, filed, tally_.filed());
    Expect("failed", failed, failed, tally_.failed());
    // What is filed into a folder that is walked later is met there once more.
    const bool isMetAgain = run_.place == testing::RunPlace::kInside && run_.recurses;
    Expect("left", left, left + (isMetAgain ? filed : 0), tally_.left());
    Expect("lines of what failed", model_.Count(Fate::kFailed), model_.Count(Fate::kFailed),
           LinesWith("The file \""));
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
    if (run_.replaces && model_.Count(Fate::kFailed) > 0) return;
    const std::vector<std::string> before = Lines();
    Run();
    if (before != Lines()) Add("changed again", "a second run changed something");
  }

  std::vector<std::string> Lines() const {
    const testing::TreeAspects aspects = {.times = false, .linkTimes = false, .identities = true};
    std::vector<std::string> lines = testing::TreeLines(ground_.path(), aspects);
    const std::vector<std::string> others = testing::TreeLines(other_.path(), aspects);
    lines.insert(lines.end(), others.begin(), others.end());
    return lines;
  }

  const RandomRun& run_;
  const TemporaryFolder& ground_;
  const TemporaryFolder& other_;
  bool isAcross_;
  RunModel model_;
  testing::PreferencesFolder preferences_;
  testing::CapturedLog log_;
  Tally tally_;
  std::map<ino_t, size_t> fifos_;
  std::vector<std::vector<std::string>> places_;
  bool hasVanished_ = false;
  std::vector<Violation> violations_;
};

std::vector<Violation> Try(const RandomRun& run) {
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
    if (!Try(smaller).empty()) run = std::move(smaller);
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
    for (const auto& [extension, type] : testing::KnownMimeTypes())
      globs.append("50:").append(type).append(":*.").append(extension).append("\n");
    testing::WriteFile(folder_ / "mime/globs2", globs);
    std::string map;
    for (const auto& [extension, type] : testing::MappedFileTypes())
      map.append(".").append(extension).append(" \"").append(type).append("\"\n");
    testing::WriteFile(preferences_.MappingPath(), map);
    BuildExtensionMap();
    RegisterCommentAgent();
  }

 private:
  TemporaryFolder folder_;
  testing::TimeZone zone_;
  testing::EnvironmentVariable home_;
  testing::EnvironmentVariable data_;
  testing::PreferencesFolder preferences_;
};

TEST(RandomRuns, LoseNothingAndTellWhatTheyDid) {
  const KnownTables tables;
  const TemporaryFolder ground;
  const testing::VolumeTraits traits = testing::TryVolume(ground.path());
  if (!traits.hasByteNames || !traits.hasCase) GTEST_SKIP() << "not every name can be made here";
  testing::SoakCount count(
      "random runs", "runs",
      {"lost", "invented", "misplaced", "leftover", "mistold", "untold", "changed again"});
  for (testing::SoakRounds rounds("random runs", 60); rounds.Next();) {
    const RandomRun run = testing::MakeRandomRun(rounds.random(), traits);
    count.AddTries();
    if (Try(run).empty()) continue;
    const RandomRun smallest = Shrink(run);
    const std::string told = rounds.Describe() + "\n" + testing::Describe(smallest);
    for (const Violation& violation : Try(smallest))
      count.AddViolation(violation.name, violation.details + "\n" + told);
  }
}

}  // namespace
}  // namespace tessary
