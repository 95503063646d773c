#include "tests/model/random_run.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <set>
#include <sstream>

namespace tessary::test {
namespace {

const std::vector<std::string> kStems = {
    "a",  "b",  "a b", "Käthe", "\xff\xfe", "new\nline", "two.dots",  "-rf",
    "  ", "%s", "a:b", "~",     "$(id)",    "\x01",      "e\xcc\x81", "README"};
const std::vector<std::string> kExtensions = {"txt",  "TXT", "jpg", "gz", "qqq", "x y",
                                              "\xfe", "Kä",  "a:b", "",   "app", "n\nl"};
const std::vector<std::string> kPackageExtensions = {"app", "bundle", "RTFD", "framework"};
const std::vector<std::string> kFolders = {"sub", "sub/deeper", "Folder b", "\xfd", ".hidden"};
const std::vector<std::string> kTypes = {
    "TEXT", "PDF ", std::string("ab\0\0", 4), "\xff\xff\xff\xff", "a/b:", std::string("..\0\0", 4)};

std::string RandomName(SoakRandom& random) {
  // Half of the names begin with one of the first three stems, so that names collide.
  std::string name = random.OneIn(2) ? kStems[random.Below(3)] : random.Pick(kStems);
  if (random.OneIn(12)) name = "." + name;
  if (random.OneIn(25)) name.append(150, 'n');
  return random.OneIn(6) ? name : name + "." + random.Pick(kExtensions);
}

ObjectKind RandomKind(SoakRandom& random, const VolumeTraits& traits) {
  switch (random.Below(12)) {
    case 0:
      return ObjectKind::kFolder;
    case 1:
    case 2:
      return ObjectKind::kPackage;
    case 3:
      return traits.hasSymbolicLinks ? ObjectKind::kLink : ObjectKind::kFile;
    case 4:
      return traits.hasSpecialFiles ? ObjectKind::kFifo : ObjectKind::kFile;
    default:
      return ObjectKind::kFile;
  }
}

class RunGenerator {
 public:
  RunGenerator(SoakRandom& random, const VolumeTraits& traits) : random_(random), traits_(traits) {}

  RandomRun Make() {
    run_.kind = static_cast<int>(1 + random_.Below(traits_.hasAttributes ? 5 : 4));
    run_.isCopy = random_.OneIn(3);
    run_.replaces = random_.OneIn(3);
    run_.recurses = !random_.OneIn(3);
    run_.keepsComments = random_.OneIn(3);
    run_.isApplication = random_.OneIn(6);
    run_.isWholeApplication = random_.OneIn(2);
    run_.place = static_cast<RunPlace>(random_.Below(3));
    const uint64_t count = 1 + random_.Below(24);
    for (uint64_t i = 0; i < count; ++i) AddObject(RandomSourceFolder());
    const uint64_t collisions = random_.OneIn(2) ? 0 : 1 + random_.Below(8);
    for (uint64_t i = 0; i < collisions; ++i) AddCollision();
    return std::move(run_);
  }

 private:
  std::string RandomSourceFolder() {
    const std::string source = run_.Source();
    return random_.OneIn(2) ? source : source + "/" + random_.Pick(kFolders);
  }

  void AddObject(const std::string& folder) {
    RandomObject object;
    object.kind = RandomKind(random_, traits_);
    // A FIFO has no attribute that could hold a creation date.
    if (run_.kind == 5 && object.kind == ObjectKind::kFifo) object.kind = ObjectKind::kFile;
    std::string name = RandomName(random_);
    if (object.kind == ObjectKind::kPackage) name += "." + random_.Pick(kPackageExtensions);
    if (object.kind == ObjectKind::kFolder) name = "folder" + std::to_string(random_.Below(3));
    object.path = folder + "/" + name;
    Complete(object);
  }

  // Adds an object to a key folder of the destination, under a name that the run may use there.
  void AddCollision() {
    if (run_.kind >= 4) {
      const RunDate& date = random_.Pick(RunDates());
      const std::array<std::string, 3> folders = {
          date.year, std::string(date.year) + "/" + date.day, "Photos"};
      AddObject(run_.Destination() + "/" + random_.Pick(folders));
      return;
    }
    const std::array<std::string, 6> folders = {"txt", "jpg", "gz", "image:jpeg", "TEXT", "app"};
    AddObject(run_.Destination() + "/" + random_.Pick(folders));
  }

  void Complete(RandomObject& object) {
    // Skips a path that another object already has.
    if (!names_.insert(object.path).second) return;
    const std::string number = std::to_string(run_.objects.size());
    object.content = "content " + number;
    if (object.kind == ObjectKind::kLink) object.content = "nowhere " + number;
    if (traits_.hasAttributes) {
      const bool canHave = object.kind == ObjectKind::kFile || object.kind == ObjectKind::kPackage;
      if (canHave && random_.OneIn(4)) object.fileType = random_.Pick(kTypes);
      object.isInvisible = object.kind == ObjectKind::kFile && random_.OneIn(15);
      if (canHave && random_.OneIn(5)) object.comment = "comment " + number;
    }
    object.date = static_cast<int>(random_.Below(RunDates().size()));
    object.hasFifo =
        object.kind == ObjectKind::kPackage && traits_.hasSpecialFiles && random_.OneIn(8);
    run_.objects.push_back(object);
  }

  SoakRandom& random_;
  const VolumeTraits& traits_;
  RandomRun run_;
  std::set<std::string> names_;
};

}  // namespace

const std::vector<RunDate>& RunDates() {
  static const std::vector<RunDate> kDates = {{1236164645, "2009", "Mar 04, 2009"},
                                              {1314186645, "2011", "Aug 24, 2011"},
                                              {1325375999, "2011", "Dec 31, 2011"},
                                              {1325376000, "2012", "Jan 01, 2012"},
                                              {-3600, "1969", "Dec 31, 1969"}};
  return kDates;
}

std::string RandomRun::Source() const {
  return GivenSource() + (isApplication && !isWholeApplication ? "/Contents/Resources" : "");
}

std::string RandomRun::Destination() const {
  switch (place) {
    case RunPlace::kBeside:
      return "destination";
    case RunPlace::kInside:
      return Source() + "/destination";
    case RunPlace::kOtherFilesystem:
      return "other";
  }
  return {};
}

std::string RandomRun::Preferences() const {
  const auto boolean = [](bool value) { return value ? "true\n" : "false\n"; };
  std::string lines = "TessaryType = " + std::to_string(kind) + "\n";
  lines += std::string("FileOperation = ") + (isCopy ? "2" : "1") + "\n";
  lines += std::string("RecurseFolders = ") + boolean(recurses);
  lines += std::string("ReplaceFilesBySameName = ") + boolean(replaces);
  // The names of these two keys mean the opposite of what they do.
  lines += std::string("AggregateAppResourcesOnly = ") + boolean(isWholeApplication);
  lines += std::string("PreserveComments = ") + boolean(!keepsComments);
  return lines;
}

RandomRun MakeRandomRun(SoakRandom& random, const VolumeTraits& traits) {
  return RunGenerator(random, traits).Make();
}

void AddSidecars(SoakRandom& random, RandomRun* run) {
  if (random.OneIn(2)) return;
  std::set<std::string> names;
  const size_t count = run->objects.size();
  for (size_t i = 0; i < count; ++i) {
    const std::string path = run->objects[i].path;
    const size_t slash = path.rfind('/') + 1;
    RandomObject sidecar;
    sidecar.path = path.substr(0, slash) + "._" + path.substr(slash);
    sidecar.content = "sidecar " + std::to_string(i);
    const bool isNew = std::ranges::none_of(
        run->objects, [&](const RandomObject& object) { return object.path == sidecar.path; });
    if (isNew && random.OneIn(3)) run->objects.push_back(sidecar);
    // An orphaned one in a folder that the run may file into.
    sidecar.path = run->Destination() + "/txt/._" + path.substr(slash);
    if (random.OneIn(20) && names.insert(sidecar.path).second) run->objects.push_back(sidecar);
  }
}

std::string Describe(const RandomRun& run) {
  std::ostringstream text;
  text << run.Preferences() << "from " << run.Source() << " to " << run.Destination() << "\n";
  for (const RandomObject& object : run.objects) {
    text << "  "
         << "fdpli"[static_cast<int>(object.kind)] << " " << std::quoted(object.path) << " "
         << object.content << " date " << object.date;
    if (!object.fileType.empty()) text << " type " << std::quoted(object.fileType);
    if (object.isInvisible) text << " invisible";
    if (!object.comment.empty()) text << " " << object.comment;
    if (object.hasFifo) text << " with a FIFO";
    text << "\n";
  }
  return text.str();
}

}  // namespace tessary::test
