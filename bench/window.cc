#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include "bench/groups.h"

namespace tessary::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPollInterval = std::chrono::milliseconds(2);
constexpr auto kIdleTime = std::chrono::seconds(5);
// The numbers of the first field after the name in /proc/PID/stat, and of utime, as in proc(5).
constexpr int kFieldAfterName = 3;
constexpr int kUserTimeField = 14;

// Starts a program without standard error, and with its standard output going to a file.
pid_t Start(std::vector<std::string> command, const std::string& output = "/dev/null") {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  Require(error == 0, "cannot start " + command[0]);
  return child;
}

void End(pid_t child) {
  kill(child, SIGTERM);
  waitpid(child, nullptr, 0);
}

std::string OutputOf(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  Require(pipe != nullptr, "cannot run " + command);
  std::string text;
  std::array<char, 256> part;
  while (fgets(part.data(), part.size(), pipe) != nullptr) text += part.data();
  pclose(pipe);
  return text;
}

// Starts a virtual X server if DISPLAY is not set.
class Screen {
 public:
  Screen() {
    if (getenv("DISPLAY") != nullptr) return;
    const std::string path = "/tmp/tessary-bench-display-" + std::to_string(getpid());
    server_ = Start(
        {"Xvfb", "-displayfd", "1", "-screen", "0", "1280x900x24", "-noreset", "-nolisten", "tcp"},
        path);
    std::string number;
    while (number.empty()) {
      std::this_thread::sleep_for(kPollInterval);
      std::ifstream(path) >> number;
    }
    unlink(path.c_str());
    setenv("DISPLAY", (":" + number).c_str(), 1);
  }
  ~Screen() {
    if (server_ != 0) End(server_);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

 private:
  pid_t server_ = 0;
};

bool IsWindowVisible() {
  return !OutputOf("xdotool search --onlyvisible --name '^Tessary$' 2>/dev/null").empty();
}

// Starts the program and returns the seconds until its window is visible. Includes the time of the
// last poll, so the true figure is a little smaller.
double TimeUntilVisible(pid_t* program) {
  // Waits for the window of the previous round to disappear.
  while (IsWindowVisible()) std::this_thread::sleep_for(kPollInterval);
  const auto start = Clock::now();
  *program = Start({TESSARY});
  while (!IsWindowVisible()) {
    Require(waitpid(*program, nullptr, WNOHANG) == 0, "the program has exited");
    std::this_thread::sleep_for(kPollInterval);
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Returns the processor time of a process in user and kernel mode, in clock ticks.
long TicksOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string line;
  std::getline(file, line);
  std::istringstream fields(line.substr(line.rfind(')') + 1));
  std::string skipped;
  for (int field = kFieldAfterName; field < kUserTimeField; ++field) fields >> skipped;
  long user = 0;
  long kernel = 0;
  Require(static_cast<bool>(fields >> user >> kernel), "cannot read the processor time");
  return user + kernel;
}

// Measures both rows, on DISPLAY if it is set, otherwise on a virtual X server.
void MeasureOpening(const Sizes& sizes, Row window, Row idle, Report* report) {
  // Without the session bus, on which the start would be forwarded to a running instance.
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
  const Screen screen;
  pid_t program = 0;
  std::vector<Candidate> alone;
  alone.push_back({"tessary", [&program] {
                     if (program != 0) End(program);
                     return TimeUntilVisible(&program);
                   }});
  RunRounds(window.work, sizes.rounds, &alone);
  const auto [minimum, maximum] =
      std::minmax_element(alone[0].figures.begin(), alone[0].figures.end());
  window.value = {Median(alone[0].figures), *minimum, *maximum};
  report->Add(window);

  std::this_thread::sleep_for(std::chrono::seconds(1));
  const long before = TicksOf(program);
  std::this_thread::sleep_for(kIdleTime);
  const double ticks = static_cast<double>(TicksOf(program) - before);
  End(program);
  const double seconds = ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
  idle.value = {seconds, seconds, seconds};
  report->Add(idle);
}

}  // namespace

void MeasureWindow(const Sizes& sizes, const ScratchDirectories& /*directories*/, Report* report) {
  const Row window = {.key = "window",
                      .work = "start the desktop program until its window is visible",
                      .limit = 0.3,
                      .unit = "s"};
  const Row idle = {
      .key = "window-idle",
      .work = "processor time of the idle window in " + std::to_string(kIdleTime.count()) + " s",
      .unit = "s"};
  std::string missing;
  if (std::string(TESSARY).empty()) missing = "built without the desktop program";
  if (!IsInstalled("xdotool") || !IsInstalled("Xvfb")) missing = "xdotool or Xvfb is not installed";
  if (missing.empty()) return MeasureOpening(sizes, window, idle, report);
  report->AddSkipped(window, missing);
  report->AddSkipped(idle, missing);
}

}  // namespace tessary::bench
