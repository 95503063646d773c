#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tessary {

inline constexpr size_t kNoElement = static_cast<size_t>(-1);

// An element of an XML document. Views and positions refer to the text that was parsed.
struct MarkupElement {
  std::string_view name = {};
  size_t parent = kNoElement;  // the index of the element around it
  size_t begin = 0;            // of its start tag
  size_t contentBegin = 0;     // after its start tag
  size_t contentEnd = 0;       // of its end tag; contentBegin if it has none
  size_t end = 0;              // after its last tag
};

// Finds the elements of an XML document in UTF-8, in the order of their start tags; the root
// element comes first. Returns false if the text is not well-formed; `*problem` is then the line
// and the reason. `*elements` is written on success only. A document type declaration is skipped
// unread, so that only the five predefined entities are known.
bool ParseMarkup(std::string_view text, std::vector<MarkupElement>* elements, std::string* problem);

}  // namespace tessary
