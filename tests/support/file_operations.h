#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {

// The folder at the path, as the descriptor that operations on names take.
UniqueFd OpenFolder(const std::string& path);

// The place of the object at the path, whether or not there is one.
Place PlaceAt(const std::string& path);

// Copies or moves the object at the one path to the other, as the File Manager calls for it, and
// expects that no descriptor is left open.
Status CopyAt(const std::string& from, const std::string& to);
Status MoveAcrossAt(const std::string& from, const std::string& to);

// The identity of (`folder`, `name`), of the folder itself where the name is empty; fails the test
// where there is nothing.
Identity IdentityAt(int folder, const std::string& name);

// What lstat tells; fails the test where there is nothing.
struct stat LstatAt(const std::string& path);

// True when the two folders lie on different volumes.
bool AreOnDifferentVolumes(const std::string& first, const std::string& second);

// An extended attribute of the object itself, "(none)" where it has none of the name.
std::string AttributeAt(const std::string& path, const std::string& name);

// Makes a file of `size` bytes that is a hole but for `text` at its start.
void MakeSparseFile(const std::string& path, const std::string& text, off_t size);

// How many descriptors this process has open.
size_t CountOpenDescriptors();

}  // namespace tessary::test
