#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// What the catalog knows of sidecars: the "._" files that a Mac leaves beside items on volumes that
// have no place for what it keeps of them. The names are those of mac_formats/apple_double.h.
namespace tessary {

// A record of a change to an item and its sidecar that is under way, or was when its maker died.
// Its name is this and a UUID (platform/linux/sidecars/sidecar_journal.h).
inline constexpr std::string_view kJournalEntryPrefix = ".tessary-pair-";
bool IsJournalEntryName(std::string_view name);

// Keeps in mind that an interned folder has been listed to its end, and of what a listing of it met
// a record: then what the record tells of is finished now, so that nothing half done outlives the
// next look at the folder.
void NoteListed(uint32_t folder, bool hasJournalEntry);

// Lists an interned folder for sidecars and records, unless it has been listed since it was
// interned. One that cannot be listed counts as one with some, so that each of its items is asked.
void ScanForSidecars(uint32_t folder);

// True when a sidecar lies in an interned folder that an item of the name would get there. Asks
// nothing where no "._" name has been seen in any folder, lists a folder once that has not been,
// and asks for nothing more where none is in it.
bool HasOrphanedSidecar(uint32_t folder, const std::string& name);

}  // namespace tessary
