#include "tests/faults/test_data.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "tests/support/mac_test_data.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/tree_lines.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTempPrefix = ".tessary-";
constexpr std::string_view kSidecarPrefix = "._";
// The prefixes of sidecars that are staged for deletion.
constexpr std::array<std::string_view, 2> kStagedPrefixes = {".tessary-pair-", "tessary-pair-"};

// Different contents for each item, of at least `size` bytes.
std::string ContentsOf(size_t item, size_t size) {
  std::string contents = "item " + std::to_string(item) + "\n";
  SoakRandom random(item);
  while (contents.size() < size) contents += std::to_string(random.Next());
  return contents;
}

size_t RandomSize(SoakRandom& random) {
  static constexpr std::array<size_t, 5> kLimits = {1, 100, 5'000, 70'000, 300'000};
  return static_cast<size_t>(random.Below(random.Pick(kLimits)));
}

// Sets a random modification date on one of a few days in a few years.
void SetRandomDate(const std::string& path, SoakRandom& random) {
  timespec date = {};
  date.tv_sec =
      static_cast<time_t>(1'100'000'000 + random.Below(5) * 31'557'600 + random.Below(3) * 86'400);
  date.tv_nsec = static_cast<long>(random.Below(1'000'000'000));
  const std::array<timespec, 2> times = {date, date};
  EXPECT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW)) << path;
}

// Only these names; a key folder could be named as other packages are.
bool IsPackageName(const std::string& name) {
  return name.ends_with(".rtfd") || name.ends_with(".app") || name.ends_with(".band");
}

}  // namespace

VolumeTraits AllTraits() {
  return {.hasHardLinks = true,
          .hasSymbolicLinks = true,
          .takesAnyLinkTarget = true,
          .hasDatesOfLinks = true,
          .hasModes = true,
          .hasAttributes = true,
          .hasNanosecondDates = true,
          .hasRenameNoReplace = true,
          .hasRenameExchange = true,
          .takesAnyNameBytes = true,
          .isCaseSensitive = true};
}

std::string FingerprintOf(const std::string& path, const VolumeTraits& traits) {
  return TreeText(path, {.modes = traits.hasModes,
                         .owners = false,
                         .times = traits.hasNanosecondDates,
                         .linkTimes = traits.hasNanosecondDates && traits.hasDatesOfLinks,
                         .attributes = traits.hasAttributes,
                         .hardLinks = traits.hasHardLinks,
                         .linkCounts = traits.hasHardLinks,
                         .creationDates = false,
                         .hashedContents = true});
}

void TestData::ChangeMode(const std::string& path, mode_t mode) const {
  EXPECT_TRUE(chmod(path.c_str(), mode) == 0 || !traits_.hasModes) << path;
}

size_t TestData::Add(const std::string& path) {
  const size_t item = paths_.size();
  paths_.push_back(path);
  EXPECT_TRUE(byFingerprint_.emplace(FingerprintOf(path, traits_), item).second) << path;
  return item;
}

size_t TestData::PutFile(const std::string& path, SoakRandom& random) {
  const size_t size = RandomSize(random);
  WriteFile(path, ContentsOf(size_, size));
  ++size_;
  // A hole at the end.
  if (random.OneIn(8)) fs::resize_file(path, fs::file_size(path) + 100'000);
  if (random.OneIn(4)) (void)SetAttribute(path, "user.note", "note " + std::to_string(size));
  ChangeMode(path, random.OneIn(4) ? 0400 : random.OneIn(4) ? 0755 : 0644);
  SetRandomDate(path, random);
  return Add(path);
}

size_t TestData::PutLink(const std::string& path, SoakRandom& random) {
  if (!traits_.hasSymbolicLinks) return PutFile(path, random);
  MakeLink("nowhere/" + std::to_string(size_++), path);
  return Add(path);
}

size_t TestData::PutPackage(const std::string& path, SoakRandom& random) {
  const size_t files = 1 + static_cast<size_t>(random.Below(12));
  MakeFolder(path + "/Contents/Empty");
  for (size_t i = 0; i < files; ++i) {
    const std::string inner = path + "/Contents/" + (i % 3 == 0 ? "Resources/" : "") + "file" +
                              std::to_string(i) + (random.OneIn(3) ? "" : ".txt");
    WriteFile(inner, ContentsOf(size_, RandomSize(random)));
    SetRandomDate(inner, random);
  }
  ++size_;
  std::error_code error;
  fs::create_hard_link(path + "/Contents/Resources/" + NamesIn(path + "/Contents/Resources")[0],
                       path + "/Contents/linked", error);
  EXPECT_TRUE(!error || !traits_.hasHardLinks) << path;
  if (traits_.hasSymbolicLinks) MakeLink("Contents/linked", path + "/link");
  for (const char* folder : {"/Contents/Resources", "/Contents/Empty", "/Contents", ""}) {
    SetRandomDate(path + folder, random);
  }
  packages_.insert(size());
  return Add(path);
}

void TestData::Fill(const std::string& folder, size_t count, bool isDeep, SoakRandom& random) {
  static const std::vector<std::string> kFileEndings = {".txt", ".pdf", ".jpg", "..mp3", ".tar.gz"};
  static const std::vector<std::string> kPackageEndings = {".rtfd", ".app", ".band"};
  static const std::vector<std::string> kStems = {"a", "two..", "b - c"};
  static const std::vector<std::string> kAnyStems = {"a", "caf\xe9", "new\nline", "two..", "b - c"};
  static const std::vector<std::string> kFolders = {"/", "/below/", "/below/deep/", "/beside/"};
  for (size_t i = 0; i < count; ++i) {
    const std::string place = folder + (isDeep ? random.Pick(kFolders) : "/");
    MakeFolder(place);
    const std::string stem = place + random.Pick(traits_.takesAnyNameBytes ? kAnyStems : kStems) +
                             std::to_string(paths_.size());
    const uint64_t kind = random.Below(8);
    if (kind == 0) {
      PutLink(stem + random.Pick(kFileEndings), random);
    } else if (kind < 3) {
      PutPackage(stem + random.Pick(kPackageEndings), random);
    } else {
      PutFile(stem + random.Pick(kFileEndings), random);
    }
  }
}

void TestData::PutSidecar(size_t item, SoakRandom& random) {
  const std::string finderInfo = std::string("TEXTttxt") + std::string(24, '\0');
  const std::string path = SidecarPath(PathOf(item));
  const std::string id = "sidecar of " + ContentsOf(item, 0);
  WriteFile(path, MakeSidecar(finderInfo, {{"id", id}}, ContentsOf(item, RandomSize(random))));
  if (random.OneIn(4)) (void)SetAttribute(path, "user.note", id);
  ChangeMode(path, random.OneIn(4) ? 0400 : 0644);
  SetRandomDate(path, random);
  withSidecar_.insert(item);
  EXPECT_TRUE(bySidecar_.emplace(FingerprintOf(path, traits_), item).second) << path;
}

void TestData::PutSidecars(SoakRandom& random) {
  for (size_t item = 0; item < size(); ++item) {
    if (random.OneIn(2)) PutSidecar(item, random);
  }
}

std::optional<size_t> TestData::Identify(const std::string& path) const {
  if (fs::path(path).filename().string().starts_with(kSidecarPrefix)) return std::nullopt;
  const auto found = byFingerprint_.find(FingerprintOf(path, traits_));
  if (found == byFingerprint_.end()) return std::nullopt;
  return found->second;
}

std::optional<size_t> TestData::ItemOfSidecar(const std::string& sidecar) const {
  const std::string name = fs::path(sidecar).filename();
  const bool isStaged = std::any_of(kStagedPrefixes.begin(), kStagedPrefixes.end(),
                                    [&name](auto prefix) { return name.starts_with(prefix); });
  if (!isStaged && !name.starts_with(kSidecarPrefix)) return std::nullopt;
  const auto found = bySidecar_.find(FingerprintOf(sidecar, traits_));
  if (found == bySidecar_.end()) return std::nullopt;
  return found->second;
}

void TestData::ScanFolder(const std::string& folder, ScanResult* scan) const {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    const std::string name = entry.path().filename().string();
    const bool isFolder = entry.symlink_status().type() == fs::file_type::directory;
    const std::optional<size_t> owner = ItemOfSidecar(path);
    if (owner) scan->sidecars[*owner].push_back(path);
    if (name.starts_with(kTempPrefix)) {
      scan->staleTempFiles.push_back(path);
    } else if (owner) {
      continue;
    } else if (const std::optional<size_t> item = Identify(path)) {
      scan->places[*item].push_back(path);
    } else if (isFolder && !IsPackageName(name)) {
      ScanFolder(path, scan);
    } else {
      scan->unexpected.push_back(path);
    }
  }
}

ScanResult TestData::Scan(const std::vector<std::string>& folders) const {
  ScanResult scan;
  scan.places.resize(size());
  scan.sidecars.resize(size());
  for (const std::string& folder : folders) ScanFolder(folder, &scan);
  return scan;
}

}  // namespace tessary::test
