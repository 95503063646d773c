#include "engine/application_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/engine/engine_fixture.h"

namespace tessary::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ResolveRunSourceTest : public EngineFixture {};
TEST_F(ResolveRunSourceTest, UsesResourcesOfApplication) {
  WriteFile(InSource("Tool.app/Contents/Resources/a.txt"));
  ResolveRunSource(RefAt(InSource("Tool.app")));
  EXPECT_THAT(sources_, ElementsAre(InSource("Tool.app/Contents/Resources")));
  EXPECT_THAT(Messages(), IsEmpty());
}

TEST_F(ResolveRunSourceTest, ReadsSetting) {
  MakeFolder(InSource("Tool.app/Contents/Resources"));
  const struct {
    std::string text;
    std::string source;
  } rows[] = {
      {"AggregateAppResourcesOnly = true\n", InSource("Tool.app")},
      {"AggregateAppResourcesOnly = false\n", InSource("Tool.app/Contents/Resources")},
      {"AggregateAppResourcesOnly = 1\n", InSource("Tool.app/Contents/Resources")},
      {"AggregateAppResourcesOnly = \"true\"\n", InSource("Tool.app/Contents/Resources")},
      {"AggregateAppResourcesOnly = 1.0\n", InSource("Tool.app/Contents/Resources")},
      {"", InSource("Tool.app/Contents/Resources")},
  };
  for (const auto& row : rows) {
    WritePreferencesInChild(row.text);
    sources_.clear();
    ResolveRunSource(RefAt(InSource("Tool.app")));
    EXPECT_THAT(sources_, ElementsAre(row.source)) << row.text;
  }
}

TEST_F(ResolveRunSourceTest, UsesOtherSourcesAsGiven) {
  MakeFolder(InSource("Plain/Contents/Resources"));
  MakeFolder(InSource("Kit.framework/Resources"));
  MakeFolder(InSource("Plug.bundle/Contents/Resources"));
  WriteFile(InSource("file.txt"));
  MakeLink("nowhere", InSource("dangling"));
  for (const std::string text :
       {"AggregateAppResourcesOnly = true\n", "AggregateAppResourcesOnly = false\n"}) {
    WritePreferencesInChild(text);
    for (const std::string name :
         {"Plain", "Kit.framework", "Plug.bundle", "file.txt", "dangling"}) {
      sources_.clear();
      ResolveRunSource(RefAt(InSource(name)));
      EXPECT_THAT(sources_, ElementsAre(InSource(name)));
    }
  }
}

TEST_F(ResolveRunSourceTest, UsesTopLevelResources) {
  MakeFolder(InSource("Old.app/Resources"));
  ResolveRunSource(RefAt(InSource("Old.app")));
  EXPECT_THAT(sources_, ElementsAre(InSource("Old.app/Resources")));
}

TEST_F(ResolveRunSourceTest, IgnoresMissingResources) {
  MakeFolder(InSource("NoResources.app/Contents"));
  MakeFolder(InSource("Empty.app"));
  WriteFile(InSource("ResourcesFile.app/Contents/Resources"));
  for (const std::string name : {"NoResources.app", "Empty.app", "ResourcesFile.app"}) {
    ResolveRunSource(RefAt(InSource(name)));
  }
  EXPECT_THAT(sources_, IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(reports_, ElementsAre(InSource("NoResources.app") + ": no run, -43",
                                    InSource("Empty.app") + ": no run, -43",
                                    InSource("ResourcesFile.app") + ": no run, -43"));
}

TEST_F(ResolveRunSourceTest, IgnoresSingleFileApplication) {
  WriteFile(InSource("Program"));
  if (!SetFinderInfo(InSource("Program"), "APPL", 0)) GTEST_SKIP() << "needs extended attributes";
  ResolveRunSource(RefAt(InSource("Program")));
  EXPECT_THAT(sources_, IsEmpty());
  EXPECT_THAT(Messages(), IsEmpty());
  EXPECT_THAT(reports_, ElementsAre(InSource("Program") + ": no run, -43"));
}

TEST_F(ResolveRunSourceTest, PassesOnMissingSource) {
  MakeFolder(InSource("Tool.app"));
  const FSRef ref = RefAt(InSource("Tool.app"));
  ASSERT_EQ(0, rmdir(InSource("Tool.app").c_str()));
  int runs = 0;
  SetEngineHooks({.runAggregation = [&](const FSRef&) { ++runs; }});
  ResolveRunSource(ref);
  EXPECT_EQ(1, runs);
}

}  // namespace
}  // namespace tessary::test
