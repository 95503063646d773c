// The desktop program: Linux below, Qt in front. Its arguments are what it is to aggregate; behind
// "--aggregate", what it only hands to the program on the session bus, as file managers' menus do.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "app/opened_items.h"
#include "app/startup.h"
#include "platform/linux/apple_events/comment_agent.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/log.h"
#include "platform/managers/standard_files.h"
#include "platform/managers/window_system.h"
#include "platform/qt/service_request.h"
#include "platform/qt/window_system.h"
#include "programs/cli/engine_setup.h"
#include "programs/cli/settings_report.h"

namespace tessary {
namespace {

constexpr std::string_view kAggregateOption = "--aggregate";

void OpenDocuments(const std::vector<FSSpec>& documents) {
  // What cannot be opened is not there any more, and there is nothing to run.
  (void)SendOpenDocumentsToSelf(documents.size(), documents.data());
}

void LogProblems() {
  for (const std::string& problem : DescribeSettingProblems()) NSLog(problem);
  for (const std::string& problem : DescribeBadMappingLines()) NSLog(problem);
}

// `named` begins behind the option. No folder that a file manager names is called "--".
int HandToService(std::vector<std::string> named) {
  if (!named.empty() && named.front() == "--") named.erase(named.begin());
  return RequestAggregation(named) ? EXIT_SUCCESS : EXIT_FAILURE;
}

int RunDesktopProgram(int count, char** arguments) {
  QtWindowSystem system(&count, arguments, OpenDocuments);
  const std::vector<std::string> paths(arguments + std::min(count, 1), arguments + count);
  if (system.ForwardToRunningInstance(paths)) return EXIT_SUCCESS;
  gWindowSystem = &system;
  RegisterCommentAgent();
  RegisterBundleInfo();
  LogProblems();
  system.OpenPaths(paths);
  return RunApplication() == noErr ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace tessary

int main(int argc, char** argv) {
  tessary::PrepareStandardFiles();
  if (argc > 1 && argv[1] == tessary::kAggregateOption) {
    return tessary::HandToService({argv + 2, argv + argc});
  }
  return tessary::RunDesktopProgram(argc, argv);
}
