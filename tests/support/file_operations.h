#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/linux/catalog/catalog.h"
#include "platform/linux/changes/copy_item.h"
#include "platform/linux/descriptors/unique_fd.h"

namespace tessary::test {

// Opens the folder at the path for operations on names in it (O_PATH).
UniqueFd OpenFolder(const std::string& path);

// The place of the object at the path, which need not exist.
Place PlaceAt(const std::string& path);

// Copies or moves the object as the File Manager does, and expects that no descriptor stays open.
Status CopyAt(const std::string& from, const std::string& to);
Status MoveAcrossAt(const std::string& from, const std::string& to);

// Recovers the folder at the path as a new run does.
void RecoverFolder(const std::string& path);

// The identity of `name` in `folder`, or of the folder if the name is empty. Fails the test if the
// object does not exist.
Identity IdentityAt(int folder, const std::string& name);

// The result of lstat(2). Fails the test if the object does not exist.
struct stat LstatAt(const std::string& path);

// Returns whether the two folders are on different filesystems.
bool AreOnDifferentVolumes(const std::string& first, const std::string& second);

// The value of an extended attribute, or "(none)". Does not follow links.
std::string AttributeAt(const std::string& path, const std::string& name);

// Creates a file of `size` bytes: `text`, then a hole.
void MakeSparseFile(const std::string& path, const std::string& text, off_t size);

// The number of descriptors that this process has open.
size_t CountOpenDescriptors();

}  // namespace tessary::test
