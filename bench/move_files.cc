// Moves small files into a folder for each of their extensions, against a bare loop of renameat and
// against mv called once for each folder.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "bench/measuring.h"
#include "bench/workload.h"

namespace tessary::bench {
namespace {

constexpr size_t kFileSize = 16;

struct Ground {
  std::string source;
  std::string destination;
};

Ground MakeGround(const std::string& folder, size_t files) {
  Ground ground = {MakeFreshFolder(folder, "source"), MakeFreshFolder(folder, "destination")};
  FillFolder(ground.source, files, kFileSize);
  return ground;
}

// The least that any program must do: read the names, make the folders, rename.
void RenameAll(const Ground& ground) {
  DIR* source = opendir(ground.source.c_str());
  if (source == nullptr) _exit(1);
  std::map<std::string, int> folders;
  while (const dirent* entry = readdir(source)) {
    const char* dot = std::strrchr(entry->d_name, '.');
    if (entry->d_name[0] == '.' || dot == nullptr) continue;
    int& folder = folders.try_emplace(dot + 1, -1).first->second;
    if (folder < 0) {
      const std::string path = ground.destination + "/" + (dot + 1);
      if (mkdir(path.c_str(), 0777) != 0) _exit(1);
      folder = open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    if (renameat(dirfd(source), entry->d_name, folder, entry->d_name) != 0) _exit(1);
  }
}

double TimeMv(const Ground& ground, const std::string& log) {
  std::map<std::string, std::vector<std::string>> commands;
  for (const auto& entry : std::filesystem::directory_iterator(ground.source)) {
    const std::string key = entry.path().extension().string().substr(1);
    std::vector<std::string>& command = commands[key];
    if (command.empty()) command = {"mv", "-n", "-t", ground.destination + "/" + key};
    command.push_back(entry.path().string());
  }
  double seconds = 0;
  for (const auto& [key, command] : commands) {
    std::filesystem::create_directory(ground.destination + "/" + key);
    seconds += TimeProgram(command, log);
  }
  return seconds;
}

int Run(const Settings& settings) {
  const std::string folder = MakeFreshFolder(settings.folder, "tessary-bench-move");
  UseNoSettings(folder);
  PrintMachine(settings);
  std::vector<Contestant> contestants = {
      {"tessary-cli", {}}, {"renameat loop", {}}, {"mv -n -t", {}}};
  for (int round = 0; round < settings.rounds; ++round) {
    const Ground ours = MakeGround(folder, settings.files);
    contestants[0].seconds.push_back(TimeProgram({TESSARY_CLI, "aggregate", "--kind", settings.kind,
                                                  "--move", ours.source, ours.destination},
                                                 folder));
    Require(CountFiled(ours.destination) == settings.files, "not every file was filed");
    const Ground bare = MakeGround(folder, settings.files);
    contestants[1].seconds.push_back(TimeWork([&bare] { RenameAll(bare); }));
    const Ground moved = MakeGround(folder, settings.files);
    contestants[2].seconds.push_back(TimeMv(moved, folder));
  }
  PrintRatios(contestants, settings.files);
  std::filesystem::remove_all(folder);
  return 0;
}

}  // namespace
}  // namespace tessary::bench

int main(int count, char** arguments) {
  using namespace tessary::bench;
  return Run(ReadSettings(count, arguments, {.files = 100'000, .rounds = 5}));
}
