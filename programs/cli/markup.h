#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tessary {

inline constexpr size_t kNoElement = static_cast<size_t>(-1);

// An element of an XML document. The views and positions are of the text that was parsed.
struct MarkupElement {
  std::string_view name = {};
  size_t parent = kNoElement;  // the index of the element around it
  size_t begin = 0;            // of its start tag
  size_t contentBegin = 0;     // behind its start tag
  size_t contentEnd = 0;       // of its end tag; contentBegin for an element without one
  size_t end = 0;              // behind its last tag
};

// Finds the elements of an XML document in UTF-8, in the order of their start tags: one outermost
// element at least. False where the text is not well-formed; `*problem` is then why, with the line.
// `*elements` is written on success only. A document type declaration is passed over unread, so
// that no entity but XML's own five is known.
bool ParseMarkup(std::string_view text, std::vector<MarkupElement>* elements, std::string* problem);

}  // namespace tessary
