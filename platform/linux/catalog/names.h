#pragma once

#include <string>
#include <string_view>

#include "platform/linux/catalog/volume.h"
#include "platform/managers/status.h"

namespace tessary {

// The catalog name of a POSIX name: UTF-16, with "/" where the POSIX name has ":".
std::u16string CatalogName(std::string_view posixName);

// The POSIX name of a catalog name on a volume: with ":" where the catalog name has "/", and with
// the volume's substitutes. Answers noErr, or bdNamErr for the names "", "." and ".." and for one
// with NUL or with a lone surrogate that stands for no byte; `*posixName` is then untouched.
Status PosixName(std::u16string_view catalogName, const Volume& volume, std::string* posixName);

}  // namespace tessary
