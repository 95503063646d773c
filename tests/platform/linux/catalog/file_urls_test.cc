#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/managers/urls.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(CFURLCreateWithBytes, ReadsTheFormsOfAFileURL) {
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

TEST(CFURLCreateWithBytes, RefusesOtherSchemesHostsAndBadEscapes) {
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

TEST(CFURLGetFSRef, ResolvesTheLinksThatAPersonNamed) {
  const TemporaryFolder folder;
  MakeFolder(folder / "real");
  MakeLink("real", folder / "link");
  for (const char* name : {"/real", "/link", "/link/", "/./real/../link"}) {
    FSRef ref;
    ASSERT_TRUE(CFURLGetFSRef({.path = folder.path() + name}, &ref)) << name;
    EXPECT_EQ(noErr, FSCompareFSRefs(ref, RefAt(folder / "real"))) << name;
  }
}

TEST(CFURLGetFSRef, LeavesTheReferenceWhereThereIsNoObject) {
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
