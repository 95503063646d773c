#include "platform/linux/catalog/hfs_path.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace tessary::test {
namespace {

struct PathRow {
  std::string path;
  std::u16string hfsPath;
};

TEST(HfsPath, RoundTrips) {
  const std::array rows = {
      PathRow{"/", u"Linux"},
      PathRow{"/home", u"Linux:home"},
      PathRow{"/home/a.txt", u"Linux:home:a.txt"},
      PathRow{"/home/a:b", u"Linux:home:a/b"},
      PathRow{"/:/::", u"Linux:/://"},
      PathRow{"/a\nb", u"Linux:a\nb"},
      PathRow{"/.hidden..", u"Linux:.hidden.."},
      PathRow{"/\xFF\xC3", u"Linux:\xDCFF\xDCC3"},
      PathRow{"/\xF0\x9F\x98\x80\x80", u"Linux:\xD83D\xDE00\xDC80"},
      PathRow{"/\xED\xA0\x80", u"Linux:\xDCED\xDCA0\xDC80"},
      PathRow{"/Linux/Linux", u"Linux:Linux:Linux"},
      PathRow{"/" + std::string(255, 'x'), u"Linux:" + std::u16string(255, u'x')},
  };
  for (const PathRow& row : rows) {
    EXPECT_EQ(row.hfsPath, HfsPath(row.path)) << row.path;
    EXPECT_EQ(row.path, PosixPath(row.hfsPath)) << row.path;
    EXPECT_EQ(row.path, PosixPath(row.hfsPath + u':')) << row.path;
  }
}

TEST(PosixPath, RejectsInvalidPaths) {
  using namespace std::string_literals;
  const std::array paths = {
      u""s,          u":"s,        u"home:a"s,    u"linux:home"s,   u"Linux::"s,   u"Linux::a"s,
      u"Linux:a::"s, u"Linux:.."s, u"Linux:.:a"s, u"Linux:\xD800"s, u"Linux:a\0b"s};
  for (size_t i = 0; i < paths.size(); ++i) EXPECT_FALSE(PosixPath(paths[i])) << "row " << i;
}

}  // namespace
}  // namespace tessary::test
