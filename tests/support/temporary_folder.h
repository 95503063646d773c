#pragma once

#include <string>
#include <vector>

#include "platform/managers/file_manager.h"

namespace tessary::test {

// A new folder in $TESSARY_TEST_DIR or else in the system's temporary folder. The destructor
// removes it with everything in it, whatever the modes.
class TemporaryFolder {
 public:
  TemporaryFolder();
  explicit TemporaryFolder(const std::string& parent);
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // The absolute path, which contains no symbolic links.
  const std::string& path() const { return path_; }

  // The path of `name` inside.
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// Creates a file with the contents, and the folders above it. Fails the test if it cannot.
void WriteFile(const std::string& path, const std::string& contents = "");

// The file's contents. Fails the test if they cannot be read.
std::string ReadFile(const std::string& path);

// Creates a folder or a symbolic link, and the folders above it.
void MakeFolder(const std::string& path);
void MakeLink(const std::string& target, const std::string& path);

// Returns true if the name exists, even as a dangling link.
bool Exists(const std::string& path);

// The names in a folder, sorted.
std::vector<std::string> NamesIn(const std::string& folder);

// The relative paths of everything below a folder except folders, sorted.
std::vector<std::string> FilesBelow(const std::string& folder);

// Sets an extended attribute. Returns false where the filesystem does not support it.
bool SetAttribute(const std::string& path, const std::string& name, const std::string& value);

// Sets the file type and the Finder flags in the attribute of the Finder information.
bool SetFinderInfo(const std::string& path, const std::string& type, uint16_t flags);

// Sets the modification date, in seconds since 1970. Does not follow links.
void SetModificationDate(const std::string& path, int64_t seconds);

// The reference to the object at the path. Fails the test if there is none.
FSRef RefAt(const std::string& path);

}  // namespace tessary::test
