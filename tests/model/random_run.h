#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/soak.h"
#include "tests/support/volume_traits.h"

// A run made up by chance: the settings, and what lies in the source and in the destination. It is
// a list of objects, so that one that shows a fault can be made smaller by leaving objects out.
namespace tessary::test {

enum class ObjectKind { kFile, kFolder, kPackage, kLink, kFifo };

// An object to be made before the run. Folders above it are made as they are needed.
struct RandomObject {
  ObjectKind kind = ObjectKind::kFile;
  std::string path;      // below the ground: "source/...", "destination/..."
  std::string content;   // of a file, different for each; of a link where it leads
  std::string fileType;  // four bytes of Finder information, or empty
  bool isInvisible = false;
  int date = 0;            // which of kRunDates is its date, by modification and creation
  std::string comment;     // empty: none
  bool holdsFifo = false;  // a package that no copy can be made of
};

// The dates that objects have, in seconds since 1970, and the folders that they belong into.
struct RunDate {
  int64_t seconds;
  const char* year;
  const char* day;
};
const std::vector<RunDate>& RunDates();

enum class RunPlace {
  kBeside,       // the destination lies beside the source
  kInside,       // in a plain folder of the source
  kOtherVolume,  // on another volume
};

struct RandomRun {
  int kind = 1;  // as the setting numbers them
  bool isCopy = false;
  bool replaces = false;
  bool recurses = false;
  bool keepsComments = false;
  bool isApplication = false;  // the source is one
  bool isWholeApplication = false;
  RunPlace place = RunPlace::kBeside;
  std::vector<RandomObject> objects;

  // The folder whose items are filed, and the folder they are filed into, below the ground.
  std::string SourceTop() const { return isApplication ? "source.app" : "source"; }
  std::string Walked() const;
  std::string Destination() const;

  // The lines of the preferences file.
  std::string Preferences() const;
};

RandomRun MakeRandomRun(SoakRandom& random, const VolumeTraits& traits);

// For a message.
std::string Describe(const RandomRun& run);

}  // namespace tessary::test
