#include "tests/conformance/conformance_fixture.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>

#include "engine/run.h"
#include "platform/linux/catalog/names.h"
#include "platform/linux/catalog/reference.h"
#include "platform/linux/catalog/volume.h"
#include "tests/support/captured_log.h"
#include "tests/support/file_operations.h"
#include "tests/support/ordinary_user.h"
#include "tests/support/preferences_folder.h"

namespace tessary::test {
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

void GiveToOrdinaryUser(const std::string& folder) {
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    EXPECT_EQ(0, lchown(entry.path().c_str(), kOrdinaryId, kOrdinaryId)) << entry.path();
  }
  EXPECT_EQ(0, chown(folder.c_str(), kOrdinaryId, kOrdinaryId)) << folder;
}

// Copies like a run does: tries the fast path first.
Status CopyLikeRun(const FSRef& item, const FSRef& folder, const std::u16string* newName,
                   FSRef* made) {
  if (newName == nullptr && FSTryFastCopy(item, folder, made) == noErr) return noErr;
  return FSCopyObjectSync(item, folder, newName, made);
}

std::string NameOfParam(const testing::TestParamInfo<TransferConfig>& test) {
  return NameOf(test.param);
}

INSTANTIATE_TEST_SUITE_P(Table, Conformance, testing::ValuesIn(AllTransferConfigs()), NameOfParam);
INSTANTIATE_TEST_SUITE_P(Table, SymlinkConformance, testing::ValuesIn(AllTransferConfigs()),
                         NameOfParam);
INSTANTIATE_TEST_SUITE_P(Table, AnyTargetLinkConformance, testing::ValuesIn(AllTransferConfigs()),
                         NameOfParam);
INSTANTIATE_TEST_SUITE_P(Table, HardLinkConformance, testing::ValuesIn(AllTransferConfigs()),
                         NameOfParam);
INSTANTIATE_TEST_SUITE_P(Table, PermissionConformance, testing::ValuesIn(AllTransferConfigs()),
                         NameOfParam);

}  // namespace

const std::vector<TransferConfig>& AllTransferConfigs() {
  static const std::vector<TransferConfig> kConfigs = [] {
    std::vector<TransferConfig> configs;
    for (const VolumeKind kind : AllVolumeKinds()) {
      for (const Operation operation : {Operation::kMove, Operation::kCopy}) {
        configs.push_back({kind, kind, operation});
        if (kind == kOther) continue;
        configs.push_back({kind, kOther, operation});
        configs.push_back({kOther, kind, operation});
      }
    }
    return configs;
  }();
  return kConfigs;
}

std::string NameOf(const TransferConfig& config) {
  const std::string operation = "_" + NameOf(config.operation);
  if (config.from == config.to) return NameOf(config.from) + operation;
  return config.to == kOther ? NameOf(config.from) + "_to_" + NameOf(config.to) + operation
                             : NameOf(config.to) + "_from_" + NameOf(config.from) + operation;
}

std::string Describe(const TransferConfig& config) {
  std::string text = TypeNameOf(config.from);
  if (config.from != config.to) text += " to " + TypeNameOf(config.to);
  return text + " | " + NameOf(config.operation);
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
    if (!volume.IsAvailable())
      GTEST_SKIP() << "cannot be mounted here: " << volume.UnavailableReason();
  }
  const ScratchVolume& from = SharedVolume(GetParam().from);
  const ScratchVolume& to = SharedVolume(GetParam().to);
  traits_ = CommonTraits(from.Traits(), to.Traits());
  fromScratch_.emplace(from.path());
  toScratch_.emplace(to.path());
  from_ = *fromScratch_ / "source";
  to_ = *toScratch_ / "destination";
  MakeFolder(from_);
  MakeFolder(to_);
}

void Conformance::TearDown() {
  fromScratch_.reset();
  toScratch_.reset();
  for (const VolumeKind kind : {GetParam().from, GetParam().to}) SharedVolume(kind).StartOver();
}

void Conformance::SealTestData() const {
  for (const VolumeKind kind : {GetParam().from, GetParam().to}) {
    SharedVolume(kind).SealLowerLayer();
  }
}

void Conformance::SkipUnless(bool isSupported, const char* feature) const {
  if (!IsSkipped() && !isSupported)
    GTEST_SKIP() << "one of the two filesystems does not support " << feature;
}

void SymlinkConformance::SetUp() {
  Conformance::SetUp();
  SkipUnless(Traits().hasSymbolicLinks, "symbolic links");
}

void AnyTargetLinkConformance::SetUp() {
  Conformance::SetUp();
  SkipUnless(Traits().takesAnyLinkTarget, "links to any target");
}

void HardLinkConformance::SetUp() {
  Conformance::SetUp();
  SkipUnless(Traits().hasHardLinks, "hard links");
}

void PermissionConformance::SetUp() {
  Conformance::SetUp();
  SkipUnless(Traits().hasModes && Traits().ownsWhatItCreates, "users");
}

bool Conformance::IsAcross() const { return AreOnDifferentVolumes(from_, to_); }

void Conformance::MakeFileAndPackage() const {
  WriteFile(From("file"), "contents");
  WriteFile(From("Tool.app/inner"), "contents");
}

Status Conformance::Transfer(const std::string& name, const std::string& newName) {
  return TransferTo(From(name), to_, newName);
}

Status Conformance::TransferTo(const std::string& path, const std::string& folder,
                               const std::string& newName) {
  SealTestData();
  FSRef item;
  if (const Status status = FSPathMakeRef(path.c_str(), &item)) return status;
  const FSRef target = RefAt(folder);
  const std::u16string name = CatalogName(newName);
  const std::u16string* wanted = newName.empty() ? nullptr : &name;
  FSRef made;
  const Status status = IsMove() ? FSMoveObjectSync(item, target, wanted, &made)
                                 : CopyLikeRun(item, target, wanted, &made);
  EXPECT_EQ(status == noErr, FSIsFSRefValid(made)) << path;
  return status;
}

Status Conformance::TransferRef(const FSRef& item, const FSRef& folder) const {
  FSRef made;
  return IsMove() ? FSMoveObjectSync(item, folder, nullptr, &made)
                  : FSCopyObjectSync(item, folder, nullptr, &made);
}

TreeAspects Conformance::UntouchedAspects() const {
  const bool isStable = std::ranges::none_of(std::array{from_, to_}, [](const auto& folder) {
    return VolumeAt(ReferenceOf(RefAt(folder)).device, folder).hasUnstableInodes;
  });
  return {.identities = isStable};
}

TreeAspects Conformance::PreservedAspects() const {
  // A rename preserves every aspect. A folder of a lower layer is copied, which adds the attribute
  // of the creation date.
  if (IsRename()) return {.creationDates = !IsSourceInLowerLayer()};
  return {.modes = traits_.hasModes,
          .owners = traits_.hasOwners,
          .times = traits_.hasNanosecondDates,
          .linkTimes = traits_.hasNanosecondDates && traits_.hasDatesOfLinks,
          // A copy adds the creation-date attribute. Other cases check the attributes.
          .attributes = false,
          .hardLinks = traits_.hasHardLinks};
}

void Conformance::ExpectWholeTransfer(const std::string& name) {
  SealTestData();
  const std::vector<std::string> before = TreeLines(From(name), PreservedAspects());
  const std::vector<std::string> original = TreeLines(From(name), UntouchedAspects());
  ASSERT_EQ(noErr, Transfer(name)) << name;
  EXPECT_EQ(before, TreeLines(To(name), PreservedAspects()));
  if (IsMove()) {
    EXPECT_FALSE(Exists(From(name))) << name;
  } else {
    EXPECT_EQ(original, TreeLines(From(name), UntouchedAspects()));
  }
}

void Conformance::ExpectWholeTransferOfFileAndPackage() {
  ExpectWholeTransfer("file");
  ExpectWholeTransfer("Tool.app");
}

void Conformance::ExpectTransferError(const std::string& name, Status status,
                                      const std::string& newName) {
  const std::vector<std::string> before = DescribeBothFolders();
  EXPECT_EQ(status, Transfer(name, newName)) << name;
  EXPECT_EQ(before, DescribeBothFolders());
}

std::vector<std::string> Conformance::DescribeBothFolders() const {
  SealTestData();
  std::vector<std::string> lines;
  for (const std::string& folder : {from_, to_}) {
    // Omits the folders themselves: a temporary file changes their dates.
    for (const std::string& name : NamesIn(folder)) {
      const std::vector<std::string> item = TreeLines(folder + "/" + name, UntouchedAspects());
      lines.push_back(folder + "/" + name);
      lines.insert(lines.end(), item.begin(), item.end());
    }
  }
  return lines;
}

std::vector<std::string> Conformance::RunEngine(const std::string& settings) const {
  SealTestData();
  const PreferencesFolder preferences;
  preferences.Write((IsMove() ? "FileOperation = 1\n" : "FileOperation = 2\n") + settings);
  const CapturedLog log;
  AggregateFolder(RefAt(from_), RefAt(to_));
  return log.Messages();
}

void Conformance::OpenToEverybody() const {
  for (const auto* folder : {&fromScratch_, &toScratch_}) {
    EXPECT_EQ(0, chmod((*folder)->path().c_str(), 0755));
  }
}

void Conformance::AsOrdinaryUser(const std::function<void()>& body) const {
  if (geteuid() == 0) {
    for (const std::string& folder : {fromScratch_->path(), toScratch_->path()}) {
      GiveToOrdinaryUser(folder);
    }
  }
  SealTestData();
  EXPECT_TRUE(RunAsOrdinaryUser(body));
}

}  // namespace tessary::test
