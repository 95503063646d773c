#include "tests/conformance/ground.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>

#include "engine/run.h"
#include "platform/linux/catalog/names.h"
#include "tests/support/captured_log.h"
#include "tests/support/copying.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/preferences_folder.h"

namespace tessary::testing {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kOrdinaryId = 65534;
constexpr VolumeKind kOther = VolumeKind::kTmpfs;

std::map<VolumeKind, std::unique_ptr<ScratchVolume>>& SharedVolumes() {
  static std::map<VolumeKind, std::unique_ptr<ScratchVolume>> gVolumes;
  return gVolumes;
}

std::string NameOf(Operation operation) { return operation == Operation::kMove ? "move" : "copy"; }

std::string TypeNameOf(VolumeKind kind) {
  if (kind != VolumeKind::kOwn) return NameOf(kind);
  return SharedVolume(kind).TypeName() + " of this machine";
}

VolumeTraits Common(const VolumeTraits& a, const VolumeTraits& b) {
  return {.hasHardLinks = a.hasHardLinks && b.hasHardLinks,
          .hasSymbolicLinks = a.hasSymbolicLinks && b.hasSymbolicLinks,
          .hasLinksAnywhere = a.hasLinksAnywhere && b.hasLinksAnywhere,
          .hasDatesOfLinks = a.hasDatesOfLinks && b.hasDatesOfLinks,
          .hasSpecialFiles = a.hasSpecialFiles && b.hasSpecialFiles,
          .hasModes = a.hasModes && b.hasModes,
          .hasOwners = a.hasOwners && b.hasOwners,
          .hasMakers = a.hasMakers && b.hasMakers,
          .hasAttributes = a.hasAttributes && b.hasAttributes,
          .hasAccessLists = a.hasAccessLists && b.hasAccessLists,
          .hasCapabilities = a.hasCapabilities && b.hasCapabilities,
          .hasFineDates = a.hasFineDates && b.hasFineDates,
          .hasHoles = a.hasHoles && b.hasHoles,
          .tellsHoles = a.tellsHoles && b.tellsHoles,
          .hasByteNames = a.hasByteNames && b.hasByteNames,
          .hasCase = a.hasCase && b.hasCase};
}

void GiveToOrdinaryUser(const std::string& folder) {
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    EXPECT_EQ(0, lchown(entry.path().c_str(), kOrdinaryId, kOrdinaryId)) << entry.path();
  }
  EXPECT_EQ(0, chown(folder.c_str(), kOrdinaryId, kOrdinaryId)) << folder;
}

// At once where that can be done.
Status CopyAsARunDoes(const FSRef& item, const FSRef& folder, const std::u16string* newName,
                      FSRef* made) {
  if (newName == nullptr && FSCopyObjectAtOnce(item, folder, made) == noErr) return noErr;
  return FSCopyObjectSync(item, folder, newName, made);
}

}  // namespace

const std::vector<Ground>& AllGrounds() {
  static const std::vector<Ground> kGrounds = [] {
    std::vector<Ground> grounds;
    for (const VolumeKind kind : AllVolumeKinds()) {
      for (const Operation operation : {Operation::kMove, Operation::kCopy}) {
        grounds.push_back({kind, kind, operation});
        if (kind == kOther) continue;
        grounds.push_back({kind, kOther, operation});
        grounds.push_back({kOther, kind, operation});
      }
    }
    return grounds;
  }();
  return kGrounds;
}

std::string NameOf(const Ground& ground) {
  const std::string operation = "_" + NameOf(ground.operation);
  if (ground.from == ground.to) return NameOf(ground.from) + operation;
  return ground.to == kOther ? NameOf(ground.from) + "_to_" + NameOf(ground.to) + operation
                             : NameOf(ground.to) + "_from_" + NameOf(ground.from) + operation;
}

std::string Describe(const Ground& ground) {
  std::string text = TypeNameOf(ground.from);
  if (ground.from != ground.to) text += " to " + TypeNameOf(ground.to);
  return text + " | " + NameOf(ground.operation);
}

ScratchVolume& SharedVolume(VolumeKind kind) {
  std::unique_ptr<ScratchVolume>& volume = SharedVolumes()[kind];
  if (!volume) volume = std::make_unique<ScratchVolume>(kind);
  return *volume;
}

void ReleaseSharedVolumes() { SharedVolumes().clear(); }

void Conformance::SetUp() {
  for (const VolumeKind kind : {GetParam().from, GetParam().to}) {
    const ScratchVolume& volume = SharedVolume(kind);
    if (!volume.IsThere()) GTEST_SKIP() << "not to be had here: " << volume.WhyNot();
  }
  const ScratchVolume& from = SharedVolume(GetParam().from);
  const ScratchVolume& to = SharedVolume(GetParam().to);
  traits_ = Common(from.Traits(), to.Traits());
  fromGround_.emplace(from.path());
  toGround_.emplace(to.path());
  from_ = *fromGround_ / "source";
  to_ = *toGround_ / "destination";
  MakeFolder(from_);
  MakeFolder(to_);
}

bool Conformance::IsAcross() const { return AreOnDifferentVolumes(from_, to_); }

Status Conformance::Transfer(const std::string& name, const std::string& newName) {
  return TransferTo(From(name), to_, newName);
}

Status Conformance::TransferTo(const std::string& path, const std::string& folder,
                               const std::string& newName) {
  FSRef item;
  if (const Status status = FSPathMakeRef(path.c_str(), &item)) return status;
  const FSRef target = RefAt(folder);
  const std::u16string name = CatalogName(newName);
  const std::u16string* wanted = newName.empty() ? nullptr : &name;
  FSRef made;
  const Status status = IsMove() ? FSMoveObjectSync(item, target, wanted, &made)
                                 : CopyAsARunDoes(item, target, wanted, &made);
  EXPECT_EQ(status == noErr, FSIsFSRefValid(made)) << path;
  return status;
}

TreeAspects Conformance::AspectsKept() const {
  // A renaming keeps everything there is.
  if (IsRenaming()) return {};
  return {.modes = traits_.hasModes,
          .owners = traits_.hasOwners,
          .times = traits_.hasFineDates,
          .linkTimes = traits_.hasFineDates && traits_.hasDatesOfLinks,
          // The creation date goes into one. What else is kept of them has its own cases.
          .attributes = false,
          .hardLinks = traits_.hasHardLinks};
}

void Conformance::ExpectWholeTransfer(const std::string& name) {
  const std::vector<std::string> before = TreeLines(From(name), AspectsKept());
  const std::vector<std::string> original = TreeLines(From(name), {.identities = true});
  ASSERT_EQ(noErr, Transfer(name)) << name;
  EXPECT_EQ(before, TreeLines(To(name), AspectsKept()));
  if (IsMove()) {
    EXPECT_FALSE(Exists(From(name))) << name;
  } else {
    EXPECT_EQ(original, TreeLines(From(name), {.identities = true}));
  }
}

void Conformance::ExpectRefusal(const std::string& name, Status status,
                                const std::string& newName) {
  const std::vector<std::string> before = Everything();
  EXPECT_EQ(status, Transfer(name, newName)) << name;
  EXPECT_EQ(before, Everything());
}

std::vector<std::string> Conformance::Everything() const {
  std::vector<std::string> lines;
  for (const std::string& folder : {from_, to_}) {
    // The folders' own dates tell of what was there for a moment.
    for (const std::string& name : NamesIn(folder)) {
      const std::vector<std::string> item = TreeLines(folder + "/" + name, {.identities = true});
      lines.push_back(folder + "/" + name);
      lines.insert(lines.end(), item.begin(), item.end());
    }
  }
  return lines;
}

std::vector<std::string> Conformance::RunEngine(const std::string& settings) const {
  const PreferencesFolder preferences;
  preferences.Write((IsMove() ? "FileOperation = 1\n" : "FileOperation = 2\n") + settings);
  const CapturedLog log;
  AggregateFolder(RefAt(from_), RefAt(to_));
  return log.Messages();
}

void Conformance::OpenToEverybody() const {
  for (const auto* folder : {&fromGround_, &toGround_}) {
    EXPECT_EQ(0, chmod((*folder)->path().c_str(), 0755));
  }
}

void Conformance::AsOrdinaryUser(const std::function<void()>& body) const {
  if (geteuid() == 0) {
    for (const std::string& folder : {fromGround_->path(), toGround_->path()}) {
      GiveToOrdinaryUser(folder);
    }
  }
  EXPECT_TRUE(RunAsOrdinaryUser(body));
}

}  // namespace tessary::testing
