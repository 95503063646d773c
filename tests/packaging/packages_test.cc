#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/packaging/installation.h"

// The Debian packages of this build.
namespace tessary::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class Packages : public testing::Test {
 protected:
  void SetUp() override {
    const std::string tool = MissingTool({"dpkg-deb", "dpkg-shlibdeps", "file"});
    if (!tool.empty()) GTEST_SKIP() << tool << " is not installed";
    const ToolResult result =
        RunTool(TESSARY_CPACK,
                {"--config", TESSARY_BUILD_FOLDER "/CPackConfig.cmake", "-B", folder_.path()});
    ASSERT_EQ(0, result.status) << result.output;
  }

  std::string PackageAt(const std::string& name) const {
    for (const std::string& file : NamesIn(folder_.path())) {
      if (file.starts_with(name + "_") && file.ends_with(".deb")) return folder_ / file;
    }
    ADD_FAILURE() << "no package " << name;
    return {};
  }

  std::string Field(const std::string& package, const std::string& field) const {
    return RunTool("dpkg-deb", {"-f", PackageAt(package), field}).output;
  }

  std::vector<std::string> Files(const std::string& package) const {
    return FindWords(RunTool("dpkg-deb", {"-c", PackageAt(package)}).output,
                     "\\./(usr/[^\n]*[^/\n])(?=\n)");
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(Packages, PassLintian) {
  if (!MissingTool({"lintian"}).empty()) GTEST_SKIP() << "lintian is not installed";
  const ToolResult result = RunTool("lintian", {"--allow-root", "--fail-on", "error,warning",
                                                PackageAt("tessary"), PackageAt("tessary-cli")});
  EXPECT_EQ(0, result.status) << result.output;
}

TEST_F(Packages, HaveDependenciesAndEachFileOnce) {
  EXPECT_THAT(Field("tessary-cli", "Depends"), Not(HasSubstr("qt")));
  EXPECT_THAT(Field("tessary-cli", "Depends"), HasSubstr("libc6"));
  EXPECT_THAT(Field("tessary", "Depends"), HasSubstr("libqt6widgets6"));
  EXPECT_THAT(Field("tessary", "Depends"), HasSubstr("tessary-cli (= " TESSARY_VERSION ")"));
  EXPECT_EQ("utils\n", Field("tessary", "Section"));
  EXPECT_EQ("utils\n", Field("tessary-cli", "Section"));
  const std::vector<std::string> desktop = Files("tessary");
  const std::vector<std::string> cli = Files("tessary-cli");
  EXPECT_THAT(desktop, Contains("usr/bin/tessary"));
  EXPECT_THAT(desktop, Contains("usr/share/tessary/help/index.html"));
  EXPECT_THAT(cli, Contains("usr/bin/tessary-cli"));
  EXPECT_THAT(cli, Contains("usr/share/man/man1/tessary-cli.1.gz"));
  for (const std::string& file : cli) EXPECT_THAT(desktop, Not(Contains(file)));
  std::vector<std::string> installed = Installation().Files();
  for (std::string& file : installed) file.insert(0, "usr/");
  for (const char* package : {"tessary", "tessary-cli"}) {
    for (const char* name : {"/copyright", "/changelog.gz"}) {
      installed.push_back(std::string("usr/share/doc/") + package + name);
    }
  }
  std::vector<std::string> packaged = desktop;
  packaged.insert(packaged.end(), cli.begin(), cli.end());
  EXPECT_THAT(packaged, testing::UnorderedElementsAreArray(installed));
}

}  // namespace
}  // namespace tessary::test
