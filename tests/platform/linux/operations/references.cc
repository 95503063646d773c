#include "tests/platform/linux/operations/references.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/support/temporary_folder.h"

namespace tessary::test {

std::string PathOf(const FSRef& ref) {
  std::array<char, 4096> buffer = {};
  EXPECT_EQ(noErr, FSRefMakePath(ref, buffer.data(), buffer.size()));
  return buffer.data();
}

void ListFolder(const std::string& path) {
  FSIterator iterator;
  ASSERT_EQ(noErr, FSOpenIterator(RefAt(path), &iterator));
  std::array<FSRef, 10> children;
  size_t count = 0;
  bool changed = false;
  EXPECT_EQ(errFSNoMoreItems,
            FSGetCatalogInfoBulk(*iterator, children.size(), &count, &changed, children.data()));
}

}  // namespace tessary::test
