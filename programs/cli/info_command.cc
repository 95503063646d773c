#include "programs/cli/info_command.h"

#include <string>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "programs/cli/engine_setup.h"
#include "programs/cli/item_report.h"
#include "programs/cli/json_text.h"
#include "programs/cli/messages.h"
#include "programs/cli/named_paths.h"

namespace tessary {
namespace {

Status ReadItemReport(const std::string& named, ItemReport* report) {
  std::string path;
  Status status = ResolveItemPath(named, &path);
  FSRef item;
  if (status == noErr) status = FSPathMakeRef(path.c_str(), &item);
  return status == noErr ? MakeItemReport(item, path, report) : status;
}

std::string JsonOfProblem(const std::string& named, Status status) {
  return R"({"path": )" + JsonString(named) + R"(, "error": )" +
         JsonString(DescribeStatus(status)) + "}";
}

}  // namespace

ExitStatus PrintInfo(const InfoOptions& options) {
  PrepareEngine();
  std::string text;
  size_t reported = 0;
  const NSAutoreleasePool pool;
  for (const std::string& named : options.files) {
    ItemReport report;
    const Status status = ReadItemReport(named, &report);
    if (status != noErr) {
      PrintProblem(Shown(named) + ": cannot read: " + DescribeStatus(status));
    } else {
      ++reported;
    }
    if (options.isJson) {
      text += text.empty() ? "[\n" : ",\n";
      text += status == noErr ? JsonOfReport(report) : JsonOfProblem(named, status);
    } else if (status == noErr) {
      text += TextOfReport(report);
    }
  }
  if (options.isJson) text += "\n]\n";
  const ExitStatus written = PrintOutput(text);
  if (written != ExitStatus::kSuccess || reported == options.files.size()) return written;
  return reported == 0 ? ExitStatus::kFailure : ExitStatus::kSomeFailed;
}

}  // namespace tessary
