#include "bench/options.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

[[noreturn]] void PrintUsageAndExit() {
  std::cerr << "usage: bench [--full | --smoke] [--rounds N] [--folder DIR] [--memory DIR]\n"
               "             [--clones DIR]... [--other DIR]... [--report FILE]\n"
               "             [--plots DIR] [--reasons FILE] [--commit TEXT] [--leave]\n"
               "             [GROUP]...\n"
               "groups:";
  for (const Group& group : Groups()) std::cerr << ' ' << group.name;
  std::cerr << '\n';
  std::exit(2);
}

// A few files for each measurement, to check that it works.
Sizes SmokeSizes() {
  Sizes sizes;
  sizes.rounds = 1;
  sizes.moved = sizes.copied = sizes.movedAcross = sizes.inPlace = sizes.commented = 24;
  sizes.bigCopied = 2;
  sizes.bigBytes = 300'000;
  sizes.growth = {10, 20};
  sizes.inWindow = {24};
  sizes.depth = 5;
  sizes.filesPerLevel = 2;
  sizes.wide = 3;
  sizes.starts = 2;
  return sizes;
}

bool ParseTextOption(const std::string& name, const std::string& value, Options* options) {
  if (name == "--folder") {
    options->folder = value;
  } else if (name == "--memory") {
    options->memory = value;
  } else if (name == "--clones") {
    options->clones.push_back(value);
  } else if (name == "--other") {
    options->others.push_back(value);
  } else if (name == "--report") {
    options->report = value;
  } else if (name == "--plots") {
    options->plots = value;
  } else if (name == "--reasons") {
    options->reasons = value;
  } else if (name == "--commit") {
    options->commit = value;
  } else if (name == "--rounds") {
    options->sizes.rounds = std::atoi(value.c_str());
  } else {
    return false;
  }
  return true;
}

bool ParseGroup(const std::string& name, Options* options) {
  const std::vector<Group>& groups = Groups();
  const bool isKnown = std::any_of(groups.begin(), groups.end(),
                                   [&name](const Group& group) { return group.name == name; });
  if (isKnown) options->groups.push_back(name);
  return isKnown;
}

}  // namespace

bool Options::Wants(const std::string& group) const {
  return groups.empty() || std::find(groups.begin(), groups.end(), group) != groups.end();
}

Options ReadOptions(int count, char** arguments) {
  Options options;
  options.folder = std::filesystem::temp_directory_path().string();
  if (access(options.memory.c_str(), W_OK) != 0) options.memory = options.folder;
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    if (name == "--smoke") {
      options.sizes = SmokeSizes();
    } else if (name == "--full") {
      options.sizes.rounds = 7;
      options.sizes.movedAcross = options.sizes.copied;
    } else if (name == "--leave") {
      options.keepsFiles = true;
    } else if (!ParseGroup(name, &options)) {
      if (i + 1 == count || !ParseTextOption(name, arguments[i + 1], &options)) PrintUsageAndExit();
      ++i;
    }
  }
  if (options.sizes.rounds <= 0) PrintUsageAndExit();
  return options;
}

}  // namespace tessary::bench
