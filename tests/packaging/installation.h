#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {

// How a tool ended and what it wrote, standard error included.
struct ToolResult {
  int status = -1;  // -1 where it could not be started or crashed
  std::string output;
};

// Runs a tool in a locale whose messages are English, and waits for its end.
ToolResult RunTool(const std::string& tool, const std::vector<std::string>& arguments);

// The name of the first of the tools that is missing on this machine; empty where all are there.
std::string MissingTool(const std::vector<std::string>& tools);

// The path of a file of the repository, and its text.
std::string SourcePath(const std::string& name);
std::string SourceText(const std::string& name);

// The build of which the tests are part, installed into a folder of its own.
class Installation {
 public:
  // Installs; fails the test where that cannot be done.
  Installation();

  // The path of a name below the prefix, such as "bin/tessary".
  std::string operator/(const std::string& name) const { return prefix_ + "/" + name; }

  // The relative paths of all files, sorted.
  std::vector<std::string> Files() const { return FilesBelow(prefix_); }

 private:
  TemporaryFolder folder_;
  std::string prefix_;
};

// The keys of a section of a file like a desktop entry's.
std::map<std::string, std::string> ReadKeyFile(const std::string& path, const std::string& section);

// The words that `expression` finds in the text, each once: its first group, or all of it.
std::vector<std::string> FindWords(std::string_view text, const std::string& expression);

}  // namespace tessary::test
