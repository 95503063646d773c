#pragma once

#include <string>

#include "platform/linux/sidecars/sidecar_journal.h"

// Journal entries as a crashed process leaves them.
namespace tessary::test {

// The name of a journal entry; different numbers give different names.
std::string JournalEntryName(unsigned number = 0);

// The fingerprint of the object at the path; fails the test where there is nothing.
ObjectFingerprint FingerprintAt(const std::string& path);

// The entry of an item and its sidecar, both lying in `folder`, that become `newName` in
// `otherFolder`.
JournalEntry MakeJournalEntry(JournalOperation operation, const std::string& folder,
                              const std::string& name, const std::string& newName,
                              const std::string& otherFolder);

// Writes an entry into a folder. Nobody holds its lock.
void WriteJournalEntry(const std::string& folder, const JournalEntry& entry, unsigned number = 0);

}  // namespace tessary::test
