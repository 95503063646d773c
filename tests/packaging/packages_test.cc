#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/packaging/installation.h"

// The Debian packages of this build, which the target "packages" makes.
namespace tessary::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Packages : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string tool = MissingTool({"dh"}); !tool.empty()) {
      GTEST_SKIP() << tool << " is not installed";
    }
  }

  std::string PackageAt(const std::string& name) const {
    for (const std::string& file : NamesIn(TESSARY_PACKAGES)) {
      if (file.starts_with(name + "_") && file.ends_with(".deb")) {
        return TESSARY_PACKAGES "/" + file;
      }
    }
    ADD_FAILURE() << "no package " << name;
    return {};
  }

  std::string Field(const std::string& package, const std::string& field) const {
    return RunTool("dpkg-deb", {"-f", PackageAt(package), field}).output;
  }

  // One line for each file of the package, as "tar tv" prints it, with dates in UTC.
  std::string Contents(const std::string& package) const {
    return RunTool("env", {"TZ=UTC", "dpkg-deb", "-c", PackageAt(package)}).output;
  }

  std::vector<std::string> Files(const std::string& package) const {
    return FindWords(Contents(package), "\\./(usr/[^\n]*[^/\n])(?=\n)");
  }
};

TEST_F(Packages, PassLintian) {
  if (!MissingTool({"lintian"}).empty()) GTEST_SKIP() << "lintian is not installed";
  const ToolResult result = RunTool("lintian", {"--allow-root", "--fail-on", "error,warning",
                                                PackageAt("tessary"), PackageAt("tessary-cli")});
  EXPECT_EQ(0, result.status) << result.output;
}

TEST_F(Packages, HaveDependencies) {
  EXPECT_THAT(Field("tessary-cli", "Depends"), Not(HasSubstr("qt")));
  EXPECT_THAT(Field("tessary-cli", "Depends"), HasSubstr("libc6"));
  EXPECT_THAT(Field("tessary", "Depends"), HasSubstr("libqt6widgets6"));
  // A newer tessary-cli will do.
  EXPECT_THAT(Field("tessary", "Depends"), HasSubstr("tessary-cli (>= " TESSARY_VERSION ")"));
  for (const char* package : {"tessary", "tessary-cli"}) {
    EXPECT_EQ("utils\n", Field(package, "Section"));
    EXPECT_THAT(Field(package, "Depends"), Not(HasSubstr("(=")));
  }
}

TEST_F(Packages, HaveEachInstalledFileOnce) {
  const std::vector<std::string> desktop = Files("tessary");
  const std::vector<std::string> cli = Files("tessary-cli");
  EXPECT_THAT(desktop, Contains("usr/bin/tessary"));
  EXPECT_THAT(desktop, Contains("usr/share/tessary/help/index.html"));
  // The page that the desktop's help registers, in a folder that is a link to that of the program.
  EXPECT_THAT(FindWords(SourceText("debian/tessary.doc-base"), "Index: /([^\n]*)"),
              ElementsAre("usr/share/doc/tessary/html/index.html"));
  EXPECT_EQ("usr/share/tessary/help usr/share/doc/tessary/html\n",
            SourceText("debian/tessary.links"));
  EXPECT_THAT(cli, Contains("usr/bin/tessary-cli"));
  EXPECT_THAT(cli, Contains("usr/share/man/man1/tessary-cli.1.gz"));
  for (const std::string& file : cli) EXPECT_THAT(desktop, Not(Contains(file)));
  std::vector<std::string> expected = Installation().Files();
  for (std::string& file : expected) file.insert(0, "usr/");
  for (const char* package : {"tessary", "tessary-cli"}) {
    for (const char* name : {"/copyright", "/changelog.gz"}) {
      expected.push_back(std::string("usr/share/doc/") + package + name);
    }
  }
  expected.emplace_back("usr/share/doc-base/tessary.tessary");
  expected.emplace_back("usr/share/doc/tessary/html -> ../../tessary/help");
  std::vector<std::string> packaged = desktop;
  packaged.insert(packaged.end(), cli.begin(), cli.end());
  EXPECT_THAT(packaged, testing::UnorderedElementsAreArray(expected));
}

// Otherwise two builds would differ.
TEST_F(Packages, ContainNoDateAfterTheChangelog) {
  constexpr char kDate[] = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}";
  const ToolResult changelog =
      RunTool("sh", {"-c", R"sh(date -u -d "$(dpkg-parsechangelog -l "$1" -S Date)" +"%F %R")sh",
                     "sh", SourcePath("debian/changelog")});
  const std::vector<std::string> released = FindWords(changelog.output, kDate);
  ASSERT_EQ(1U, released.size()) << changelog.output;
  for (const char* package : {"tessary", "tessary-cli"}) {
    const std::vector<std::string> dates = FindWords(Contents(package), kDate);
    ASSERT_FALSE(dates.empty());
    EXPECT_LE(dates.back(), released[0]) << package;
  }
}

TEST_F(Packages, RemovalSaysHowToRemoveMenuEntries) {
  const ToolResult script = RunTool("dpkg-deb", {"--info", PackageAt("tessary"), "prerm"});
  ASSERT_EQ(0, script.status) << script.output;
  const TemporaryFolder folder;
  WriteFile(folder / "prerm", script.output);
  EXPECT_THAT(RunTool("sh", {folder / "prerm", "remove"}).output,
              HasSubstr("tessary-cli integrate remove"));
  EXPECT_EQ("", RunTool("sh", {folder / "prerm", "upgrade", "2"}).output);
}

}  // namespace
}  // namespace tessary::test
