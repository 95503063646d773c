#include "bench/workload.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "bench/measuring.h"

namespace tessary::bench {

namespace fs = std::filesystem;

const std::vector<std::string>& Extensions() {
  static const std::vector<std::string> kExtensions = {"txt", "pdf", "jpg",  "png", "mp3", "mov",
                                                       "zip", "doc", "html", "csv", "gif", "tiff"};
  return kExtensions;
}

std::string MakeFreshFolder(const std::string& parent, const std::string& name) {
  const fs::path folder = fs::path(parent) / name;
  fs::remove_all(folder);
  fs::create_directories(folder);
  return folder.string();
}

void FillFolder(const std::string& folder, size_t count, size_t size) {
  const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  Require(directory >= 0, folder);
  std::string contents(size, 'x');
  for (size_t i = 0; i < count; ++i) {
    char name[64];
    (void)std::snprintf(name, sizeof(name), "%07zu.%s", i,
                        Extensions()[i % Extensions().size()].c_str());
    const int file = openat(directory, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    Require(file >= 0, name);
    Require(write(file, contents.data(), size) == static_cast<ssize_t>(size), name);
    close(file);
  }
  Require(syncfs(directory) == 0, folder);
  close(directory);
}

size_t CountFiled(const std::string& folder) {
  size_t count = 0;
  for (const auto& key : fs::directory_iterator(folder)) {
    if (!key.is_directory()) continue;
    for (const auto& item : fs::directory_iterator(key)) {
      if (item.is_regular_file()) ++count;
    }
  }
  return count;
}

void UseNoSettings(const std::string& parent) {
  setenv("XDG_CONFIG_HOME", MakeFreshFolder(parent, "config").c_str(), 1);
}

}  // namespace tessary::bench
