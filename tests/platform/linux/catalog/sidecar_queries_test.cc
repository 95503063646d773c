#include <gtest/gtest.h>

#include <string>

#include "platform/linux/catalog/sidecar_lookup.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/file_manager.h"
#include "tests/support/file_operations.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

// The folders "from" and "to". In "from" are "with", which has a sidecar, and "without".
class FSIsSidecarNameUsedTest : public testing::Test {
 protected:
  FSIsSidecarNameUsedTest() {
    for (const std::string name : {"with", "without", "._with"})
      WriteFile(folder_ / ("from/" + name));
    for (const std::string name : {"._with", "._without", "._new:name"}) {
      WriteFile(folder_ / ("to/" + name));
    }
  }

  // Has the catalog see the sidecars in "from".
  void Scan() const { ScanForSidecars(ReferenceOf(RefAt(folder_ / "from/with")).parent); }

  bool Ask(const std::string& item, std::u16string_view name) const {
    return FSIsSidecarNameUsed(RefAt(folder_ / ("from/" + item)), RefAt(folder_ / "to"), name);
  }

  TemporaryFolder folder_;
  const NSAutoreleasePool pool_;
};

TEST_F(FSIsSidecarNameUsedTest, IsTrueForNameOfExistingObject) {
  Scan();
  EXPECT_TRUE(Ask("with", u"with"));
  EXPECT_TRUE(Ask("with", u"new/name"));
  EXPECT_FALSE(Ask("with", u"free"));
}

TEST_F(FSIsSidecarNameUsedTest, IsFalseForItemWithoutSidecar) {
  Scan();
  EXPECT_FALSE(Ask("without", u"without"));
  EXPECT_FALSE(Ask("._with", u"with")) << "a sidecar has none of its own";
  MakeFolder(folder_ / "from/._without");
  EXPECT_FALSE(Ask("without", u"without")) << "only a file is a sidecar";
}

TEST_F(FSIsSidecarNameUsedTest, IsFalseIfNoSidecarWasSeen) { EXPECT_FALSE(Ask("with", u"with")); }

TEST_F(FSIsSidecarNameUsedTest, IsFalseIfItCannotBeRead) {
  Scan();
  const FSRef item = RefAt(folder_ / "from/with");
  EXPECT_FALSE(FSIsSidecarNameUsed(FSRef{}, RefAt(folder_ / "to"), u"with"));
  EXPECT_FALSE(FSIsSidecarNameUsed(item, FSRef{}, u"with"));
  EXPECT_FALSE(FSIsSidecarNameUsed(item, item, u"with"));
  EXPECT_FALSE(Ask("with", u""));
  EXPECT_FALSE(Ask("with", std::u16string(254, u'x')));
}

}  // namespace
}  // namespace tessary::test
