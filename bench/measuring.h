#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tessary::bench {

// What a program of this folder is told on its command line.
struct Settings {
  size_t files = 0;
  int rounds = 0;
  std::string folder = {};  // where the work is done: its file system is what is measured
  std::string kind = "extension";
};

// Reads --files N, --rounds N, --folder DIR and --kind KIND over the defaults; on anything else
// says how the program is used and exits with 2.
Settings ReadSettings(int count, char** arguments, Settings defaults);

// Writes the machine, kernel and file system that the figures belong to.
void PrintMachine(const Settings& settings);

// Runs a program with its standard output and error going to files in `folder`, and answers the
// seconds until it ended. Exits with 1 and says so where it could not be run or failed.
double TimeProgram(const std::vector<std::string>& command, const std::string& folder);

// Runs `work` in a process of its own and answers the seconds until that ended.
double TimeWork(const std::function<void()>& work);

// One contestant's seconds, a figure a round.
struct Contestant {
  std::string name;
  std::vector<double> seconds;
};

// Writes each one's median time, and the median, least and greatest of the first one's time divided
// by each other one's of the same round.
void PrintRatios(const std::vector<Contestant>& contestants, size_t items);

// Ends the program with a message where a call failed.
void Require(bool worked, const std::string& what);

}  // namespace tessary::bench
