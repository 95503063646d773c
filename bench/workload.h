#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tessary::bench {

// A temporary folder on a filesystem, deleted with its contents by the destructor.
class ScratchDirectory {
 public:
  // Throws if the folder cannot be created in `parent`. With `keepsFiles`, the destructor deletes
  // nothing.
  explicit ScratchDirectory(const std::string& parent, bool keepsFiles = false);
  ScratchDirectory(ScratchDirectory&& other) noexcept;
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(ScratchDirectory&&) = delete;
  ~ScratchDirectory();

  const std::string& path() const { return path_; }

  // The type of the filesystem, for example "ext4".
  const std::string& type() const { return type_; }

  // Creates an empty folder with a new name.
  std::string MakeFolder() const;

  // Syncs the filesystem, so that the next measurement does not include earlier writes.
  void SyncFilesystem() const;

 private:
  std::string path_;
  std::string type_;
  bool keepsFiles_;
};

// Returns the extensions that the files of a workload have in turn.
const std::vector<std::string>& Extensions();

// Returns the name of the file with this number: "0000013.pdf".
std::string FileName(size_t number);

// Creates `count` files of `size` bytes in a folder, with the numbers from `first`.
void FillFolder(const std::string& folder, size_t first, size_t count, size_t size);

// Returns the paths of all files below a folder.
std::vector<std::string> FilesBelow(const std::string& folder);

// Files that are moved by one candidate and moved back for the next. Their modification dates are
// twelve days, in turn with the extensions.
class FileSet {
 public:
  FileSet(const ScratchDirectory& scratch, size_t count, size_t size);

  // Moves the files into a new source folder, and creates a new destination.
  void Reset();

  const std::string& source() const { return source_; }
  const std::string& destination() const { return destination_; }
  size_t count() const { return count_; }

  // Throws if not all files are below the destination.
  void RequireMoved() const;

 private:
  const ScratchDirectory& scratch_;
  size_t count_;
  std::string source_;
  std::string destination_;
};

// Returns the command that sorts the contents of `source` into `destination` with these options.
std::vector<std::string> AggregateCommand(const std::vector<std::string>& options,
                                          const std::string& source,
                                          const std::string& destination);

}  // namespace tessary::bench
