#pragma once

#include <functional>
#include <string>
#include <vector>

// Running a candidate and telling what it took. What cannot be done ends the program: everything
// here throws std::runtime_error with a sentence for the user.
namespace tessary::bench {

// What a process took until it ended.
struct Usage {
  double seconds = 0;
  double processorSeconds = 0;  // its own and the kernel's for it
  double peakBytes = 0;
};

// Runs a program, found by PATH, with its standard output and error going to files in the folder
// `logs`, and waits for its end. One that fails has not been measured.
Usage RunProgram(const std::vector<std::string>& command, const std::string& logs);

// The same of work that is done in a process of its own. `work` answers whether it was done.
Usage RunInChild(const std::function<bool()>& work);

// Has this process be no larger than it has to. A program's peak begins with that of the process
// that started it.
void ResetPeakMemory();

// True when a program of that name is found by PATH.
bool IsInstalled(const std::string& program);

// Throws, with what errno says, where a call failed.
void Require(bool worked, const std::string& what);

// Somebody who does the same work as another, once a round.
struct Candidate {
  std::string name;
  std::function<double()> run;  // does the work on fresh ground and answers the figure
  std::vector<double> figures = {};
};

// Runs all of them in each round, one after the other, each round beginning with the next of them,
// so that nobody always comes first. Says on standard error which round of `what` it is.
void RunRounds(const std::string& what, int rounds, std::vector<Candidate>* candidates);

double Median(std::vector<double> values);

// The figures of the one divided by those of the other, round by round.
struct Ratio {
  double median = 0;
  double least = 0;
  double greatest = 0;
};
Ratio RatioOf(const Candidate& first, const Candidate& second);

}  // namespace tessary::bench
