#pragma once

#include <string>
#include <vector>

#include "platform/managers/file_manager.h"

namespace tessary::test {

// A fresh folder in the real file system, under $TESSARY_TEST_DIR or else the system's temporary
// folder; removed with everything in it, whatever its modes, when it goes.
class TemporaryFolder {
 public:
  TemporaryFolder();
  explicit TemporaryFolder(const std::string& parent);
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // The absolute path, without links in it.
  const std::string& path() const { return path_; }

  // The path of `name` inside.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Makes a file with the contents, and the folders above it; fails the test where that cannot be
// done.
void WriteFile(const std::string& path, const std::string& contents = "");

// The file's contents; fails the test where they cannot be read.
std::string ReadFile(const std::string& path);

// Makes a folder and the folders above it, or a symbolic link.
void MakeFolder(const std::string& path);
void MakeLink(const std::string& target, const std::string& path);

// True where a name is there, a dangling link included.
bool Exists(const std::string& path);

// The names in a folder, sorted.
std::vector<std::string> NamesIn(const std::string& folder);

// The relative paths of everything below a folder that is no folder itself, sorted.
std::vector<std::string> FilesBelow(const std::string& folder);

// Sets an extended attribute; false where the volume has none.
bool SetAttribute(const std::string& path, const std::string& name, const std::string& value);

// Sets the file's type and Finder flags through its Finder information attribute.
bool SetFinderInfo(const std::string& path, const std::string& type, uint16_t flags);

// Sets the modification date in seconds since 1970, of the link itself where it is one.
void SetModificationDate(const std::string& path, int64_t seconds);

// The reference of the object at the path; fails the test where there is none.
FSRef RefAt(const std::string& path);

}  // namespace tessary::test
