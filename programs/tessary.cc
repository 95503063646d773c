// The desktop program: the application layer over Qt.

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "app/opened_items.h"
#include "app/startup.h"
#include "platform/linux/apple_events/comment_agent.h"
#include "platform/managers/file_manager.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/log.h"
#include "platform/managers/standard_files.h"
#include "platform/managers/window_system.h"
#include "platform/qt/service_request.h"
#include "platform/qt/window_system.h"
#include "programs/cli/engine_setup.h"
#include "programs/cli/messages.h"
#include "programs/cli/options.h"
#include "programs/cli/settings_report.h"
#include "programs/run_monitor.h"

namespace tessary {
namespace {

constexpr char kProgram[] = "tessary";

void OpenDocuments(const std::vector<FSSpec>& documents) {
  // Documents that cannot be opened do not exist any more, and there is nothing to run.
  (void)SendOpenDocumentsToSelf(documents.size(), documents.data());
}

void LogProblems() {
  for (const std::string& problem : DescribeSettingProblems()) NSLog(problem);
  if (const std::optional<std::string> problem = DescribeInvalidKind()) NSLog(*problem);
  for (const std::string& problem : DescribeBadMappingLines()) NSLog(problem);
}

// Prints those of the folders that do not exist, and returns the others.
std::vector<std::string> KeepExisting(const std::vector<std::string>& folders) {
  std::vector<std::string> existing;
  for (const std::string& folder : folders) {
    std::string resolved;
    const Status status = ResolveNamedPath(folder, &resolved);
    if (status == noErr) existing.push_back(folder);
    if (status != noErr) PrintProblem(Shown(folder) + ": " + DescribeStatus(status), kProgram);
  }
  return existing;
}

int RunDesktopProgram(char* program, DesktopOptions options) {
  const std::vector<std::string> folders = KeepExisting(options.folders);
  const int status = folders.size() == options.folders.size() ? EXIT_SUCCESS : EXIT_FAILURE;
  // A window without any of the folders that were named is not what was asked for.
  if (folders.empty() && status != EXIT_SUCCESS) return status;
  std::vector<char*> arguments = {program};
  for (std::string& option : options.qtOptions) arguments.push_back(option.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  QtWindowSystem system(&count, arguments.data(), OpenDocuments);
  if (system.ForwardToRunningInstance(folders)) return status;
  gWindowSystem = &system;
  RegisterCommentAgent();
  RegisterBundleInfo();
  LogProblems();
  const RunMonitor monitor(&system);
  system.OpenPaths(folders);
  return RunApplication() == noErr ? status : EXIT_FAILURE;
}

int RunProgram(char* program, const std::vector<std::string>& arguments) {
  DesktopOptions options;
  std::string problem;
  if (!ParseDesktopOptions(arguments, &options, &problem)) {
    PrintProblem(problem, kProgram);
    return static_cast<int>(ExitStatus::kUsageError);
  }
  if (!options.text.empty()) return static_cast<int>(PrintOutput(options.text, kProgram));
  if (!options.isAggregate) return RunDesktopProgram(program, options);
  return RequestAggregation(options.folders) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace tessary

int main(int argc, char** argv) {
  tessary::PrepareStandardFiles();
  char name[] = "tessary";
  if (argc < 1) return tessary::RunProgram(name, {});
  return tessary::RunProgram(argv[0], {argv + 1, argv + argc});
}
