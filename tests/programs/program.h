#pragma once

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/programs/system_calls.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

// The outcome of a run of the program.
struct ProgramResult {
  int status = -1;     // the exit status, or 128 and the number of the signal that ended it
  std::string output;  // what it wrote to standard output
  std::string errors;  // what it wrote to standard error

  // The program's own lines on standard error, without "tessary-cli: ".
  std::vector<std::string> Problems() const;

  // The messages of the log, without time and program.
  std::vector<std::string> LogMessages() const;
};

// The message of a line of the log; none if it is not a complete one.
std::optional<std::string> LogMessageOf(std::string_view line);

// How the program is started.
struct ProgramSetup {
  std::string folder = "/";                             // working folder
  std::map<std::string, std::string> environment = {};  // added to that of the caller
  std::vector<int> closedFiles = {};                    // standard files that are closed
  std::string outputPath = {};                          // of standard output, if not captured
  int outputFile = -1;                                  // standard output as a descriptor
  int errorFile = -1;           // standard error as a descriptor, if not captured
  bool isOrdinaryUser = false;  // drop root privileges
  unsigned descriptors = 0;     // limit; 0 for none
  unsigned fileSize = 0;        // limit in bytes; 0 for none
  std::string bindSource = {};  // mounted on bindTarget, for the program only
  std::string bindTarget = {};
  CallCounts* calls = nullptr;  // counts its system calls, if CanCountCalls()
};

// The exit status if the setup failed; the program was not started then.
inline constexpr int kCannotStart = 125;

// Runs the real program and waits for its end.
ProgramResult RunProgram(const std::vector<std::string>& arguments, const ProgramSetup& setup);

// One line for each object below a folder, with type, mode, size, dates, identity and contents, so
// that equal results mean untouched files. Objects that this user cannot reach have a name only.
std::vector<std::string> DescribeTree(const std::string& folder);

// Runs the program in a scratch directory with its own preferences, and with an environment that
// does not depend on the machine.
class ProgramTest : public testing::Test {
 protected:
  ProgramTest();

  // The path of a name in the scratch directory.
  std::string At(const std::string& name) const { return folder_ / name; }

  std::string PreferencesPath() const { return At("config/tessary/preferences.toml"); }
  std::string MappingPath() const { return At("config/tessary/extensions.map"); }

  // Runs the program. The environment of `setup` overrides that of the test.
  ProgramResult Run(const std::vector<std::string>& arguments, ProgramSetup setup = {}) const;

  // Runs "aggregate" with the options from At("source") to At("destination").
  ProgramResult Aggregate(std::vector<std::string> options, ProgramSetup setup = {}) const;

  // Expects that the program prints one line that contains `reason` on standard error and nothing
  // else, and that the scratch directory stays untouched.
  void ExpectError(const std::vector<std::string>& arguments, const std::string& reason,
                   int status = 1, const ProgramSetup& setup = {}) const;

  // Allows ordinary users to access the scratch directory.
  void OpenToOrdinaryUser() const;

 private:
  TemporaryFolder folder_;
};

}  // namespace tessary::test
