#include "platform/managers/uniform_types.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "platform/linux/configuration/builtin_mime_types.h"
#include "platform/managers/text.h"
#include "tests/support/environment_variable.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

// Returns the MIME type of an extension, in UTF-8; empty if there is none.
std::string TypeOf(const std::string& extension) {
  const auto identifier = UTTypeCreatePreferredIdentifierForTag(
      UTTagClass::kUTTagClassFilenameExtension, Utf16FromUtf8(extension));
  EXPECT_TRUE(identifier);
  const auto type = UTTypeCopyPreferredTagWithClass(*identifier, UTTagClass::kUTTagClassMIMEType);
  return type ? Utf8FromUtf16(*type) : "";
}

// The databases of a user and of two system folders, which the first lookup after construction
// reads.
class Database {
 public:
  Database()
      : home_("XDG_DATA_HOME", folder_ / "user"),
        dirs_("XDG_DATA_DIRS", (folder_ / "local") + ":" + (folder_ / "system")) {}

  void WriteUser(const std::string& globs) const { Write("user", globs); }
  void WriteLocal(const std::string& globs) const { Write("local", globs); }
  void WriteSystem(const std::string& globs) const { Write("system", globs); }

 private:
  void Write(const std::string& name, const std::string& globs) const {
    WriteFile(folder_ / (name + "/mime/globs2"), globs);
  }

  TemporaryFolder folder_;
  EnvironmentVariable home_;
  EnvironmentVariable dirs_;
};

TEST(UniformTypes, SupportTwoTagClasses) {
  EXPECT_FALSE(
      UTTypeCreatePreferredIdentifierForTag(UTTagClass::kUTTagClassMIMEType, u"image/jpeg"));
  const auto identifier =
      UTTypeCreatePreferredIdentifierForTag(UTTagClass::kUTTagClassFilenameExtension, u"jpg");
  ASSERT_TRUE(identifier);
  EXPECT_FALSE(
      UTTypeCopyPreferredTagWithClass(*identifier, UTTagClass::kUTTagClassFilenameExtension));
  EXPECT_FALSE(UTTypeCopyPreferredTagWithClass(u"public.jpeg", UTTagClass::kUTTagClassMIMEType));
  EXPECT_FALSE(UTTypeCopyPreferredTagWithClass(u"", UTTagClass::kUTTagClassMIMEType));
}

TEST(UniformTypes, UseExtensionPatternsOnly) {
  const Database database;
  database.WriteSystem(
      "# a comment\n"
      "50:image/jpeg:*.jpg\n"
      "50:application/x-compressed-tar:*.tar.gz\n"
      "50:text/x-readme:readme*\n"
      "50:text/x-makefile:makefile\n"
      "50:application/x-sharedlib:*.so.[0-9]*\n"
      "50:video/x-anim:*.anim[1-9j]\n"
      "50:text/x-any:*.q?\n"
      "50:text/x-bare:*.\n"
      "50:application/x-last:*.last");
  EXPECT_EQ("image/jpeg", TypeOf("jpg"));
  EXPECT_EQ("application/x-last", TypeOf("last"));
  for (const char* unknown : {"gz", "readme", "makefile", "so", "anim1", "anim[1-9j]", "q?", "qq",
                              "", "xyz", "*", "[0-9]*"}) {
    EXPECT_EQ("", TypeOf(unknown)) << unknown;
  }
}

TEST(UniformTypes, PreferHighestWeightThenFirst) {
  const Database database;
  database.WriteSystem(
      "50:text/x-light:*.a\n80:text/x-heavy:*.a\n60:text/x-middle:*.a\n"
      "50:text/x-first:*.b\n50:text/x-second:*.b\n");
  EXPECT_EQ("text/x-heavy", TypeOf("a"));
  EXPECT_EQ("text/x-first", TypeOf("b"));
}

TEST(UniformTypes, PreferUserAtEqualWeight) {
  const Database database;
  database.WriteUser("50:text/x-user:*.a\n40:text/x-user:*.b\n");
  database.WriteLocal("50:text/x-local:*.a\n50:text/x-local:*.b\n50:text/x-local:*.c\n");
  database.WriteSystem("50:text/x-system:*.a\n50:text/x-system:*.b\n50:text/x-system:*.c\n");
  EXPECT_EQ("text/x-user", TypeOf("a"));
  EXPECT_EQ("text/x-local", TypeOf("b"));
  EXPECT_EQ("text/x-local", TypeOf("c"));
}

TEST(UniformTypes, NoGlobsDiscardsLowerFolders) {
  const Database database;
  database.WriteUser("50:text/x-user:*.user\n");
  database.WriteLocal(
      "50:text/x-note:*.before\n0:text/x-note:__NOGLOBS__\n50:text/x-note:*.after\n");
  database.WriteSystem("90:text/x-note:*.note\n50:text/x-other:*.other\n");
  EXPECT_EQ("text/x-note", TypeOf("before"));
  EXPECT_EQ("text/x-note", TypeOf("after"));
  EXPECT_EQ("", TypeOf("note"));
  EXPECT_EQ("text/x-other", TypeOf("other"));
  EXPECT_EQ("text/x-user", TypeOf("user"));
}

TEST(UniformTypes, FoldCaseUnlessCaseSensitive) {
  const Database database;
  database.WriteSystem(
      "50:image/jpeg:*.JPG\n50:text/x-umlaut:*.\xC3\x84\n"
      "50:text/x-c++src:*.C:cs\n90:text/x-folded:*.c\n"
      "50:text/x-genie:*.gs:other,cs,more\n50:text/x-plain:*.pl:csx\n");
  EXPECT_EQ("image/jpeg", TypeOf("jpg"));
  EXPECT_EQ("image/jpeg", TypeOf("JpG"));
  EXPECT_EQ("text/x-umlaut", TypeOf("\xC3\xA4"));
  EXPECT_EQ("text/x-c++src", TypeOf("C"));
  EXPECT_EQ("text/x-folded", TypeOf("c"));
  EXPECT_EQ("text/x-genie", TypeOf("gs"));
  EXPECT_EQ("", TypeOf("GS"));
  EXPECT_EQ("text/x-plain", TypeOf("PL"));
}

TEST(UniformTypes, SkipMalformedLines) {
  const Database database;
  database.WriteSystem(
      "\xEF\xBB\xBF# comment\r\n\r\n\n:\n::\n:::\n50\n50:\n50:text/x-a\n50:text/x-a:\n"
      "x:text/x-a:*.a\n:text/x-a:*.a\n-1:text/x-a:*.a\n5 0:text/x-a:*.a\n"
      "99999999999999999999:text/x-a:*.a\n50:nonsense:*.a\n50:/x:*.a\n50:x/:*.a\n50:a/b/c:*.a\n"
      "50:text/x a:*.a\n50:text/x\xE9:*.a\n50:..:*.a\n" +
      std::string("50:text/\0x:*.a\n", 15) + std::string(100'000, 'x') + "\n" +
      "\xFF\xFE\xFF\n50:text/x-good:*.good\r\n");
  EXPECT_EQ("", TypeOf("a"));
  EXPECT_EQ("text/x-good", TypeOf("good"));
}

TEST(UniformTypes, AcceptAnyBytes) {
  const Database database;
  database.WriteSystem("50:text/x-latin:*.caf\xE9\n50:text/x-a:*.a\n");
  EXPECT_EQ("text/x-latin", TypeOf("caf\xE9"));
  EXPECT_EQ("", TypeOf("caf\xC3\xA9"));
  EXPECT_EQ("", TypeOf("a\n"));
  EXPECT_EQ("", TypeOf(std::string("a\0", 2)));
  EXPECT_EQ("text/x-a", TypeOf("a"));
}

TEST(UniformTypes, SurviveFullCache) {
  const Database database;
  database.WriteSystem("50:text/x-a:*.a\n");
  EXPECT_EQ("text/x-a", TypeOf("a"));
  for (int i = 0; i < 10000; ++i) ASSERT_EQ("", TypeOf(std::to_string(i)));
  EXPECT_EQ("text/x-a", TypeOf("A"));
}

TEST(UniformTypes, FollowEnvironment) {
  const TemporaryFolder folder;
  WriteFile(folder / "one/mime/globs2", "50:text/x-one:*.a\n");
  WriteFile(folder / "two/mime/globs2", "50:text/x-two:*.a\n");
  WriteFile(folder / "home/.local/share/mime/globs2", "50:text/x-home:*.a\n");
  const EnvironmentVariable dirs("XDG_DATA_DIRS", folder / "none");
  const EnvironmentVariable home("HOME", folder / "home");
  {
    const EnvironmentVariable dataHome("XDG_DATA_HOME", folder / "one");
    EXPECT_EQ("text/x-one", TypeOf("a"));
  }
  {
    const EnvironmentVariable dataHome("XDG_DATA_HOME", folder / "two");
    EXPECT_EQ("text/x-two", TypeOf("a"));
  }
  for (const auto& unusable : {std::optional<std::string>(), std::optional<std::string>(""),
                               std::optional<std::string>("relative")}) {
    const EnvironmentVariable dataHome("XDG_DATA_HOME", unusable);
    EXPECT_EQ("text/x-home", TypeOf("a"));
  }
}

TEST(UniformTypes, SkipFoldersWithoutDatabase) {
  const TemporaryFolder folder;
  MakeFolder(folder / "folder/mime/globs2");
  WriteFile(folder / "file/mime", "");
  WriteFile(folder / "good/mime/globs2", "50:text/x-good:*.a\n");
  const EnvironmentVariable home("XDG_DATA_HOME", folder / "missing");
  const EnvironmentVariable dirs("XDG_DATA_DIRS", "::relative:" + (folder / "folder") + ":" +
                                                      (folder / "file") + ":" + (folder / "good") +
                                                      ":");
  EXPECT_EQ("text/x-good", TypeOf("a"));
  EXPECT_EQ("", TypeOf("jpg"));
}

TEST(UniformTypes, FallBackToBuiltInTable) {
  const Database empty;
  EXPECT_EQ("image/jpeg", TypeOf("jpg"));
  EXPECT_EQ("image/jpeg", TypeOf("JPG"));
  EXPECT_EQ("application/pdf", TypeOf("pdf"));
  EXPECT_EQ("text/plain", TypeOf("txt"));
  EXPECT_EQ("", TypeOf("qqq"));
  empty.WriteUser("50:text/x-later:*.jpg\n");
  EXPECT_EQ("image/jpeg", TypeOf("jpg")) << "the database is read only once";
}

TEST(BuiltinMimeTypes, ExtensionsAreUnique) {
  std::set<std::string_view> seen;
  for (const BuiltinMimeType& builtin : BuiltinMimeTypes()) {
    EXPECT_TRUE(seen.insert(builtin.extension).second) << builtin.extension;
    EXPECT_EQ(std::string_view::npos,
              builtin.extension.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ.*"))
        << builtin.extension;
    EXPECT_NE(std::string_view::npos, builtin.type.find('/')) << builtin.type;
  }
  EXPECT_GE(seen.size(), 150U);
}

}  // namespace
}  // namespace tessary::test
