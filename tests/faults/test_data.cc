#include "tests/faults/test_data.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <set>
#include <sstream>

#include "tests/support/mac_test_data.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTempPrefix = ".tessary-";
constexpr std::string_view kSidecarPrefix = "._";
// What begins the names of what is deleted together with its sidecar, or that is.
constexpr std::array<std::string_view, 2> kStagedPrefixes = {".tessary-pair-", "tessary-pair-"};
// Written by copies, as Linux cannot set a creation date.
constexpr std::string_view kCreationDate = "user.tessary.creation-date";

// No item's contents occur in another's.
std::string ContentsOf(size_t item, size_t size) {
  std::string contents = "item " + std::to_string(item) + "\n";
  SoakRandom random(item);
  while (contents.size() < size) contents += std::to_string(random.Next());
  return contents;
}

size_t SizeFrom(SoakRandom& random) {
  static constexpr std::array<size_t, 5> kMost = {1, 100, 5'000, 70'000, 300'000};
  return static_cast<size_t>(random.Below(random.Pick(kMost)));
}

// A date of its own to the nanosecond, in one of a few years.
void SetDate(const std::string& path, SoakRandom& random) {
  timespec date = {};
  date.tv_sec =
      static_cast<time_t>(1'100'000'000 + random.Below(5) * 31'557'600 + random.Below(3) * 86'400);
  date.tv_nsec = static_cast<long>(random.Below(1'000'000'000));
  const std::array<timespec, 2> times = {date, date};
  EXPECT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW)) << path;
}

void AppendAttributes(const std::string& path, std::ostream& text) {
  std::array<char, 4096> names = {};
  const ssize_t size = llistxattr(path.c_str(), names.data(), names.size());
  std::set<std::string> sorted;
  for (ssize_t at = 0; at < size;) {
    const std::string name(names.data() + at);
    at += static_cast<ssize_t>(name.size()) + 1;
    if (name.starts_with("user.") && name != kCreationDate) sorted.insert(name);
  }
  for (const std::string& name : sorted) {
    std::array<char, 4096> value = {};
    const ssize_t length = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
    text << " " << name << "=" << std::string(value.data(), length < 0 ? 0 : size_t(length));
  }
}

uint64_t HashOfFile(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return 0;
  std::string contents;
  std::array<char, 65'536> buffer;
  ssize_t got = 0;
  while ((got = read(file, buffer.data(), buffer.size())) > 0) {
    contents.append(buffer.data(), static_cast<size_t>(got));
  }
  close(file);
  return got < 0 ? 0 : std::hash<std::string>()(contents);
}

// The first place of each file with several names that has been met.
using LinkPlaces = std::map<std::pair<dev_t, ino_t>, std::string>;

// Without `links`, they are not told of.
void Describe(const std::string& path, const std::string& place, LinkPlaces* links,
              std::ostream& text) {
  struct stat info = {};
  if (lstat(path.c_str(), &info) != 0) return;
  text << place << " " << std::oct << info.st_mode << std::dec << " " << info.st_mtim.tv_sec << "."
       << info.st_mtim.tv_nsec;
  AppendAttributes(path, text);
  if (S_ISLNK(info.st_mode)) {
    std::error_code error;
    text << " -> " << fs::read_symlink(path, error).string();
  } else if (S_ISREG(info.st_mode)) {
    text << " " << info.st_size << " " << HashOfFile(path);
    if (links != nullptr && place != "." && info.st_nlink > 1) {
      text << " is " << links->try_emplace({info.st_dev, info.st_ino}, place).first->second;
    }
  }
  text << "\n";
  if (!S_ISDIR(info.st_mode)) return;
  std::error_code error;
  std::set<std::string> names;
  for (fs::directory_iterator it(path, error), end; !error && it != end; it.increment(error)) {
    names.insert(it->path().filename().string());
  }
  for (const std::string& name : names) {
    const std::string below = "/" + name;
    Describe(path + below, place + below, links, text);
  }
}

// None of it where there is nothing of the item.
std::vector<std::string> PathsOf(const std::map<size_t, std::vector<std::string>>& paths,
                                 size_t item) {
  const auto found = paths.find(item);
  return found == paths.end() ? std::vector<std::string>() : found->second;
}

// The packages of the cargo, and no key folders.
bool IsPackageName(const std::string& name) {
  return name.ends_with(".rtfd") || name.ends_with(".app") || name.ends_with(".band");
}

}  // namespace

std::string FingerprintOf(const std::string& path, bool hasLinks) {
  std::ostringstream text;
  LinkPlaces links;
  Describe(path, ".", hasLinks ? &links : nullptr, text);
  return text.str();
}

std::vector<std::string> ScanResult::PlacesOf(size_t item) const { return PathsOf(places, item); }

std::vector<std::string> ScanResult::SidecarsOf(size_t item) const {
  return PathsOf(sidecars, item);
}

size_t TestData::Add(const std::string& path) {
  const size_t item = paths_.size();
  paths_.push_back(path);
  EXPECT_TRUE(byFingerprint_.emplace(FingerprintOf(path, hasLinks_), item).second) << path;
  return item;
}

size_t TestData::PutFile(const std::string& path, SoakRandom& random) {
  const size_t size = SizeFrom(random);
  WriteFile(path, ContentsOf(size_, size));
  ++size_;
  // Some end in a hole.
  if (random.OneIn(8)) fs::resize_file(path, fs::file_size(path) + 100'000);
  if (random.OneIn(4)) (void)SetAttribute(path, "user.note", "note " + std::to_string(size));
  const mode_t mode = random.OneIn(4) ? 0400 : random.OneIn(4) ? 0755 : 0644;
  EXPECT_EQ(0, chmod(path.c_str(), mode)) << path;
  SetDate(path, random);
  return Add(path);
}

size_t TestData::PutLink(const std::string& path) {
  MakeLink("nowhere/" + std::to_string(size_++), path);
  return Add(path);
}

size_t TestData::PutPackage(const std::string& path, SoakRandom& random) {
  const size_t files = 1 + static_cast<size_t>(random.Below(12));
  MakeFolder(path + "/Contents/Empty");
  for (size_t i = 0; i < files; ++i) {
    const std::string inner = path + "/Contents/" + (i % 3 == 0 ? "Resources/" : "") + "file" +
                              std::to_string(i) + (random.OneIn(3) ? "" : ".txt");
    WriteFile(inner, ContentsOf(size_, SizeFrom(random)));
    SetDate(inner, random);
  }
  ++size_;
  fs::create_hard_link(path + "/Contents/Resources/" + NamesIn(path + "/Contents/Resources")[0],
                       path + "/Contents/linked");
  MakeLink("Contents/linked", path + "/link");
  for (const char* folder : {"/Contents/Resources", "/Contents/Empty", "/Contents", ""}) {
    SetDate(path + folder, random);
  }
  packages_.insert(size());
  return Add(path);
}

void TestData::Fill(const std::string& folder, size_t count, bool isDeep, SoakRandom& random) {
  static const std::vector<std::string> kFileEndings = {".txt", ".pdf", ".jpg", "..mp3", ".tar.gz"};
  static const std::vector<std::string> kPackageEndings = {".rtfd", ".app", ".band"};
  static const std::vector<std::string> kStems = {"a", "caf\xe9", "new\nline", "two..", "b - c"};
  static const std::vector<std::string> kFolders = {"/", "/below/", "/below/deep/", "/beside/"};
  for (size_t i = 0; i < count; ++i) {
    const std::string place = folder + (isDeep ? random.Pick(kFolders) : "/");
    MakeFolder(place);
    const std::string stem = place + random.Pick(kStems) + std::to_string(paths_.size());
    const uint64_t kind = random.Below(8);
    if (kind == 0) {
      PutLink(stem + random.Pick(kFileEndings));
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
  WriteFile(path, MakeSidecar(finderInfo, {{"id", id}}, ContentsOf(item, SizeFrom(random))));
  if (random.OneIn(4)) (void)SetAttribute(path, "user.note", id);
  EXPECT_EQ(0, chmod(path.c_str(), random.OneIn(4) ? 0400 : 0644)) << path;
  SetDate(path, random);
  withSidecar_.insert(item);
  EXPECT_TRUE(bySidecar_.emplace(FingerprintOf(path, hasLinks_), item).second) << path;
}

void TestData::PutSidecars(SoakRandom& random) {
  for (size_t item = 0; item < size(); ++item) {
    if (random.OneIn(2)) PutSidecar(item, random);
  }
}

std::optional<size_t> TestData::Identify(const std::string& path) const {
  if (fs::path(path).filename().string().starts_with(kSidecarPrefix)) return std::nullopt;
  const auto found = byFingerprint_.find(FingerprintOf(path, hasLinks_));
  if (found == byFingerprint_.end()) return std::nullopt;
  return found->second;
}

std::optional<size_t> TestData::ItemOfSidecar(const std::string& sidecar) const {
  const std::string name = fs::path(sidecar).filename();
  const bool isStaged = std::any_of(kStagedPrefixes.begin(), kStagedPrefixes.end(),
                                    [&name](auto prefix) { return name.starts_with(prefix); });
  if (!isStaged && !name.starts_with(kSidecarPrefix)) return std::nullopt;
  const auto found = bySidecar_.find(FingerprintOf(sidecar, hasLinks_));
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
  for (const std::string& folder : folders) ScanFolder(folder, &scan);
  return scan;
}

}  // namespace tessary::test
