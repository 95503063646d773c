#include "programs/cli/command_line.h"

#include <new>
#include <variant>

#include "programs/cli/aggregate_command.h"
#include "programs/cli/defaults_command.h"
#include "programs/cli/exit_status.h"
#include "programs/cli/help_text.h"
#include "programs/cli/info_command.h"
#include "programs/cli/integrate_command.h"
#include "programs/cli/messages.h"
#include "programs/cli/options.h"

namespace tessary {
namespace {

struct Dispatch {
  TerminalWindowSystem* terminal;

  ExitStatus operator()(const HelpOptions&) const { return PrintOutput(HelpText()); }
  ExitStatus operator()(const VersionOptions&) const { return PrintOutput(VersionText()); }
  ExitStatus operator()(const AggregateOptions& options) const {
    return Aggregate(options, terminal);
  }
  ExitStatus operator()(const ReadDefaultsOptions& options) const { return ReadDefaults(options); }
  ExitStatus operator()(const WriteDefaultOptions& options) const { return WriteDefault(options); }
  ExitStatus operator()(const DeleteDefaultOptions& options) const {
    return DeleteDefault(options);
  }
  ExitStatus operator()(const IntegrateOptions& options) const { return Integrate(options); }
  ExitStatus operator()(const InfoOptions& options) const { return PrintInfo(options); }
};

}  // namespace

int RunCommandLine(const std::vector<std::string>& arguments, TerminalWindowSystem* terminal) try {
  Options options;
  std::string problem;
  if (!ParseOptions(arguments, &options, &problem)) {
    PrintProblem(problem);
    return static_cast<int>(ExitStatus::kUsageError);
  }
  return static_cast<int>(std::visit(Dispatch{.terminal = terminal}, options));
} catch (const std::bad_alloc&) {
  // A run tells of it by itself, so that none has taken place.
  PrintOutOfMemory();
  return static_cast<int>(ExitStatus::kFailure);
}

}  // namespace tessary
