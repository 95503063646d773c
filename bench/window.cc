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

// Starts a program with its standard output and standard error going to files.
pid_t Start(std::vector<std::string> command, const std::string& output = "/dev/null",
            const std::string& errors = "/dev/null") {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
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

// A virtual X server, on which all windows are. Never the display of the user, in whose windows the
// answers to the panel could end up.
class Screen {
 public:
  Screen() {
    const std::string path = "/tmp/tessary-bench-display-" + std::to_string(getpid());
    server_ = Start(
        {"Xvfb", "-displayfd", "1", "-screen", "0", "1280x900x24", "-noreset", "-nolisten", "tcp"},
        path);
    std::string number;
    while (number.empty()) {
      Require(waitpid(server_, nullptr, WNOHANG) == 0, "Xvfb has exited");
      std::this_thread::sleep_for(kPollInterval);
      std::ifstream(path) >> number;
    }
    unlink(path.c_str());
    setenv("DISPLAY", (":" + number).c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
  }
  ~Screen() { End(server_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

 private:
  pid_t server_ = 0;
};

// Returns the ID of the visible window whose title begins so, and a line break, or an empty text.
std::string FindWindow(const std::string& title) {
  return OutputOf("xdotool search --onlyvisible --name '^" + title + "' 2>/dev/null");
}

bool IsWindowVisible() { return !FindWindow("Tessary").empty(); }

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

void MeasureOpening(const Sizes& sizes, Row window, Row idle, Report* report) {
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

// The last line of a run in the window, because the program finds no file manager.
constexpr char kEndOfRun[] = "No application on this desktop opens the folder";

std::string ReadLog(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Returns the seconds since midnight at the start of a log line, which begins with date and time.
double TimeOfLine(const std::string& line) {
  int hours = 0;
  int minutes = 0;
  double seconds = 0;
  Require(std::sscanf(line.c_str(), "%*s %d:%d:%lf", &hours, &minutes, &seconds) == 3,
          "cannot read the time of a log line");
  return hours * 3600 + minutes * 60 + seconds;
}

// Returns the seconds from the first line of a run's log to the last line about an item. Compares
// the run itself: not the start of the programs, and not the time in the panel.
double SecondsOfRun(const std::string& log) {
  std::istringstream lines(ReadLog(log));
  std::string first;
  std::string last;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("Aggregating folder") != std::string::npos && first.empty()) first = line;
    if (line.find(kEndOfRun) == std::string::npos) last = line;
  }
  return TimeOfLine(last) - TimeOfLine(first);
}

bool HasRunEnded(const std::string& log) {
  constexpr std::streamoff kTail = 1000;
  std::ifstream file(log, std::ios::ate);
  const std::streamoff size = file.tellg();
  file.seekg(std::max(std::streamoff{0}, size - kTail));
  const std::string tail = {std::istreambuf_iterator<char>(file), {}};
  return tail.find(kEndOfRun) != std::string::npos;
}

// Chooses the folder in the panel. Without the "/." the panel would offer completions.
void AnswerPanel(const std::string& folder) {
  std::string panel;
  while (panel.empty()) panel = FindWindow("Choose Destination");
  panel.pop_back();
  OutputOf("xdotool windowfocus --sync " + panel + " type --delay 5 '" + folder + "/.'");
  OutputOf("xdotool key Return");
}

double TimeRunInWindow(const std::string& source, const std::string& destination,
                       const std::string& log) {
  // Without the file managers of this machine, in which the program would open the destination.
  const std::string nowhere = "/nowhere";
  const pid_t program = Start({"env", "PATH=" + nowhere, "XDG_DATA_DIRS=" + nowhere,
                               "XDG_DATA_HOME=" + nowhere, TESSARY, source},
                              "/dev/null", log);
  AnswerPanel(destination);
  while (!HasRunEnded(log)) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  End(program);
  return SecondsOfRun(log);
}

double TimeRunOnCommandLine(const std::string& source, const std::string& destination,
                            const std::string& log) {
  const pid_t program = Start(AggregateCommand({"--copy"}, source, destination), "/dev/null", log);
  waitpid(program, nullptr, 0);
  return SecondsOfRun(log);
}

// Compares runs in the window with runs on the command line.
void MeasureRuns(const Sizes& sizes, const ScratchDirectory& scratch, size_t files, Row row,
                 Report* report) {
  const std::string source = scratch.MakeFolder();
  FillFolder(source, 0, files, 16);
  const std::string log = scratch.path() + "/log";
  const auto timed = [&](const auto& run) {
    const std::string destination = scratch.MakeFolder();
    const double seconds = run(source, destination, log);
    Require(FilesBelow(destination).size() == files, "not all files were copied");
    return seconds;
  };
  std::vector<Candidate> both;
  both.push_back({"tessary", [&] { return timed(TimeRunInWindow); }});
  both.push_back({row.baseline, [&] { return timed(TimeRunOnCommandLine); }});
  RunRounds(row.work, sizes.rounds, &both);
  row.value = RatioOf(both[0], both[1]);
  SetMicroseconds(both[0], both[1], files, &row);
  report->Add(row);
}

}  // namespace

void MeasureWindow(const Sizes& sizes, const ScratchDirectories& directories, Report* report) {
  const Row window = {.question = Question::kCost,
                      .key = "window",
                      .work = "start the desktop program until its window is visible",
                      .limit = 0.3,
                      .unit = "s"};
  const Row idle = {
      .question = Question::kCost,
      .key = "window-idle",
      .work = "processor time of the idle window in " + std::to_string(kIdleTime.count()) + " s",
      .unit = "s"};
  std::vector<Row> runs;
  for (const size_t files : sizes.inWindow) {
    runs.push_back({.key = "window-run-" + std::to_string(files),
                    .work = "copy " + CountText(files) + " small files in the window, " +
                            directories.memory.type(),
                    .baseline = "`tessary-cli`",
                    .limit = 1.15});
  }
  std::string missing;
  if (std::string(TESSARY).empty()) missing = "built without the desktop program";
  if (!IsInstalled("xdotool") || !IsInstalled("Xvfb")) missing = "xdotool or Xvfb is not installed";
  if (!missing.empty()) {
    report->AddSkipped(window, missing);
    report->AddSkipped(idle, missing);
    for (const Row& run : runs) report->AddSkipped(run, missing);
    return;
  }
  // Without the session bus, on which the start would be forwarded to a running instance.
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
  const Screen screen;
  MeasureOpening(sizes, window, idle, report);
  for (size_t run = 0; run < runs.size(); ++run) {
    MeasureRuns(sizes, directories.memory, sizes.inWindow[run], runs[run], report);
  }
}

}  // namespace tessary::bench
