#include "tests/faults/concurrent_modifier.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <utility>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

UniqueFd OpenFolderAt(int folder, const std::string& name) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  return UniqueFd(openat(folder, name.c_str(), kFlags));
}

bool Rename(int from, const std::string& name, int to, const std::string& newName,
            unsigned flag = RENAME_NOREPLACE) {
  return renameat2(from, name.c_str(), to, newName.c_str(), flag) == 0;
}

std::string KeyOf(const std::string& name) { return name.substr(name.rfind('.') + 1); }

std::optional<int64_t> DayOf(const std::string& path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0) return std::nullopt;
  return info.st_mtim.tv_sec / 86'400;
}

void Pause(SoakRandom& random, uint64_t maxMicroseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(random.Below(maxMicroseconds)));
}

}  // namespace

RaceDirectory::RaceDirectory(std::string directory) : path(std::move(directory)) {
  for (const char* name : {"/above/folder", "/decoy/folder", "/spares", "/removed", "/trap"}) {
    MakeFolder(path + name);
  }
}

void RaceDirectory::Open() {
  top = OpenFolderAt(AT_FDCWD, path);
  folder = OpenFolderAt(AT_FDCWD, RunFolder());
  spares = OpenFolderAt(AT_FDCWD, path + "/spares");
  removed = OpenFolderAt(AT_FDCWD, path + "/removed");
}

ConcurrentModifiers::ConcurrentModifiers(RaceDirectory* source, RaceDirectory* destination,
                                         const TestData* testData, const VolumeTraits& traits,
                                         bool isReplacing, uint64_t seed)
    : source_(source),
      destination_(destination),
      testData_(testData),
      traits_(traits),
      isReplacing_(isReplacing) {
  for (size_t item = 0; item < testData->size(); ++item) {
    const fs::path path = testData->PathOf(item);
    // A package under the name of a file would be a plain folder, whose files are filed one by one.
    const bool isFile = !fs::is_directory(fs::symlink_status(path));
    if (isFile && path.parent_path() == source->RunFolder()) names_.push_back(path.filename());
  }
  Start(seed, &ConcurrentModifiers::CreateConflict);
  Start(seed + 1, &ConcurrentModifiers::SaveOver);
  Start(seed + 2, &ConcurrentModifiers::MoveAway);
  if (traits.hasRenameExchange) Start(seed + 3, &ConcurrentModifiers::SwapFolders);
}

void ConcurrentModifiers::Stop() {
  isStopped_ = true;
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
  deleted_.merge(replaced_);
}

// Returns false if the name exists, or if the filesystem cannot make sure that it does not.
bool ConcurrentModifiers::MoveToFreeName(int from, const std::string& name, int to,
                                         const std::string& newName) const {
  if (traits_.hasRenameNoReplace) return Rename(from, name, to, newName, RENAME_NOREPLACE);
  return traits_.hasHardLinks && linkat(from, name.c_str(), to, newName.c_str(), 0) == 0 &&
         unlinkat(from, name.c_str(), 0) == 0;
}

template <typename Act>
void ConcurrentModifiers::Start(uint64_t seed, Act act) {
  threads_.emplace_back([this, seed, act] {
    SoakRandom random(seed);
    while (!isStopped_) {
      (this->*act)(random);
      Pause(random, 300);
    }
  });
}

// The name of the next spare. None if each may be used once and all have been.
std::optional<std::string> ConcurrentModifiers::TakeSpare(SoakRandom& random,
                                                          uint64_t* used) const {
  const uint64_t item = isReplacing_ ? (*used)++ : random.Below(kSpareCount);
  if (item >= kSpareCount) return std::nullopt;
  return "item" + std::to_string(item);
}

// Moves a spare to a name that the run is about to use, exchanging it with an existing item if
// there is one, or to a name in the source.
void ConcurrentModifiers::CreateConflict(SoakRandom& random) {
  const std::string& name = random.Pick(names_);
  if (!isReplacing_ && traits_.hasRenameNoReplace && random.OneIn(3)) {
    const std::string item = "item" + std::to_string(random.Below(kSpareCount));
    count_ += Rename(source_->spares.get(), item, source_->folder.get(), name);
    return;
  }
  const std::optional<std::string> item = TakeSpare(random, &usedInDestination_);
  if (!item) return;
  (void)mkdirat(destination_->folder.get(), KeyOf(name).c_str(), 0777);
  const UniqueFd folder = OpenFolderAt(destination_->folder.get(), KeyOf(name));
  if (!folder) return;
  const std::string path = destination_->path + "/spares/" + *item;
  const std::optional<int64_t> day = DayOf(path);
  const bool isExchange = traits_.hasRenameExchange && random.OneIn(3);
  const int spares = destination_->spares.get();
  if (isExchange ? !Rename(spares, *item, folder.get(), name, RENAME_EXCHANGE)
                 : !MoveToFreeName(spares, *item, folder.get(), name)) {
    return;
  }
  ++count_;
  conflicts_.push_back({path, name, day});
}

// Replaces an item of the source with another version, as programs save files.
void ConcurrentModifiers::SaveOver(SoakRandom& random) {
  const std::optional<std::string> item = TakeSpare(random, &usedInSource_);
  if (!item) return;
  const std::string& name = random.Pick(names_);
  if (!traits_.hasRenameExchange) return SaveByReplacing(*item, name);
  count_ += Rename(source_->spares.get(), *item, source_->folder.get(), name, RENAME_EXCHANGE);
}

// The old version is deleted. Not where the run renames by hard links: there, a version that is
// saved just before the old name is removed is lost.
void ConcurrentModifiers::SaveByReplacing(const std::string& item, const std::string& name) {
  if (!traits_.hasRenameNoReplace && traits_.hasHardLinks) return;
  if (!Rename(source_->spares.get(), item, source_->folder.get(), name, 0)) return;
  ++count_;
  std::vector<std::string>& versions = saved_[name];
  if (versions.empty()) versions.push_back(source_->RunFolder() + "/" + name);
  for (size_t i = 0; i < testData_->size(); ++i) {
    if (testData_->PathOf(i) == versions.back()) replaced_.insert(i);
  }
  versions.push_back(source_->path + "/spares/" + item);
}

// Moves an item away, from the source or from where it has just been filed, and deletes some.
void ConcurrentModifiers::MoveAway(SoakRandom& random) {
  const std::string name = random.Pick(names_);
  const std::string newName =
      "removed" + std::to_string(count_) + "-" + std::to_string(random.Next());
  // Without both, what has just been filed may be the placeholder of an item.
  const bool hasPlaceholders = !traits_.hasRenameNoReplace && !traits_.hasHardLinks;
  const bool isFromSource = hasPlaceholders || random.OneIn(2);
  const RaceDirectory& side = isFromSource ? *source_ : *destination_;
  const UniqueFd folder = OpenFolderAt(side.folder.get(), isFromSource ? "." : KeyOf(name));
  // The new name is free in any case.
  if (!folder || !Rename(folder.get(), name, side.removed.get(), newName, 0)) return;
  ++count_;
  const std::string path = side.path + "/removed/" + newName;
  const std::optional<size_t> item = random.OneIn(4) ? testData_->Identify(path) : std::nullopt;
  if (item && fs::remove_all(path) > 0) deleted_.insert(*item);
}

// Exchanges a folder of the run, or one above, with a link or another folder for a moment.
void ConcurrentModifiers::SwapFolders(SoakRandom& random) {
  if (!mayChangeFolders_) return;
  const std::string link = "link" + std::to_string(random.Below(4));
  switch (random.Below(4)) {
    case 0:
      SwapTemporarily(source_->folder.get(), "below", source_->spares.get(), link, random);
      break;
    case 1:
      SwapTemporarily(destination_->folder.get(), KeyOf(random.Pick(names_)),
                      destination_->spares.get(), link, random);
      break;
    case 2:
      SwapTemporarily(source_->top.get(), "above", source_->top.get(), "decoy", random);
      break;
    default:
      SwapTemporarily(destination_->top.get(), "above", destination_->top.get(), "decoy", random);
  }
}

void ConcurrentModifiers::SwapTemporarily(int folder, const std::string& name, int other,
                                          const std::string& otherName, SoakRandom& random) {
  if (!Rename(folder, name, other, otherName, RENAME_EXCHANGE)) return;
  ++count_;
  Pause(random, 1'000);
  if (Rename(folder, name, other, otherName, RENAME_EXCHANGE)) return;
  // The run has filed the link that stood there.
  EXPECT_TRUE(Rename(other, otherName, folder, name)) << name;
}

}  // namespace tessary::test
