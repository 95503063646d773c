#pragma once

#include <optional>
#include <string>
#include <string_view>

// The property in which a Mac stores an item's comment: a binary property list whose root object is
// a text.
namespace tessary {

// Returns the text of the list; none if the value is not such a list. A zero byte after the list,
// which Samba appends to a stream, is ignored.
std::optional<std::u16string> ReadCommentPlist(std::string_view value);

// Returns a list that contains the text, as ASCII if possible, otherwise as UTF-16.
std::string WriteCommentPlist(std::u16string_view text);

}  // namespace tessary
