#include "programs/cli/command_line.h"

#include <new>
#include <variant>

#include "programs/cli/aggregate_command.h"
#include "programs/cli/defaults_command.h"
#include "programs/cli/info_command.h"
#include "programs/cli/integrate_command.h"
#include "programs/cli/messages.h"
#include "programs/cli/options.h"
#include "programs/cli/undo_command.h"

namespace tessary {

ExitStatus RunCommandLine(const std::vector<std::string>& arguments) try {
  Options options;
  std::string problem;
  if (!ParseOptions(arguments, &options, &problem)) {
    PrintProblem(problem);
    return ExitStatus::kUsageError;
  }
  if (const auto* aggregate = std::get_if<AggregateOptions>(&options)) return Aggregate(*aggregate);
  if (const auto* read = std::get_if<ReadDefaultsOptions>(&options)) return ReadDefaults(*read);
  if (const auto* write = std::get_if<WriteDefaultOptions>(&options)) return WriteDefault(*write);
  if (const auto* remove = std::get_if<DeleteDefaultOptions>(&options)) {
    return DeleteDefault(*remove);
  }
  if (const auto* integrate = std::get_if<IntegrateOptions>(&options)) return Integrate(*integrate);
  if (const auto* info = std::get_if<InfoOptions>(&options)) return PrintInfo(*info);
  if (const auto* undo = std::get_if<UndoOptions>(&options)) return Undo(*undo);
  return PrintOutput(std::get<TextOptions>(options).text);
} catch (const std::bad_alloc&) {
  // A run that has begun reports this itself, so that none has taken place.
  PrintOutOfMemory();
  return ExitStatus::kFailure;
}

}  // namespace tessary
