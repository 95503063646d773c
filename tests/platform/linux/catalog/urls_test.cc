#include "platform/managers/urls.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(CFURLCopyPathExtension, TextAfterLastDot) {
  const std::vector<std::pair<std::string, std::optional<std::u16string>>> rows = {
      {"/d/Report.PDF", u"PDF"},
      {"/d/archive.tar.gz", u"gz"},
      {"/d/Tool.app", u"app"},
      {"/d/README", std::nullopt},
      {"/dir.d/README", std::nullopt},
      {"/d/name.", u""},
      {"/d/.bashrc", u"bashrc"},
      {"/d/a.b:c", u"b:c"},
      {"/d/x.\xff", {{char16_t{0xDCFF}}}}};
  for (const auto& [path, extension] : rows) {
    EXPECT_EQ(extension, CFURLCopyPathExtension({path, false})) << path;
  }
}

TEST(CFURLCreateFromFSRef, HoldsPathAndKind) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  MakeFolder(folder / "Tool.app");
  const auto file = CFURLCreateFromFSRef(RefAt(folder / "file"));
  ASSERT_TRUE(file);
  EXPECT_EQ(folder / "file", file->path);
  EXPECT_FALSE(file->hasDirectoryPath);
  const auto package = CFURLCreateFromFSRef(RefAt(folder / "Tool.app"));
  ASSERT_TRUE(package);
  EXPECT_TRUE(package->hasDirectoryPath);
}

TEST(CFURLCreateFromFSRef, NoneForMissingObject) {
  const TemporaryFolder folder;
  WriteFile(folder / "file");
  const FSRef ref = RefAt(folder / "file");
  unlink((folder / "file").c_str());
  EXPECT_FALSE(CFURLCreateFromFSRef(ref));
  EXPECT_FALSE(CFURLCreateFromFSRef(FSRef{}));
}

TEST(CFURLCreateWithBytes, ParsesFileUrls) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"file:///a/b", "/a/b"},
      {"file:/a/b", "/a/b"},
      {"file://localhost/a", "/a"},
      {"FILE://LocalHost/A", "/A"},
      {"file:///", "/"},
      {"file:///a/", "/a/"},
      {"file:///a%20b%2Fc%3f%23", "/a b/c?#"},
      {"file:///%C3%A4%ff%0A", "/\xc3\xa4\xff\n"},
      {"file:///raw \xc3\xa4\xff", "/raw \xc3\xa4\xff"},
      {"file:////a", "//a"},
      {"file:///100%25", "/100%"},
  };
  for (const auto& [text, path] : rows) {
    const std::optional<CFURL> url = CFURLCreateWithBytes(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(path, url->path) << text;
    EXPECT_EQ(path.ends_with('/'), url->hasDirectoryPath) << text;
  }
}

TEST(CFURLCreateWithBytes, RejectsOtherUrls) {
  const std::vector<std::string_view> rows = {
      "",
      "file",
      "file:",
      "file://",
      "file://localhost",
      "file:a",
      "file://elsewhere/a",
      "file://localhostess/a",
      "files:///a",
      "http:///a",
      "/a",
      " file:///a",
      "file:///a%",
      "file:///a%2",
      "file:///a%zz",
      "file:///a%2 b",
      "file:///a%00b",
      {"file:///a\0b", 11},
      "file:///a?b",
      "file:///a#b",
  };
  for (const std::string_view text : rows) EXPECT_FALSE(CFURLCreateWithBytes(text)) << text;
}

TEST(CFURLGetFSRef, FollowsLinks) {
  const TemporaryFolder folder;
  MakeFolder(folder / "real");
  MakeLink("real", folder / "link");
  for (const char* name : {"/real", "/link", "/link/", "/./real/../link"}) {
    FSRef ref;
    ASSERT_TRUE(CFURLGetFSRef({.path = folder.path() + name}, &ref)) << name;
    EXPECT_EQ(noErr, FSCompareFSRefs(ref, RefAt(folder / "real"))) << name;
  }
}

TEST(CFURLGetFSRef, FailsWithoutObject) {
  const TemporaryFolder folder;
  MakeLink("missing", folder / "dangling");
  WriteFile(folder / "file");
  FSRef ref = RefAt(folder.path());
  for (const char* name : {"/missing", "/dangling", "/file/"}) {
    EXPECT_FALSE(CFURLGetFSRef({.path = folder.path() + name}, &ref)) << name;
  }
  EXPECT_FALSE(CFURLGetFSRef({}, &ref));
  EXPECT_FALSE(CFURLGetFSRef({.path = "/"}, nullptr));
  EXPECT_EQ(noErr, FSCompareFSRefs(ref, RefAt(folder.path())));
}

}  // namespace
}  // namespace tessary::test
