#include "tests/support/journal_entries.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>

#include "platform/linux/changes/object_info.h"
#include "tests/support/temporary_folder.h"

namespace tessary::test {

std::string JournalEntryName(unsigned number) {
  std::array<char, 64> name = {};
  EXPECT_GT(std::snprintf(name.data(), name.size(), ".tessary-pair-0F6B0C58-6A4A-4C0E-9F0B-%012X",
                          number),
            0);
  return name.data();
}

ObjectFingerprint FingerprintAt(const std::string& path) {
  struct statx info = {};
  EXPECT_EQ(noErr, ReadObjectInfo(AT_FDCWD, path.c_str(), &info)) << path;
  return ObjectFingerprint::Of(info);
}

JournalEntry MakeJournalEntry(JournalOperation operation, const std::string& folder,
                              const std::string& name, const std::string& newName,
                              const std::string& otherFolder) {
  return {operation,
          name,
          newName,
          otherFolder,
          FingerprintAt(folder + "/" + name),
          FingerprintAt(folder + "/._" + name)};
}

void WriteJournalEntry(const std::string& folder, const JournalEntry& entry, unsigned number) {
  WriteFile(folder + "/" + JournalEntryName(number), FormatJournalEntry(entry));
}

}  // namespace tessary::test
