#include "bench/measurement.h"

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace tessary::bench {
namespace {

double SecondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Waits for a child that was started at `start`, and returns its usage.
Usage WaitFor(pid_t child, std::chrono::steady_clock::time_point start, const std::string& what) {
  int status = 0;
  rusage usage = {};
  Require(wait4(child, &status, 0, &usage) == child, "cannot wait");
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error(what + " failed");
  return {elapsed.count(), SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime),
          static_cast<double>(usage.ru_maxrss) * 1024};
}

}  // namespace

// Spawned, because the time of fork depends on the memory of this process.
Usage RunProgram(const std::vector<std::string>& command, const std::string& logs) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  const std::string output = logs + "/stdout";
  const std::string errors = logs + "/stderr";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), kFlags, 0600);
  pid_t child = 0;
  const auto start = std::chrono::steady_clock::now();
  errno = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  Require(errno == 0, "cannot start " + command[0]);
  return WaitFor(child, start, command[0]);
}

void ResetPeakMemory() {
  (void)malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << '5';
}

Usage RunInChild(const std::function<bool()>& work) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  Require(child >= 0, "cannot fork");
  if (child == 0) _exit(work() ? 0 : 1);
  return WaitFor(child, start, "the loop");
}

bool IsInstalled(const std::string& program) {
  const char* path = getenv("PATH");
  std::istringstream folders(path == nullptr ? "" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    folder.append("/").append(program);
    if (access(folder.c_str(), X_OK) == 0) return true;
  }
  return false;
}

void Require(bool worked, const std::string& what) {
  if (!worked) throw std::runtime_error(what + ": " + std::strerror(errno));
}

void RunRounds(const std::string& what, int rounds, std::vector<Candidate>* candidates) {
  for (int round = 0; round < rounds; ++round) {
    std::cerr << what << ": round " << round + 1 << " of " << rounds << std::endl;
    for (size_t i = 0; i < candidates->size(); ++i) {
      const size_t turn = (i + static_cast<size_t>(round)) % candidates->size();
      Candidate& candidate = (*candidates)[turn];
      candidate.figures.push_back(candidate.run());
    }
  }
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Ratio RatioOf(const Candidate& first, const Candidate& second) {
  std::vector<double> ratios;
  for (size_t round = 0; round < first.figures.size(); ++round) {
    ratios.push_back(first.figures[round] / second.figures[round]);
  }
  const auto [minimum, maximum] = std::minmax_element(ratios.begin(), ratios.end());
  return {Median(ratios), *minimum, *maximum};
}

}  // namespace tessary::bench
