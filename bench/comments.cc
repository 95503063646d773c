// Copies files that have a comment each, carrying the comments over, against the same run without.

#include <sys/xattr.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/measuring.h"
#include "bench/workload.h"

namespace tessary::bench {
namespace {

namespace fs = std::filesystem;

constexpr size_t kFileSize = 4096;
constexpr char kAttribute[] = "user.xdg.comment";
constexpr char kComment[] = "Photographed from the pier, not yet sorted; ask Käthe for the rest.";

void CommentFiles(const std::string& folder) {
  for (const auto& file : fs::directory_iterator(folder)) {
    Require(setxattr(file.path().c_str(), kAttribute, kComment, std::strlen(kComment), 0) == 0,
            file.path().string());
  }
}

// The number of files in the folders directly inside a folder that have the comment.
size_t CountCommented(const std::string& folder) {
  size_t count = 0;
  std::array<char, sizeof(kComment)> text = {};
  for (const auto& key : fs::directory_iterator(folder)) {
    for (const auto& file : fs::directory_iterator(key)) {
      const ssize_t size =
          getxattr(file.path().c_str(), kAttribute, text.data(), std::strlen(kComment));
      if (size == static_cast<ssize_t>(std::strlen(kComment))) ++count;
    }
  }
  return count;
}

double TimeRun(const Settings& settings, const std::string& folder, bool carries) {
  const std::string destination = MakeFreshFolder(folder, "destination");
  std::vector<std::string> command = {TESSARY_CLI, "aggregate", "--kind", settings.kind, "--copy"};
  if (carries) command.emplace_back("--preserve-comments");
  command.push_back(folder + "/source");
  command.push_back(destination);
  const double seconds = TimeProgram(command, folder);
  Require(CountFiled(destination) == settings.files, "not every file was filed");
  Require(CountCommented(destination) == (carries ? settings.files : 0),
          "not the comments that were asked for");
  return seconds;
}

int Run(const Settings& settings) {
  const std::string folder = MakeFreshFolder(settings.folder, "tessary-bench-comments");
  UseNoSettings(folder);
  PrintMachine(settings);
  const std::string source = MakeFreshFolder(folder, "source");
  FillFolder(source, settings.files, kFileSize);
  CommentFiles(source);
  std::vector<Contestant> contestants = {{"carrying comments", {}}, {"leaving them", {}}};
  for (int round = 0; round < settings.rounds; ++round) {
    contestants[0].seconds.push_back(TimeRun(settings, folder, true));
    contestants[1].seconds.push_back(TimeRun(settings, folder, false));
  }
  PrintRatios(contestants, settings.files);
  fs::remove_all(folder);
  return 0;
}

}  // namespace
}  // namespace tessary::bench

int main(int count, char** arguments) {
  using namespace tessary::bench;
  return Run(ReadSettings(count, arguments, {.files = 10'000, .rounds = 7}));
}
