#include "platform/linux/catalog/paths.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <string>

#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

std::string PathFromRef(const FSRef& ref) {
  std::array<char, 8192> buffer = {};
  EXPECT_EQ(noErr, FSRefMakePath(ref, buffer.data(), buffer.size()));
  return buffer.data();
}

TEST(FSPathMakeRef, RoundTripsEveryName) {
  const TemporaryFolder folder;
  for (const std::string name : {"plain", "\xff", "new\nline", ".dot", "a..b", "blank ", "a:b"}) {
    WriteFile(folder / name);
    EXPECT_EQ(folder / name, PathFromRef(RefAt(folder / name)));
  }
  EXPECT_EQ("/", PathFromRef(RefAt("/")));
  EXPECT_EQ("/proc", PathFromRef(RefAt("/proc")));
}

TEST(FSPathMakeRef, DoesNotFollowLastLink) {
  const TemporaryFolder folder;
  WriteFile(folder / "target");
  MakeLink("target", folder / "link");
  MakeLink("nowhere", folder / "dangling");
  EXPECT_EQ(folder / "link", PathFromRef(RefAt(folder / "link")));
  EXPECT_EQ(folder / "dangling", PathFromRef(RefAt(folder / "dangling")));
  EXPECT_EQ(errFSRefsDifferent, FSCompareFSRefs(RefAt(folder / "link"), RefAt(folder / "target")));
}

TEST(FSPathMakeRef, AcceptsOddSpellings) {
  const TemporaryFolder folder;
  WriteFile(folder / "sub/file");
  for (const std::string path : {"/sub/", "//sub", "/sub/.", "/sub/../sub", "/./sub"}) {
    EXPECT_EQ(folder / "sub", PathFromRef(RefAt(folder.path() + path))) << path;
  }
  EXPECT_EQ(folder / "sub/file", PathFromRef(RefAt(folder.path() + "/sub//file")));
}

TEST(FSPathMakeRef, FailureGivesAllZeroReference) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  const std::vector<std::pair<std::string, Status>> rows = {
      {folder / "absent", fnfErr},
      {folder / "absent/file", fnfErr},
      {folder / "file/below", dirNFErr},
      {"relative", paramErr},
      {"", paramErr},
      {folder / std::string(256, 'x'), bdNamErr},
      {"/" + std::string(PATH_MAX, 'x') + "/y", bdNamErr}};
  for (const auto& [path, expected] : rows) {
    FSRef ref = RefAt(folder.path());
    EXPECT_EQ(expected, FSPathMakeRef(path.c_str(), &ref)) << path;
    const FSRef none;
    EXPECT_EQ(0, std::memcmp(&none, &ref, sizeof(ref))) << path;
  }
  EXPECT_EQ(paramErr, FSPathMakeRef(folder.path().c_str(), nullptr));
  FSRef ref;
  EXPECT_EQ(paramErr, FSPathMakeRef(nullptr, &ref));
}

TEST(ResolveNamedPath, FindsRecreatedFolder) {
  const TemporaryFolder folder;
  WriteFile(folder / "sub/file", "old");
  const FSRef old = RefAt(folder / "sub/file");
  std::filesystem::remove_all(folder / "sub");
  WriteFile(folder / "sub/file", "new");
  EXPECT_FALSE(FSIsFSRefValid(old));
  std::string resolved;
  ASSERT_EQ(noErr, ResolveNamedPath(folder / "sub/file", &resolved));
  EXPECT_TRUE(FSIsFSRefValid(RefAt(resolved)));
}

TEST(FSPathMakeRef, DoesNotFollowSwappedPath) {
  const TemporaryFolder folder;
  WriteFile(folder / "source/a/file", "mine");
  WriteFile(folder / "elsewhere/file", "not mine");
  const FSRef before = RefAt(folder / "source/a/file");
  std::filesystem::rename(folder / "source/a", folder / "source/b");
  MakeLink(folder / "elsewhere", folder / "source/a");
  FSRef after;
  const Status status = FSPathMakeRef((folder / "source/a/file").c_str(), &after);
  if (status == noErr) {
    EXPECT_EQ(noErr, FSCompareFSRefs(before, after));
  }
  EXPECT_EQ(errFSRefsDifferent, FSCompareFSRefs(after, RefAt(folder / "elsewhere/file")));
}

TEST(FSRefMakePath, BufferTooSmall) {
  const TemporaryFolder folder;
  const FSRef ref = RefAt(folder.path());
  std::array<char, 4096> buffer;
  buffer.fill('x');
  EXPECT_EQ(bdNamErr, FSRefMakePath(ref, buffer.data(), folder.path().size()));
  EXPECT_EQ('x', buffer[0]);
  EXPECT_EQ(noErr, FSRefMakePath(ref, buffer.data(), folder.path().size() + 1));
  EXPECT_EQ(folder.path(), buffer.data());
  EXPECT_EQ(paramErr, FSRefMakePath(ref, nullptr, 0));
  EXPECT_EQ(paramErr, FSRefMakePath(FSRef{}, buffer.data(), buffer.size()));
}

TEST(FolderTable, PathLongerThanKernelLimit) {
  const TemporaryFolder folder;
  const NSAutoreleasePool pool;
  FSRef deepest = RefAt(folder.path());
  std::string path = folder.path();
  const std::string name(250, 'd');
  const std::u16string catalogName(250, u'd');
  for (int depth = 0; depth < 100; ++depth) {
    FSRef below;
    ASSERT_EQ(noErr, FSCreateDirectoryUnicode(deepest, catalogName, &below)) << depth;
    deepest = below;
    path += "/" + name;
  }
  EXPECT_GT(path.size(), static_cast<size_t>(PATH_MAX));
  EXPECT_TRUE(FSIsFSRefValid(deepest));
  FSIterator iterator;
  EXPECT_EQ(noErr, FSOpenIterator(deepest, &iterator));
  std::string buffer(path.size() + 1, '\0');
  ASSERT_EQ(noErr, FSRefMakePath(deepest, buffer.data(), buffer.size()));
  EXPECT_EQ(path, buffer.c_str());
}

TEST(FolderTable, LimitsOpenDescriptors) {
  const TemporaryFolder folder;
  const auto countDescriptors = [] {
    const auto entries = std::filesystem::directory_iterator("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
  };
  const auto before = countDescriptors();
  std::vector<FSRef> files;
  for (int i = 0; i < 300; ++i) {
    const std::string path = folder / (std::to_string(i) + "/file");
    WriteFile(path);
    files.push_back(RefAt(path));
  }
  for (const FSRef& file : files) EXPECT_TRUE(FSIsFSRefValid(file));
  EXPECT_LE(countDescriptors(), before + 70);
}

TEST(PosixUnlink, RemovesFilesAndLinks) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  WriteFile(folder / "kept", "kept");
  MakeLink("kept", folder / "link");
  MakeFolder(folder / "sub");
  EXPECT_EQ(0, PosixUnlink((folder / "file").c_str()));
  EXPECT_EQ(0, PosixUnlink((folder / "link").c_str()));
  EXPECT_EQ(ENOENT, PosixUnlink((folder / "file").c_str()));
  EXPECT_EQ(EISDIR, PosixUnlink((folder / "sub").c_str()));
  EXPECT_EQ(EISDIR, PosixUnlink("/"));
  EXPECT_EQ((std::vector<std::string>{"kept", "sub"}), NamesIn(folder.path()));
  EXPECT_EQ("kept", ReadFile(folder / "kept"));
}

TEST(ResolveNamedPath, FollowsLinks) {
  const TemporaryFolder folder;
  MakeFolder(folder / "real/sub");
  MakeLink("real", folder / "link");
  std::string resolved;
  for (const std::string path : {"/link", "/link/", "/real/sub/..", "/./link/."}) {
    ASSERT_EQ(noErr, ResolveNamedPath(folder.path() + path, &resolved)) << path;
    EXPECT_EQ(folder / "real", resolved) << path;
  }
}

TEST(ResolveNamedPath, ReportsErrors) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeLink("loop", folder / "loop");
  MakeLink("nowhere", folder / "dangling");
  const std::vector<std::pair<std::string, Status>> rows = {
      {folder / "absent", fnfErr},
      {folder / "dangling", fnfErr},
      {folder / "file/x", dirNFErr},
      {folder / "loop", ioErr},
      {"", paramErr},
      {"/" + std::string(5000, 'x'), bdNamErr}};
  for (const auto& [path, expected] : rows) {
    std::string resolved = "untouched";
    EXPECT_EQ(expected, ResolveNamedPath(path, &resolved)) << path;
    EXPECT_EQ("untouched", resolved);
  }
}

TEST(FileSpec, OutlivesAutoreleasePool) {
  const TemporaryFolder folder;
  WriteFile(folder / "sub/file");
  FSSpec spec;
  FSSpec again;
  {
    const NSAutoreleasePool pool;
    const FSRef ref = RefAt(folder / "sub/file");
    ASSERT_EQ(noErr, FSGetCatalogInfo(ref, kFSCatInfoNone, nullptr, nullptr, &spec, nullptr));
    ASSERT_EQ(noErr, FSGetCatalogInfo(ref, kFSCatInfoNone, nullptr, nullptr, &again, nullptr));
  }
  EXPECT_EQ(0, std::memcmp(&spec, &again, sizeof(spec)));
  FSRef found;
  ASSERT_EQ(noErr, FSpMakeFSRef(spec, &found));
  EXPECT_EQ(folder / "sub/file", PathFromRef(found));
  std::filesystem::remove(folder / "sub/file");
  EXPECT_EQ(fnfErr, FSpMakeFSRef(spec, &found));
  EXPECT_EQ(paramErr, FSpMakeFSRef(FSSpec{}, &found));
  EXPECT_EQ(paramErr, FSpMakeFSRef(spec, nullptr));
}

}  // namespace
}  // namespace tessary::test
