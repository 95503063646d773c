#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {

// The result of a tool.
struct ToolResult {
  int status = -1;     // the exit status; -1 if the tool could not be started or crashed
  std::string output;  // standard output and standard error
};

// Runs a tool with English messages and waits until it exits.
ToolResult RunTool(const std::string& tool, const std::vector<std::string>& arguments);

// Returns the first of the tools that is not installed, or an empty string.
std::string MissingTool(const std::vector<std::string>& tools);

// The path and the text of a file in the repository.
std::string SourcePath(const std::string& name);
std::string SourceText(const std::string& name);

// An installation of this build in a temporary folder.
class Installation {
 public:
  // Installs the build. Fails the test on an error.
  Installation();

  // The path of a name below the prefix, such as "bin/tessary".
  std::string operator/(const std::string& name) const { return prefix_ + "/" + name; }

  // The paths of all files, relative to the prefix, sorted.
  std::vector<std::string> Files() const { return FilesBelow(prefix_); }

 private:
  TemporaryFolder folder_;
  std::string prefix_;
};

// Reads the keys and values of a section of a key file, such as a desktop entry.
std::map<std::string, std::string> ReadKeyFile(const std::string& path, const std::string& section);

// Finds all matches of a regular expression. Returns their first groups, or the whole matches if
// there is no group, sorted and without duplicates.
std::vector<std::string> FindWords(std::string_view text, const std::string& expression);

}  // namespace tessary::test
