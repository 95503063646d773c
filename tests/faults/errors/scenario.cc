#include "tests/faults/errors/scenario.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/linux/apple_events/comment_agent.h"
#include "programs/cli/command_line.h"

#ifdef TESSARY_SANITIZE
#include <sanitizer/lsan_interface.h>
#endif

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

constexpr int kRunSeconds = 20;

// The targets of the open descriptors, except those opened with O_PATH, which the catalog keeps.
std::vector<std::string> OpenFiles() {
  std::vector<std::string> open;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const int fd = std::stoi(entry.path().filename().string());
    const int flags = fcntl(fd, F_GETFL);
    std::error_code gone;
    const std::string target = fs::read_symlink(entry.path(), gone).string();
    if (flags < 0 || (flags & O_PATH) != 0) continue;
    // The others belong to the supervision.
    if (!target.starts_with('/') || target.starts_with("/memfd:") || target.starts_with("/proc/") ||
        target.starts_with("/dev/null")) {
      continue;
    }
    open.push_back(target);
  }
  std::sort(open.begin(), open.end());
  return open;
}

int RunProgram(const std::vector<std::string>& arguments) {
  RegisterCommentAgent();
  return static_cast<int>(RunCommandLine(arguments));
}

// Returns kLeakExitStatus if more files are open than before the run, or memory was leaked, and
// otherwise `status`.
int CheckForLeaks(const std::vector<std::string>& before, int status) {
  const std::vector<std::string> after = OpenFiles();
  if (after.size() > before.size()) {
    for (const std::string& each : after) std::fprintf(stderr, "STILL OPEN: %s\n", each.c_str());
    return kLeakExitStatus;
  }
#ifdef TESSARY_SANITIZE
  if (__lsan_do_recoverable_leak_check() != 0) return kLeakExitStatus;
#endif
  return status;
}

}  // namespace

const std::vector<Scenario>& Scenarios() {
  static const std::vector<Scenario> kScenarios = {
      {.name = "copy", .options = {"--kind", "extension", "--copy"}},
      {.name = "move", .options = {"--kind", "extension", "--move"}, .isMove = true},
      {.name = "move across filesystems",
       .options = {"--kind", "extension", "--move"},
       .isMove = true,
       .isAcross = true},
      {.name = "copy across filesystems",
       .options = {"--kind", "extension", "--copy"},
       .isAcross = true},
      {.name = "copy by type replacing with comments",
       .options = {"--kind", "mime-type", "--copy", "--replace", "--preserve-comments"},
       .replaced = "text:plain/existing.txt",
       .hasComments = true},
      {.name = "move by date",
       .options = {"--kind", "modification-date", "--move"},
       .isMove = true,
       .isByDate = true},
      {.name = "copy with sidecars",
       .options = {"--kind", "extension", "--copy"},
       .hasSidecars = true},
      {.name = "move with sidecars, replacing",
       .options = {"--kind", "extension", "--move", "--replace"},
       .isMove = true,
       .replaced = "txt/existing.txt",
       .hasSidecars = true},
      {.name = "move with sidecars across filesystems",
       .options = {"--kind", "extension", "--move"},
       .isMove = true,
       .isAcross = true,
       .hasSidecars = true},
  };
  return kScenarios;
}

SupervisedResult RunWithFaults(const std::vector<std::string>& arguments, const std::string& config,
                               const std::vector<int>& numbers, const CallDecision& decide,
                               const std::function<void()>& before,
                               const std::function<void()>& after) {
  // The child process inherits these.
  const std::vector<std::string> openBefore = OpenFiles();
  return RunSupervised(
      numbers, decide,
      [&] {
        setenv("XDG_CONFIG_HOME", config.c_str(), 1);
        setenv("XDG_DATA_HOME", config.c_str(), 1);
        setenv("XDG_DATA_DIRS", config.c_str(), 1);
        before();
        const int status = RunProgram(arguments);
        after();
        return status;
      },
      [&openBefore](int status) { return CheckForLeaks(openBefore, status); }, kRunSeconds);
}

SupervisedResult RunWithoutFaults(const std::vector<std::string>& arguments,
                                  const std::string& config) {
  return RunWithFaults(arguments, config, {}, nullptr);
}

}  // namespace tessary::test
