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

// What a run of the program left behind.
struct ProgramResult {
  int status = -1;     // the exit status, or 128 and the number of the signal that ended it
  std::string output;  // what it wrote to standard output
  std::string errors;  // what it wrote to standard error

  // The program's own lines on standard error, without "tessary-cli: ", and the messages of its
  // log.
  std::vector<std::string> Problems() const;
  std::vector<std::string> LogMessages() const;
};

// The message of a line of the log, or none where the line is not a whole one.
std::optional<std::string> LogMessageOf(std::string_view line);

// How the program is started.
struct ProgramSetup {
  std::string folder = "/";                             // its working folder
  std::map<std::string, std::string> environment = {};  // on top of the caller's
  std::vector<int> closedFiles = {};                    // standard files that it has to do without
  std::string outputPath = {};                          // standard output, when not captured
  int outputFile = -1;                                  // the same, as a descriptor
  int errorFile = -1;                                   // standard error, when not captured
  bool isOrdinaryUser = false;                          // give up root's rights, where we have them
  unsigned descriptors = 0;                             // the most it may have, unless 0
  std::string bindSource = {};                          // mounted on bindTarget, for it alone
  std::string bindTarget = {};
  CallCounts* calls = nullptr;  // counts what it asks of the kernel, where CanCountCalls()
};

// The exit status of a start that the setup made impossible; nothing was run then.
inline constexpr int kCannotStart = 125;

// Runs the real program and waits for its end.
ProgramResult RunProgram(const std::vector<std::string>& arguments, const ProgramSetup& setup);

// Everything below a folder as one line each, with kind, mode, size, dates, identity and contents:
// two equal trees are the same files, untouched. Of what this user cannot reach only the name.
std::vector<std::string> DescribeTree(const std::string& folder);

// A folder of its own for each test, with a preferences folder, and an environment in which the
// answers do not depend on the machine.
class ProgramTest : public testing::Test {
 protected:
  ProgramTest();

  // The path of a name in the test's folder.
  std::string At(const std::string& name) const { return folder_ / name; }

  std::string PreferencesPath() const { return At("config/tessary/preferences.toml"); }
  std::string MappingPath() const { return At("config/tessary/extensions.map"); }

  // Runs the program with `setup`, with the test's environment below that of `setup`.
  ProgramResult Run(const std::vector<std::string>& arguments, ProgramSetup setup = {}) const;

  // The same with "aggregate" in front and At("source") and At("destination") behind.
  ProgramResult Aggregate(std::vector<std::string> options, ProgramSetup setup = {}) const;

  // The program fails with one line that contains `reason`, prints nothing and leaves everything in
  // the test's folder as it was.
  void ExpectError(const std::vector<std::string>& arguments, const std::string& reason,
                   int status = 1, const ProgramSetup& setup = {}) const;

  // Makes the whole folder reachable for a program that runs as an ordinary user.
  void OpenToOrdinaryUser() const;

 private:
  TemporaryFolder folder_;
};

}  // namespace tessary::test
