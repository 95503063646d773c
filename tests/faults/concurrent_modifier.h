#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/faults/test_data.h"
#include "tests/support/soak.h"

namespace tessary::test {

// Where a run and those who are in its way meet. Everything but the outside is in one of two
// grounds, the source's and the destination's, which may be on two volumes:
//
//   GROUND/above/folder   what the run is given
//   GROUND/decoy/...      the same names, with other things under them
//   GROUND/spares          items, and links to the trap, to be put in its way
//   GROUND/removed         items that have been taken away
//   GROUND/trap           where the links lead to
struct RaceDirectory {
  explicit RaceDirectory(std::string ground);

  std::string path;
  UniqueFd above;  // the folders that the run is given, wherever they are moved meanwhile
  UniqueFd folder;
  UniqueFd spares;
  UniqueFd removed;
};

// An item of the destination's spares that was given a name in the destination that the run uses,
// in the folder that the name's extension names.
struct ConflictingItem {
  std::string path;  // where it was made
  std::string name;
  // Of its modification, since 1970, in UTC; none for a link, which leads nowhere.
  std::optional<int64_t> day;
};

// Other programs that work where a run works, all at once, as long as this lives. They only ever
// give new names to whole items, and never one that is taken, so that nothing is lost by them.
class ConcurrentModifiers {
 public:
  static constexpr uint64_t kSpareCount = 100;  // "item0" and so on, in either spares

  // Where the run is to replace (`isReplacing`), no two items are ever given one name in the source
  // and each of the spares is used once, so that only what Conflicts tells may go.
  ConcurrentModifiers(RaceDirectory* source, RaceDirectory* destination, const TestData* testData,
                      bool isReplacing, uint64_t seed);
  ~ConcurrentModifiers() { Stop(); }
  ConcurrentModifiers(const ConcurrentModifiers&) = delete;
  ConcurrentModifiers& operator=(const ConcurrentModifiers&) = delete;

  // Lets them also exchange the folders above those that the run works in, which it must have found
  // by then.
  void AllowFolderChanges() { mayChangeFolders_ = true; }

  // Has them end, with every folder in its own place again.
  void Stop();

  // How often they got in the way, and the items that they have deleted.
  uint64_t Count() const { return count_; }
  const std::set<size_t>& Deleted() const { return deleted_; }

  // What they have put in the run's way in the destination, in this order.
  const std::vector<ConflictingItem>& Conflicts() const { return conflicts_; }

 private:
  std::optional<std::string> TakeSpare(SoakRandom& random, uint64_t* used) const;
  void CreateConflict(SoakRandom& random);
  void SaveOver(SoakRandom& random);
  void MoveAway(SoakRandom& random);
  void SwapFolders(SoakRandom& random);
  void SwapTemporarily(int folder, const std::string& name, int other, const std::string& otherName,
                       SoakRandom& random);
  template <typename Act>
  void Start(uint64_t seed, Act act);

  RaceDirectory* source_;
  RaceDirectory* destination_;
  const TestData* testData_;
  bool isReplacing_;
  std::vector<std::string> names_;  // of the items that the run is to file
  std::atomic<bool> isStopped_ = false;
  std::atomic<bool> mayChangeFolders_ = false;
  std::atomic<uint64_t> count_ = 0;
  // Each of the rest is one thread's own until all of them have ended.
  uint64_t usedInSource_ = 0;
  uint64_t usedInDestination_ = 0;
  std::vector<ConflictingItem> conflicts_;
  std::set<size_t> deleted_;
  std::vector<std::thread> threads_;
};

}  // namespace tessary::test
