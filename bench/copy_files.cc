// Copies files of 4 KiB into a folder for each of their extensions, against cp -a of the folder.

#include <filesystem>
#include <string>
#include <vector>

#include "bench/measuring.h"
#include "bench/workload.h"

namespace tessary::bench {
namespace {

constexpr size_t kFileSize = 4096;

int Run(const Settings& settings) {
  const std::string folder = MakeFreshFolder(settings.folder, "tessary-bench-copy");
  UseNoSettings(folder);
  PrintMachine(settings);
  const std::string source = MakeFreshFolder(folder, "source");
  FillFolder(source, settings.files, kFileSize);
  std::vector<Contestant> contestants = {{"tessary-cli", {}}, {"cp -a", {}}};
  for (int round = 0; round < settings.rounds; ++round) {
    const std::string ours = MakeFreshFolder(folder, "destination");
    contestants[0].seconds.push_back(TimeProgram(
        {TESSARY_CLI, "aggregate", "--kind", settings.kind, "--copy", source, ours}, folder));
    Require(CountFiled(ours) == settings.files, "not every file was filed");
    const std::string theirs = MakeFreshFolder(folder, "destination");
    contestants[1].seconds.push_back(TimeProgram({"cp", "-a", source, theirs}, folder));
  }
  PrintRatios(contestants, settings.files);
  std::filesystem::remove_all(folder);
  return 0;
}

}  // namespace
}  // namespace tessary::bench

int main(int count, char** arguments) {
  using namespace tessary::bench;
  return Run(ReadSettings(count, arguments, {.files = 20'000, .rounds = 5}));
}
