#include "tests/support/temporary_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tessary::test {
namespace {

namespace fs = std::filesystem;

std::string DefaultParent() {
  const char* named = std::getenv("TESSARY_TEST_DIR");
  return named != nullptr ? named : fs::temp_directory_path().string();
}

// Makes the folder and all folders below it accessible to their owner. A test may leave some that
// are not.
void MakeAccessible(const fs::path& folder) {
  std::error_code error;
  fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, error);
  for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
    std::error_code unknown;
    if (it->symlink_status(unknown).type() == fs::file_type::directory) MakeAccessible(it->path());
  }
}

}  // namespace

TemporaryFolder::TemporaryFolder() : TemporaryFolder(DefaultParent()) {}

TemporaryFolder::TemporaryFolder(const std::string& parent) {
  std::string pattern = fs::canonical(parent).string() + "/tessary-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    ADD_FAILURE() << "cannot create a temporary folder in " << parent;
    std::abort();
  }
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  MakeAccessible(path_);
  std::error_code error;
  fs::remove_all(path_, error);
  EXPECT_FALSE(error) << path_ << " cannot be removed: " << error.message();
}

void WriteFile(const std::string& path, const std::string& contents) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file << contents;
  file.close();
  ASSERT_TRUE(file) << "cannot write " << path;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << "cannot read " << path;
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

void MakeFolder(const std::string& path) { fs::create_directories(path); }

void MakeLink(const std::string& target, const std::string& path) {
  fs::create_directories(fs::path(path).parent_path());
  fs::create_symlink(target, path);
}

bool Exists(const std::string& path) {
  struct stat info = {};
  return lstat(path.c_str(), &info) == 0;
}

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> FilesBelow(const std::string& folder) {
  std::vector<std::string> paths;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.symlink_status().type() == fs::file_type::directory) continue;
    paths.push_back(entry.path().string().substr(folder.size() + 1));
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

bool SetAttribute(const std::string& path, const std::string& name, const std::string& value) {
  return lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0) == 0;
}

bool SetFinderInfo(const std::string& path, const std::string& type, uint16_t flags) {
  std::string info(32, '\0');
  info.replace(0, std::min<size_t>(type.size(), 4), type, 0, 4);
  info[8] = static_cast<char>(flags >> 8);
  info[9] = static_cast<char>(flags & 0xff);
  return SetAttribute(path, "user.com.apple.FinderInfo", info);
}

void SetModificationDate(const std::string& path, int64_t seconds) {
  const std::array<timespec, 2> times = {timespec{seconds, 0}, timespec{seconds, 0}};
  EXPECT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW)) << path;
}

FSRef RefAt(const std::string& path) {
  FSRef ref;
  EXPECT_EQ(noErr, FSPathMakeRef(path.c_str(), &ref)) << path;
  return ref;
}

}  // namespace tessary::test
