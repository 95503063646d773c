#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The forms in which a Mac, and who serves files to it, keeps an item's comment, besides the
// attribute of Linux programs. A form in which there is no comment, or one of no characters, which
// is what a Mac leaves of a comment that was taken away, counts for none when it is read.
namespace tessary {

struct CommentForm {
  const char* attribute;
  std::optional<std::u16string> (*read)(std::string_view value);
  // The attribute's value with that comment in place of the one in it; none where the form cannot
  // stand for one there, as in data that has no comment. Of a text that does not fit, it is the
  // empty one.
  std::optional<std::string> (*replace)(std::string_view value, std::u16string_view comment);
};

std::optional<std::u16string> ReadPropertyForm(std::string_view value);
std::optional<std::string> ReplacePropertyForm(std::string_view value, std::u16string_view comment);

// AppleDouble data, of which the table of attributes comes before the comment's entry. Its size and
// what else is in it stay as they are.
std::optional<std::u16string> ReadAppleDoubleComment(std::string_view value);
std::optional<std::string> ReplaceAppleDoubleComment(std::string_view value,
                                                     std::u16string_view comment);

// The one that counts first stands first. A ":" in the name of a stream comes to Samba as a
// character of the private use area, which it keeps or turns back.
inline constexpr std::array<CommentForm, 5> kCommentForms = {{
    {"user.com.apple.metadata:kMDItemFinderComment", ReadPropertyForm, ReplacePropertyForm},
    {"osx.com.apple.metadata:kMDItemFinderComment", ReadPropertyForm, ReplacePropertyForm},
    {"user.DosStream.com.apple.metadata:kMDItemFinderComment:$DATA", ReadPropertyForm,
     ReplacePropertyForm},
    {"user.DosStream.com.apple.metadata\uF022kMDItemFinderComment:$DATA", ReadPropertyForm,
     ReplacePropertyForm},
    {"user.org.netatalk.Metadata", ReadAppleDoubleComment, ReplaceAppleDoubleComment},
}};

// The form of the attribute of that name, or null.
const CommentForm* FindCommentForm(std::string_view attribute);

}  // namespace tessary
