#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/model/random_run.h"

// What a run ought to do, told object by object and without regard to their order: which folder
// each goes into, and what a run must tell of it. It knows nothing of the engine but its rules.
namespace tessary::test {

enum class ExpectedOutcome {
  kIgnored,  // hidden, no item, or where the run does not come: not told of
  kSkipped,  // told as left where it is
  kFiled,
  kFailed,          // and the log names it
  kFailedUnlogged,  // failed, and the log is silent
};

struct Expectation {
  ExpectedOutcome outcome = ExpectedOutcome::kIgnored;
  std::string folder = {};  // of kFiled and kFailed: the folder that it goes into, below the ground
  bool keepsOriginal = false;  // of kFiled: the original stays
  // Under these names of folders and its own, another object may meet it.
  std::vector<std::string> collisionFolders = {};
};

class RunModel {
 public:
  // `isAcross`: whether the destination lies on another volume.
  RunModel(const RandomRun& run, bool isAcross);

  // By the number of the object in the run.
  const Expectation& Of(size_t object) const { return expectations_[object]; }

  // Whether another object of the same name may have met this one, and, with the settings so, have
  // replaced it.
  bool HasNameCollision(size_t object) const;
  bool MayBeReplaced(size_t object) const;

  size_t Count(ExpectedOutcome outcome) const;

  // A run by date into a folder that it walks itself files things again and again.
  bool IsPredictable() const { return isPredictable_; }

 private:
  Expectation Expect(const RandomObject& object) const;
  Expectation ExpectByDate(const RandomObject& object) const;
  bool IsWalked(const RandomObject& object) const;
  bool IsInSortedFolder(const RandomObject& object) const;
  bool CanBeTransferred(const RandomObject& object, bool asCopy) const;
  std::optional<std::string> KeyOf(const RandomObject& object) const;

  const RandomRun& run_;
  bool isAcross_;
  bool isPredictable_;
  std::vector<Expectation> expectations_;
};

// What extensions stand for in the files that the runs are given: file types and MIME types.
const std::map<std::string, std::string>& MappedFileTypes();
const std::map<std::string, std::string>& KnownMimeTypes();

// The last component of a path, and what is before it.
std::string NameIn(const std::string& path);
std::string FolderOf(const std::string& path);

}  // namespace tessary::test
