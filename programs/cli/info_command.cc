#include "programs/cli/info_command.h"

#include <string>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "programs/cli/engine_setup.h"
#include "programs/cli/item_report.h"
#include "programs/cli/json_text.h"
#include "programs/cli/messages.h"

namespace tessary {
namespace {

// The absolute path of what a person named. Links on the way are followed; a link at its end is an
// item like any other, unless it is named as a folder.
Status ResolveItemPath(const std::string& named, std::string* path) {
  const size_t slash = named.rfind('/');
  const std::string name = slash == std::string::npos ? named : named.substr(slash + 1);
  if (name.empty() || name == "." || name == "..") return ResolveNamedPath(named, path);
  std::string folder = ".";
  if (slash != std::string::npos) folder = slash == 0 ? "/" : named.substr(0, slash);
  std::string resolved;
  const Status status = ResolveNamedPath(folder, &resolved);
  if (status != noErr) return status;
  *path = resolved == "/" ? "/" + name : resolved + "/" + name;
  return noErr;
}

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
  size_t told = 0;
  const NSAutoreleasePool pool;
  for (const std::string& named : options.files) {
    ItemReport report;
    const Status status = ReadItemReport(named, &report);
    if (status != noErr) {
      PrintProblem("the file " + Quoted(named) + " cannot be told of: " + DescribeStatus(status));
    } else {
      ++told;
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
  if (written != ExitStatus::kSuccess || told == options.files.size()) return written;
  return told == 0 ? ExitStatus::kFailure : ExitStatus::kSomeFailed;
}

}  // namespace tessary
