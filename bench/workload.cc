#include "bench/workload.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "bench/measurement.h"

namespace tessary::bench {
namespace {

namespace fs = std::filesystem;

// Returns the filesystem type of the mount point with the longest matching path.
std::string TypeOf(const std::string& folder) {
  const std::string real = fs::canonical(folder).string() + "/";
  std::ifstream mounts("/proc/self/mounts");
  std::string best;
  std::string type = "unknown";
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string device, point, found;
    fields >> device >> point >> found;
    const std::string prefix = point == "/" ? "/" : point + "/";
    if (real.starts_with(prefix) && prefix.size() >= best.size()) {
      best = prefix;
      type = found;
    }
  }
  return type;
}

int OpenFolder(const std::string& path) {
  const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  Require(folder >= 0, path);
  return folder;
}

void SetDay(const std::string& path, size_t day) {
  constexpr time_t kFirstDay = 1'700'000'000;
  constexpr time_t kDaySeconds = 86'400;
  const timespec date = {kFirstDay + static_cast<time_t>(day) * kDaySeconds, 0};
  const std::array<timespec, 2> times = {date, date};
  Require(utimensat(AT_FDCWD, path.c_str(), times.data(), 0) == 0, path);
}

}  // namespace

ScratchDirectory::ScratchDirectory(const std::string& parent, bool keepsFiles)
    : path_(parent + "/tessary-bench-XXXXXX"), keepsFiles_(keepsFiles) {
  Require(mkdtemp(path_.data()) != nullptr, "cannot create a folder in " + parent);
  type_ = TypeOf(path_);
}

ScratchDirectory::ScratchDirectory(ScratchDirectory&& other) noexcept
    : path_(std::exchange(other.path_, {})),
      type_(std::move(other.type_)),
      keepsFiles_(other.keepsFiles_) {}

ScratchDirectory::~ScratchDirectory() {
  std::error_code error;
  if (!path_.empty() && !keepsFiles_) fs::remove_all(path_, error);
}

std::string ScratchDirectory::MakeFolder() const {
  std::string folder = path_ + "/XXXXXX";
  Require(mkdtemp(folder.data()) != nullptr, folder);
  return folder;
}

void ScratchDirectory::SyncFilesystem() const {
  const int folder = OpenFolder(path_);
  const int result = syncfs(folder);
  close(folder);
  Require(result == 0, path_);
}

const std::vector<std::string>& Extensions() {
  static const std::vector<std::string> kExtensions = {"txt", "pdf", "jpg",  "png", "mp3", "mov",
                                                       "zip", "doc", "html", "csv", "gif", "tiff"};
  return kExtensions;
}

std::string FileName(size_t number) {
  std::array<char, 64> name = {};
  (void)std::snprintf(name.data(), name.size(), "%07zu.%s", number,
                      Extensions()[number % Extensions().size()].c_str());
  return name.data();
}

void FillFolder(const std::string& folder, size_t first, size_t count, size_t size) {
  const int directory = OpenFolder(folder);
  const std::string contents(size, 'x');
  for (size_t i = first; i < first + count; ++i) {
    const std::string name = FileName(i);
    const int file = openat(directory, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    Require(file >= 0, name);
    Require(write(file, contents.data(), size) == static_cast<ssize_t>(size), name);
    close(file);
  }
  close(directory);
}

std::vector<std::string> FilesBelow(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_directory()) files.push_back(entry.path().string());
  }
  return files;
}

FileSet::FileSet(const ScratchDirectory& scratch, size_t count, size_t size)
    : scratch_(scratch),
      count_(count),
      source_(scratch.MakeFolder()),
      destination_(scratch.MakeFolder()) {
  FillFolder(source_, 0, count, size);
  for (size_t i = 0; i < count; ++i) {
    std::string path = source_;
    path.append("/").append(FileName(i));
    SetDay(path, i % Extensions().size());
  }
}

void FileSet::Reset() {
  std::vector<std::pair<std::string, std::string>> files;
  for (const std::string& folder : {source_, destination_}) {
    for (std::string& path : FilesBelow(folder)) {
      std::string name = fs::path(path).filename().string();
      files.emplace_back(std::move(name), std::move(path));
    }
  }
  if (files.size() != count_) throw std::runtime_error("files of the workload are missing");
  std::sort(files.begin(), files.end());
  const std::string source = scratch_.MakeFolder();
  for (const auto& [name, path] : files) {
    std::string place = source;
    place.append("/").append(name);
    Require(rename(path.c_str(), place.c_str()) == 0, path);
  }
  source_ = source;
  destination_ = scratch_.MakeFolder();
  scratch_.SyncFilesystem();
}

void FileSet::RequireMoved() const {
  if (FilesBelow(destination_).size() != count_)
    throw std::runtime_error("not all files were moved");
}

std::vector<std::string> AggregateCommand(const std::vector<std::string>& options,
                                          const std::string& source,
                                          const std::string& destination) {
  std::vector<std::string> command = {TESSARY_CLI, "aggregate"};
  command.insert(command.end(), options.begin(), options.end());
  command.push_back(source);
  command.push_back(destination);
  return command;
}

}  // namespace tessary::bench
