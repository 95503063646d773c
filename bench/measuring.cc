#include "bench/measuring.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

namespace tessary::bench {
namespace {

[[noreturn]] void Fail(const std::string& what) {
  std::cerr << "bench: " << what << '\n';
  std::exit(1);
}

[[noreturn]] void TellUsage(const char* program) {
  std::cerr << "usage: " << program << " [--files N] [--rounds N] [--folder DIR] [--kind KIND]\n";
  std::exit(2);
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double TimeChild(const std::function<void()>& run) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  Require(child >= 0, "cannot fork");
  if (child == 0) {
    run();
    _exit(0);
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child, "cannot wait");
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "a contestant failed");
  return elapsed.count();
}

void SendTo(const std::string& path, int descriptor) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
}

// The type of the longest mount point that leads to the folder.
std::string FileSystemOf(const std::string& folder) {
  const std::string real = std::filesystem::canonical(folder).string() + "/";
  std::ifstream mounts("/proc/self/mounts");
  std::string best;
  std::string type = "unknown";
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string device, point, found;
    fields >> device >> point >> found;
    const std::string prefix = point == "/" ? "/" : point + "/";
    if (real.starts_with(prefix) && prefix.size() >= best.size()) {
      best = prefix;
      type = found;
    }
  }
  return type;
}

}  // namespace

void Require(bool worked, const std::string& what) {
  if (!worked) Fail(what + ": " + std::strerror(errno));
}

Settings ReadSettings(int count, char** arguments, Settings defaults) {
  if (defaults.folder.empty()) defaults.folder = std::filesystem::temp_directory_path().string();
  for (int i = 1; i < count; i += 2) {
    if (i + 1 == count) TellUsage(arguments[0]);
    const std::string name = arguments[i];
    const std::string value = arguments[i + 1];
    if (name == "--files") {
      defaults.files = std::strtoul(value.c_str(), nullptr, 10);
    } else if (name == "--rounds") {
      defaults.rounds = std::atoi(value.c_str());
    } else if (name == "--folder") {
      defaults.folder = value;
    } else if (name == "--kind") {
      defaults.kind = value;
    } else {
      TellUsage(arguments[0]);
    }
  }
  if (defaults.files == 0 || defaults.rounds <= 0) TellUsage(arguments[0]);
  return defaults;
}

void PrintMachine(const Settings& settings) {
  utsname system = {};
  Require(uname(&system) == 0, "uname");
  std::cout << system.sysname << ' ' << system.release << ' ' << system.machine << ", "
            << std::thread::hardware_concurrency() << " processors, "
            << FileSystemOf(settings.folder) << " at " << settings.folder << "; " << settings.files
            << " files, " << settings.rounds << " rounds\n";
}

double TimeProgram(const std::vector<std::string>& command, const std::string& folder) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  return TimeChild([&] {
    SendTo(folder + "/stdout", STDOUT_FILENO);
    SendTo(folder + "/stderr", STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  });
}

double TimeWork(const std::function<void()>& work) { return TimeChild(work); }

void PrintRatios(const std::vector<Contestant>& contestants, size_t items) {
  for (const Contestant& contestant : contestants) {
    const double median = Median(contestant.seconds);
    std::printf("%-28s %8.3f s  %7.2f us an item\n", contestant.name.c_str(), median,
                median * 1e6 / static_cast<double>(items));
  }
  const Contestant& first = contestants.front();
  for (size_t i = 1; i < contestants.size(); ++i) {
    std::vector<double> ratios;
    for (size_t round = 0; round < first.seconds.size(); ++round) {
      ratios.push_back(first.seconds[round] / contestants[i].seconds[round]);
    }
    const auto [least, greatest] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%s / %s: %.2f (%.2f to %.2f)\n", first.name.c_str(), contestants[i].name.c_str(),
                Median(ratios), *least, *greatest);
  }
}

}  // namespace tessary::bench
