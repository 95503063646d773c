#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/faults/test_data.h"
#include "tests/support/soak.h"

namespace tessary::test {

// The folders on one side of a race, the source's or the destination's. The two sides may be on
// different filesystems.
//
//   PATH/above/folder   the folder that the run is given
//   PATH/decoy/...      other objects under the same names
//   PATH/spares         items, and links to the trap, that the modifiers put into the run's folder
//   PATH/removed        items that the modifiers have moved away
//   PATH/trap           the target of the links
struct RaceDirectory {
  // Creates the folders.
  explicit RaceDirectory(std::string directory);

  // Opens the descriptors.
  void Open();

  std::string RunFolder() const { return path + "/above/folder"; }

  std::string path;
  // Descriptors, as modifiers exchange the folders' names.
  UniqueFd top;
  UniqueFd folder;
  UniqueFd spares;
  UniqueFd removed;
};

// An item of the destination's spares that a modifier has put where the run files: under a name
// that the run uses, in the folder of its extension.
struct ConflictingItem {
  std::string path;            // where the item was created
  std::string name;            // its new name
  std::optional<int64_t> day;  // of its modification, in days since 1970, UTC; none for a link
};

// Threads that act as other programs in the folders of a run until they are stopped. They only
// rename whole items, never to a name that exists, so that they lose nothing themselves but the
// items in Deleted.
class ConcurrentModifiers {
 public:
  static constexpr uint64_t kSpareCount = 100;  // "item0" and so on, on either side

  // `traits` are those of both sides. Modifiers that need a capability which these lack do less. If
  // the run replaces items (`isReplacing`), each spare is used once and no two items of the source
  // ever get one name. Then only items in Conflicts may be replaced.
  ConcurrentModifiers(RaceDirectory* source, RaceDirectory* destination, const TestData* testData,
                      const VolumeTraits& traits, bool isReplacing, uint64_t seed);
  ~ConcurrentModifiers() { Stop(); }
  ConcurrentModifiers(const ConcurrentModifiers&) = delete;
  ConcurrentModifiers& operator=(const ConcurrentModifiers&) = delete;

  // From now on they also exchange folders of the run, and the folders above. The run must have
  // resolved its source and destination.
  void AllowFolderChanges() { mayChangeFolders_ = true; }

  // Ends them. All folders are back in their places.
  void Stop();

  // The number of modifications, and the items that were deleted or replaced by another version.
  uint64_t Count() const { return count_; }
  const std::set<size_t>& Deleted() const { return deleted_; }

  // The conflicting items, in the order in which they were put there.
  const std::vector<ConflictingItem>& Conflicts() const { return conflicts_; }

 private:
  std::optional<std::string> TakeSpare(SoakRandom& random, uint64_t* used) const;
  void CreateConflict(SoakRandom& random);
  void SaveOver(SoakRandom& random);
  void SaveByReplacing(const std::string& item, const std::string& name);
  void MoveAway(SoakRandom& random);
  void SwapFolders(SoakRandom& random);
  void SwapTemporarily(int folder, const std::string& name, int other, const std::string& otherName,
                       SoakRandom& random);
  bool MoveToFreeName(int from, const std::string& name, int to, const std::string& newName) const;
  template <typename Act>
  void Start(uint64_t seed, Act act);

  RaceDirectory* source_;
  RaceDirectory* destination_;
  const TestData* testData_;
  VolumeTraits traits_;
  bool isReplacing_;
  std::vector<std::string> names_;  // of the items in the top of the source, except packages
  std::atomic<bool> isStopped_ = false;
  std::atomic<bool> mayChangeFolders_ = false;
  std::atomic<uint64_t> count_ = 0;
  // Each of these belongs to one thread until all have ended.
  uint64_t usedInSource_ = 0;
  uint64_t usedInDestination_ = 0;
  std::vector<ConflictingItem> conflicts_;
  std::set<size_t> deleted_;
  std::set<size_t> replaced_;                              // added to `deleted_` at the end
  std::map<std::string, std::vector<std::string>> saved_;  // paths of the spares saved by each name
  std::vector<std::thread> threads_;
};

}  // namespace tessary::test
