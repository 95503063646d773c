#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/model/random_run.h"

// What a run should do with each object: the folder into which it is filed, and what the run
// reports. The model does not depend on the order of the objects, and uses no code of the engine.
namespace tessary::test {

enum class ExpectedOutcome {
  kIgnored,  // not reported: hidden, not an item, or in a folder that the run does not list
  kSkipped,
  kFiled,
  kFailed,          // with a log line
  kFailedUnlogged,  // without a log line
};

struct Expectation {
  ExpectedOutcome outcome = ExpectedOutcome::kIgnored;
  std::string folder = {};     // for kFiled and kFailed: the folder into which it is filed
  bool keepsOriginal = false;  // for kFiled: it is copied
  // The folders in which it may collide with another object of the same name.
  std::vector<std::string> collisionFolders = {};
};

class RunModel {
 public:
  // `isAcross`: the destination is on another filesystem.
  RunModel(const RandomRun& run, bool isAcross);

  // The expectation for an object, by its index in the run.
  const Expectation& Of(size_t object) const { return expectations_[object]; }

  // Returns whether the object may collide with another one, and whether it may then be replaced.
  bool HasNameCollision(size_t object) const;
  bool MayBeReplaced(size_t object) const;

  size_t Count(ExpectedOutcome outcome) const;

  // Returns false for a run by date whose destination is in the folders that it lists: it files
  // items repeatedly.
  bool IsPredictable() const { return isPredictable_; }

 private:
  Expectation Expect(const RandomObject& object) const;
  Expectation ExpectByDate(const RandomObject& object) const;
  bool IsListed(const RandomObject& object) const;
  bool IsInSortedFolder(const RandomObject& object) const;
  bool CanBeTransferred(const RandomObject& object) const;
  std::optional<std::string> KeyOf(const RandomObject& object) const;

  const RandomRun& run_;
  bool isAcross_;
  bool isPredictable_;
  std::vector<Expectation> expectations_;
};

// The file types and MIME types of extensions in the tables that the runs use.
const std::map<std::string, std::string>& MappedFileTypes();
const std::map<std::string, std::string>& KnownMimeTypes();

// The last component of a path, and what precedes it.
std::string NameIn(const std::string& path);
std::string FolderOf(const std::string& path);

}  // namespace tessary::test
