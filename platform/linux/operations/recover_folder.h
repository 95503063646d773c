#pragma once

#include <string>

namespace tessary {

// Does what FSRecoverFolder does, in the folder open for reading as `folder`. `path` is the
// folder's path, for the log. Sets `*hasSidecars` to whether a "._" name may be in the folder.
// Returns false, and changes nothing, if the folder cannot be read.
bool RecoverOpenFolder(int folder, const std::string& path, bool* hasSidecars);

}  // namespace tessary
