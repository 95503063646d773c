#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/linux/descriptors/unique_fd.h"
#include "tests/faults/errors/real_limits.h"
#include "tests/support/file_operations.h"
#include "tests/support/memory_volume.h"
#include "tests/support/soak.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/volumes.h"

// Runs with long paths and names, large files and many hard links.
namespace tessary::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

class SizeLimits : public RealLimits {};

// Together, the names in a deep tree are longer than any path may be.
constexpr int kLevels = 40;
const std::string kDeepName(200, 'd');

UniqueFd OpenFolderAt(int folder, const std::string& name) {
  return UniqueFd(openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// Creates nested folders with a file in each.
void MakeDeepTree(const std::string& top) {
  UniqueFd folder = OpenFolderAt(AT_FDCWD, top);
  for (int i = 0; i < kLevels; ++i) {
    const std::string text = "level " + std::to_string(i);
    const UniqueFd file(openat(folder.get(), "file.txt", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    EXPECT_EQ(static_cast<ssize_t>(text.size()), write(file.get(), text.data(), text.size()));
    EXPECT_EQ(0, mkdirat(folder.get(), kDeepName.c_str(), 0755));
    folder = OpenFolderAt(folder.get(), kDeepName);
    ASSERT_TRUE(folder);
  }
}

// Removes the files and folders of such a tree and returns the number of files.
int RemoveDeepTree(const std::string& top) {
  std::vector<UniqueFd> folders;
  for (UniqueFd next = OpenFolderAt(AT_FDCWD, top); next;
       next = OpenFolderAt(folders.back().get(), kDeepName)) {
    folders.push_back(std::move(next));
  }
  int files = 0;
  for (; !folders.empty(); folders.pop_back()) {
    if (unlinkat(folders.back().get(), "file.txt", 0) == 0) ++files;
    // Fails for the innermost folder, which contains none.
    (void)unlinkat(folders.back().get(), kDeepName.c_str(), AT_REMOVEDIR);
  }
  return files;
}

TEST_F(SizeLimits, TooLongPath) {
  const std::string source = scratch_ / "source";
  const std::string destination = scratch_ / "destination";
  MakeFolder(source);
  MakeFolder(destination);
  MakeDeepTree(source);
  for (const std::string kind : {"extension", "modification-date"}) {
    const SupervisedResult result =
        Run({"--recurse", "--kind", kind, "--move"}, source, destination);
    EXPECT_EQ(3, result.exitStatus) << kind;
    EXPECT_THAT(result.output, HasSubstr(": cannot read: File name too long")) << kind;
  }
  const auto filed = static_cast<int>(FilesBelow(destination).size());
  EXPECT_GT(filed, 5);
  EXPECT_EQ(kLevels - filed, RemoveDeepTree(source));
}

TEST_F(SizeLimits, TooLongPathInPackage) {
  const TemporaryFolder destination(MemoryFolder());
  MakeFolder(scratch_ / "source/Deep.app");
  MakeDeepTree(scratch_ / "source/Deep.app");
  const SupervisedResult result =
      Run({"--kind", "extension", "--move"}, scratch_ / "source", destination.path());
  EXPECT_EQ(0, result.exitStatus) << result.output;
  EXPECT_FALSE(Exists(scratch_ / "source/Deep.app"));
  EXPECT_EQ(kLevels, RemoveDeepTree(destination / "app/Deep.app"));
}

// With a name of 255 bytes, no distinct name is possible.
TEST_F(SizeLimits, LongName) {
  const std::string name = std::string(251, 'n') + ".txt";
  for (const std::string operation : {"--copy", "--move"}) {
    const std::string top = scratch_ / operation;
    const std::string source = top + "/source";
    const std::string incoming = fs::path(source) / name;
    const std::string existing = fs::path(top) / "destination/txt" / name;
    WriteFile(incoming, "incoming");
    WriteFile(top + "/source/other.txt", "other");
    WriteFile(existing, "existing");
    const SupervisedResult result = Aggregate(operation, source, top + "/destination");
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.output, HasSubstr("An error occurred: -37"));
    EXPECT_EQ("incoming", ReadFile(incoming));
    EXPECT_EQ("existing", ReadFile(existing));
    EXPECT_EQ("other", ReadFile(top + "/destination/txt/other.txt"));
  }
}

// The start of the data at the end of a huge file, which is beyond 32 bits.
constexpr std::streamoff kHugeOffset = 5LL << 30;

// Creates a file of five gigabytes that is a hole except at its ends.
void MakeHugeFile(const std::string& path) {
  MakeSparseFile(path, "begins", kHugeOffset);
  std::ofstream(path, std::ios::app) << "ends";
}

std::string EndOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(kHugeOffset);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST_F(SizeLimits, HugeFile) {
  const TemporaryFolder across(MemoryFolder());
  const std::string source = scratch_ / "source";
  MakeFolder(scratch_ / "destination");
  MakeHugeFile(source + "/huge.img");
  EXPECT_EQ(0, Run({"--kind", "extension", "--copy"}, source, scratch_ / "destination").exitStatus);
  EXPECT_EQ(0, Run({"--kind", "extension", "--move"}, source, across.path()).exitStatus);
  for (const std::string& path : {scratch_ / "destination/img/huge.img", across / "img/huge.img"}) {
    const struct stat info = LstatAt(path);
    EXPECT_EQ(kHugeOffset + 4, info.st_size);
    EXPECT_LT(info.st_blocks * 512, 1 << 20) << path;
    EXPECT_EQ("ends", EndOf(path));
  }
  EXPECT_FALSE(Exists(source + "/huge.img"));
}

TEST_F(SizeLimits, ManyHardLinks) {
  if (!IsLongSoak()) GTEST_SKIP() << "65,000 links take too long for a short run";
  const ScratchVolume volume(VolumeKind::kExt4, {}, 320);
  if (!volume.IsAvailable()) GTEST_SKIP() << volume.UnavailableReason();
  const std::string inside = volume / "source/Links.app/Contents";
  WriteFile(inside + "/0", "linked");
  int links = 1;
  while (link((inside + "/0").c_str(), (inside + "/" + std::to_string(links)).c_str()) == 0) {
    ++links;
  }
  ASSERT_EQ(EMLINK, errno);
  EXPECT_EQ(65'000, links);
  MakeFolder(volume / "destination");
  const SupervisedResult result =
      Run({"--kind", "extension", "--copy"}, volume / "source", volume / "destination");
  EXPECT_EQ(0, result.exitStatus) << result.output;
  const std::string copied = volume / "destination/app/Links.app/Contents";
  EXPECT_EQ(static_cast<size_t>(links), FilesBelow(copied).size());
  // During the copy, a temporary file is one more link, so that the last name becomes a file of its
  // own.
  EXPECT_GE(LstatAt(copied + "/0").st_nlink, 64'999U - 1);
}

}  // namespace
}  // namespace tessary::test
