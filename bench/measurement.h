#pragma once

#include <functional>
#include <string>
#include <vector>

// Runs programs and measures their time and memory. All functions throw std::runtime_error with a
// message for the user if they fail.
namespace tessary::bench {

// The resources that a process used until its exit.
struct Usage {
  double seconds = 0;
  double processorSeconds = 0;  // in user and kernel mode
  double peakBytes = 0;
};

// Runs a program, found in PATH, with its standard output and error going to files in the folder
// `logs`, and waits for its exit. Throws if it exits with another status than 0.
Usage RunProgram(const std::vector<std::string>& command, const std::string& logs);

// Runs `work` in a child process. Throws if it returns false.
Usage RunInChild(const std::function<bool()>& work);

// Frees unused memory of this process and resets its peak, because the peak of a new program starts
// with that of its parent process.
void ResetPeakMemory();

// Returns true if a program with this name is in PATH.
bool IsInstalled(const std::string& program);

// Throws with the message of errno unless `worked`.
void Require(bool worked, const std::string& what);

// A program or loop that is compared with others.
struct Candidate {
  std::string name;
  std::function<double()> run;  // works in a fresh directory and returns the figure
  std::vector<double> figures = {};
};

// Runs each candidate once per round. Each round starts with the next candidate, so that none is
// always the first. Prints the number of the round of `what` to standard error.
void RunRounds(const std::string& what, int rounds, std::vector<Candidate>* candidates);

double Median(std::vector<double> values);

// The figures of one candidate divided by those of another, round by round.
struct Ratio {
  double median = 0;
  double minimum = 0;
  double maximum = 0;
};
Ratio RatioOf(const Candidate& first, const Candidate& second);

}  // namespace tessary::bench
