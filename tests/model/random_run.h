#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/soak.h"
#include "tests/support/volume_traits.h"

// A random run: the settings, and the objects in the source and in the destination. If a run shows
// a fault, objects can be left out to find a smaller run that shows it, too.
namespace tessary::test {

enum class ObjectKind { kFile, kFolder, kPackage, kLink, kFifo };

// An object that exists before the run.
struct RandomObject {
  ObjectKind kind = ObjectKind::kFile;
  std::string path;      // relative: "source/...", "destination/..."
  std::string content;   // different for each object; the target of a link
  std::string fileType;  // four bytes for the Finder information, or empty
  bool isInvisible = false;
  int date = 0;          // the index in RunDates of its modification and creation date
  std::string comment;   // or empty
  bool hasFifo = false;  // a package that cannot be copied
};

// A date, and the folders into which a run by date files its objects.
struct RunDate {
  int64_t seconds;  // since 1970
  const char* year;
  const char* day;
};
const std::vector<RunDate>& RunDates();

// Where the destination is.
enum class RunPlace {
  kBeside,  // beside the source
  kInside,  // in a folder of the source
  kOtherFilesystem,
};

struct RandomRun {
  int kind = 1;  // the value of TessaryType
  bool isCopy = false;
  bool replaces = false;
  bool recurses = false;
  bool keepsComments = false;
  bool isApplication = false;  // the source is one
  bool isWholeApplication = false;
  RunPlace place = RunPlace::kBeside;
  std::vector<RandomObject> objects;

  // The folder that the run is given, relative as the objects' paths.
  std::string GivenSource() const { return isApplication ? "source.app" : "source"; }

  // The folder whose items are filed: that one, or an application's resources.
  std::string Source() const;

  std::string Destination() const;

  // The text of the preferences file.
  std::string Preferences() const;
};

RandomRun MakeRandomRun(SoakRandom& random, const VolumeTraits& traits);

// Adds sidecars to some of the objects, and orphaned ones. The model does not know them.
void AddSidecars(SoakRandom& random, RandomRun* run);

// The run as text, for a failure message.
std::string Describe(const RandomRun& run);

}  // namespace tessary::test
