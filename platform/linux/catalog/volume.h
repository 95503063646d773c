#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessary {

// What the file manager must know of a volume before it can rely on it.
struct Volume {
  // A directory entry's inode number and kind are those that statx would tell, for all but folders.
  bool hasReliableEntries = false;
  // The characters that Windows does not allow in a name are refused.
  bool hasWindowsNames = false;
  // The driver answers for the attributes of mac_formats/date_forms.h that it does not list.
  bool hasNtfsDates = false;
  bool hasCifsDates = false;
  // Writing cannot fail as late as when the file is closed, as it can on what is driven elsewhere.
  bool hasImmediateWriteErrors = false;
  // What the kernel tells of a file is how it is, and not how it was when whatever drives the
  // volume was last asked.
  bool hasCoherentAttributes = false;
  // A lease is refused because of somebody who writes, and for no other reason. Network file
  // systems refuse it with the same error whoever has the file open, and know nothing of other
  // machines.
  bool hasReliableLeases = false;
  // Syncing a file makes the names durable that it has got by then, too.
  bool syncsNamesWithFile = false;
  // A sync writes down one object and little else. A link's date, which cannot be synced by itself,
  // is then not durable with the folder that the link lies in, but with the whole volume alone.
  bool syncsObjectsSeparately = false;
};

// The volume of the device, asked once in a run through a descriptor of anything on it, or a path
// that leads to something on it. Valid until all are forgotten.
const Volume& VolumeOf(uint32_t device, int descriptor);
const Volume& VolumeAt(uint32_t device, const std::string& path);

// Forgets what was asked, as a device number that is free is given to the next volume.
void ForgetVolumes();

// The name under which an object named `name` can stand on a volume: the same, or with "_" in place
// of each character, trailing blank or trailing dot that the volume refuses.
std::string NameOnVolume(std::string_view name, const Volume& volume);

}  // namespace tessary
