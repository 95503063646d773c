#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/managers/file_manager.h"
#include "tests/platform/linux/operations/references.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {
namespace {

TEST(FSCreateDirectoryUnicode, CreatesFolder) {
  const TemporaryFolder folder;
  FSRef made;
  ASSERT_EQ(noErr, FSCreateDirectoryUnicode(RefAt(folder.path()), u"image/jpeg", &made));
  EXPECT_EQ(folder / "image:jpeg", PathOf(made));
  EXPECT_TRUE(std::filesystem::is_directory(folder / "image:jpeg"));
}

TEST(FSCreateDirectoryUnicode, RejectsInvalidNames) {
  const TemporaryFolder folder;
  WriteFile(folder / "existing", "kept");
  const std::vector<std::pair<std::u16string, Status>> rows = {
      {u"existing", dupFNErr},
      {u"..", bdNamErr},
      {u"", bdNamErr},
      {std::u16string(256, u'x'), bdNamErr}};
  for (const auto& [name, expected] : rows) {
    FSRef made = RefAt(folder.path());
    EXPECT_EQ(expected, FSCreateDirectoryUnicode(RefAt(folder.path()), name, &made));
    const FSRef none;
    EXPECT_EQ(0, std::memcmp(&none, &made, sizeof(made)));
  }
  FSRef made;
  EXPECT_EQ(errFSNotAFolder, FSCreateDirectoryUnicode(RefAt(folder / "existing"), u"x", &made));
  EXPECT_EQ("kept", ReadFile(folder / "existing"));
}

}  // namespace
}  // namespace tessary::test
