#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tessary::bench {

// A folder of this program's own on a file system, removed with everything in it when it goes.
class ScratchDirectory {
 public:
  // Throws where nothing can be made in the folder `parent`. What is made is left there at the end
  // if `leavesFiles`.
  explicit ScratchDirectory(const std::string& parent, bool leavesFiles = false);
  ScratchDirectory(ScratchDirectory&& other) noexcept;
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(ScratchDirectory&&) = delete;
  ~ScratchDirectory();

  const std::string& path() const { return path_; }

  // The type of the file system, as mounts name it: "ext4".
  const std::string& type() const { return type_; }

  // Makes an empty folder that has not been there before.
  std::string MakeFolder() const;

  // Has the file system write everything out, so that what is measured next does not pay for it.
  void SyncFilesystem() const;

 private:
  std::string path_;
  std::string type_;
  bool leavesFiles_;
};

// The extensions that a workload's files have in turn.
const std::vector<std::string>& Extensions();

// The name of the file of that number: "0000013.pdf".
std::string FileName(size_t number);

// Makes the files of the numbers from `first` on in a folder, `size` bytes each.
void FillFolder(const std::string& folder, size_t first, size_t count, size_t size);

// The files below a folder, at any depth.
std::vector<std::string> FilesBelow(const std::string& folder);

// Files that are moved away and put back for whoever moves them next. Their modification dates are
// of twelve days, in turn with the extensions.
class FileSet {
 public:
  FileSet(const ScratchDirectory& scratch, size_t count, size_t size);

  // Has the files put into a fresh source folder, and makes a fresh destination.
  void Reset();

  const std::string& source() const { return source_; }
  const std::string& destination() const { return destination_; }
  size_t count() const { return count_; }

  // Throws unless all files are below the destination.
  void RequireMoved() const;

 private:
  const ScratchDirectory& scratch_;
  size_t count_;
  std::string source_;
  std::string destination_;
};

// The command that files what is in `source` below `destination`, with more options between.
std::vector<std::string> AggregateCommand(const std::vector<std::string>& options,
                                          const std::string& source,
                                          const std::string& destination);

}  // namespace tessary::bench
