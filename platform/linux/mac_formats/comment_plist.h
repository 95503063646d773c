#pragma once

#include <optional>
#include <string>
#include <string_view>

// The property in which a Mac keeps an item's comment: a binary property list that holds one text.
// Only such lists are read, and of them only that text; a list of anything else is none.
namespace tessary {

// The text of the list. A zero behind the list, which Samba adds to what it keeps as a stream, is
// no part of it.
std::optional<std::u16string> ReadCommentPlist(std::string_view value);

// The list that holds the text: as ASCII where it is, else as UTF-16.
std::string WriteCommentPlist(std::u16string_view text);

}  // namespace tessary
