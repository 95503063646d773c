#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The forms in which Macs and their file servers store an item's comment, apart from the attribute
// of Linux programs. An empty comment reads as none: a Mac leaves it when a comment is deleted.
namespace tessary {

struct CommentForm {
  const char* attribute;
  // Returns the comment in the attribute's value; none if there is none or the value is malformed.
  std::optional<std::u16string> (*read)(std::string_view value);
  // Returns the attribute's value with its comment replaced; none if the value contains no comment
  // that could be replaced. If the new comment does not fit, the result contains the empty comment.
  std::optional<std::string> (*replace)(std::string_view value, std::u16string_view comment);
};

// A binary property list (comment_plist.h).
std::optional<std::u16string> ReadPropertyForm(std::string_view value);
std::optional<std::string> ReplacePropertyForm(std::string_view value, std::u16string_view comment);

// AppleDouble data. The comment in its table of attributes takes precedence over the comment entry;
// both are replaced. Everything else and the size stay the same.
std::optional<std::u16string> ReadAppleDoubleComment(std::string_view value);
std::optional<std::string> ReplaceAppleDoubleComment(std::string_view value,
                                                     std::u16string_view comment);

// In order of precedence. A Mac sends the ":" in a stream's name as the private-use character
// U+F022. Depending on its configuration, Samba stores that character or converts it back.
inline constexpr std::array<CommentForm, 5> kCommentForms = {{
    {"user.com.apple.metadata:kMDItemFinderComment", ReadPropertyForm, ReplacePropertyForm},
    {"osx.com.apple.metadata:kMDItemFinderComment", ReadPropertyForm, ReplacePropertyForm},
    {"user.DosStream.com.apple.metadata:kMDItemFinderComment:$DATA", ReadPropertyForm,
     ReplacePropertyForm},
    {"user.DosStream.com.apple.metadata\uF022kMDItemFinderComment:$DATA", ReadPropertyForm,
     ReplacePropertyForm},
    {"user.org.netatalk.Metadata", ReadAppleDoubleComment, ReplaceAppleDoubleComment},
}};

// Returns the form of the attribute of that name, or null.
const CommentForm* FindCommentForm(std::string_view attribute);

}  // namespace tessary
