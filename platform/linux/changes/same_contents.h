#pragma once

#include <string>

namespace tessary {

// The object `name` in the folder open as `folder`.
struct NamedObject {
  int folder = -1;
  std::string name;
};

// Returns true if both objects are files with the same bytes, links with the same target, or
// folders with the same names and, below them, the same contents. Modes, dates and attributes are
// not compared. Follows no link. Returns false if anything cannot be read.
bool HasSameContents(const NamedObject& first, const NamedObject& second);

}  // namespace tessary
