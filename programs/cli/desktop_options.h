#pragma once

#include <string>
#include <vector>

namespace tessary {

// What the command line of the desktop program asks for.
struct DesktopOptions {
  std::string text;                    // to be printed instead of everything else: help or version
  bool isAggregate = false;            // to pass the folders to the running instance and exit
  std::vector<std::string> folders;    // as typed
  std::vector<std::string> qtOptions;  // options that Qt interprets, with their values
};

// Parses the arguments, without the program's name and without Qt, which would need a display.
// Returns false on a usage error; `*problem` is then one line, and `*options` is as it was.
bool ParseDesktopOptions(const std::vector<std::string>& arguments, DesktopOptions* options,
                         std::string* problem);

}  // namespace tessary
