// Lists a folder of very many files and tells the memory that the listing took at its peak.

#include <sys/resource.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/measuring.h"
#include "bench/workload.h"
#include "platform/file_system.h"

namespace tessary::bench {
namespace {

long PeakKilobytes() {
  rusage usage = {};
  Require(getrusage(RUSAGE_SELF, &usage) == 0, "getrusage");
  return usage.ru_maxrss;
}

int Run(const Settings& settings) {
  const std::string folder = MakeFreshFolder(settings.folder, "tessary-bench-list");
  FillFolder(folder, settings.files, 0);
  PrintMachine(settings);
  FSRef ref;
  Require(FSPathMakeRef(folder.c_str(), &ref) == noErr, folder);
  const long before = PeakKilobytes();
  std::unique_ptr<FSRefBlock> items;
  uint32_t count = 0;
  uint8_t changed = 0;
  Require(ListFolderItems(ref, &items, &count, &changed) == noErr, "listing");
  const long taken = PeakKilobytes() - before;
  std::printf("%u items, %.1f MB for the listing at its peak, %.1f bytes an item\n", count,
              static_cast<double>(taken) / 1024, static_cast<double>(taken) * 1024 / count);
  std::filesystem::remove_all(folder);
  return 0;
}

}  // namespace
}  // namespace tessary::bench

int main(int count, char** arguments) {
  using namespace tessary::bench;
  return Run(ReadSettings(count, arguments, {.files = 1'000'000, .rounds = 1}));
}
