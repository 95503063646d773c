#pragma once

#include <string>
#include <string_view>

#include "platform/linux/catalog/volume.h"
#include "platform/managers/status.h"

namespace tessary {

// Converts a POSIX name to a catalog name: UTF-16, with "/" for each ":".
std::u16string CatalogName(std::string_view posixName);

// Converts a catalog name to a POSIX name on a filesystem: ":" for each "/", and the substitutes of
// NameOnVolume. A ":" stays ":". Returns noErr; bdNamErr for the names "", "." and "..", and for a
// name with NUL or with a lone surrogate that does not stand for a byte. `*posixName` is written on
// success only.
Status PosixName(std::u16string_view catalogName, const Volume& volume, std::string* posixName);

}  // namespace tessary
