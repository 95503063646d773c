#include "platform/linux/mac_formats/comment_forms.h"

#include <algorithm>

#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/mac_formats/comment_plist.h"
#include "platform/linux/mac_formats/mac_text.h"

namespace tessary {
namespace {

constexpr std::string_view kPropertyName = "com.apple.metadata:kMDItemFinderComment";

std::optional<std::u16string> NoneIfEmpty(std::optional<std::u16string> text) {
  return text && text->empty() ? std::nullopt : text;
}

std::optional<AppleDoubleAttribute> FindProperty(const AppleDouble& data) {
  for (const AppleDoubleAttribute& attribute : data.Attributes()) {
    if (attribute.name == kPropertyName) return attribute;
  }
  return std::nullopt;
}

// Calls `replace` with the first value, or with the second if the first is none or does not fit.
// Returns false if neither fits.
template <typename Replace>
bool ReplaceWithFirstThatFits(const std::array<std::optional<std::string>, 2>& values,
                              Replace replace) {
  return std::ranges::any_of(values, [&](const auto& value) { return value && replace(*value); });
}

}  // namespace

std::optional<std::u16string> ReadPropertyForm(std::string_view value) {
  return NoneIfEmpty(ReadCommentPlist(value));
}

std::optional<std::string> ReplacePropertyForm(std::string_view value,
                                               std::u16string_view comment) {
  if (!ReadCommentPlist(value)) return std::nullopt;
  std::string replaced = WriteCommentPlist(comment);
  // If the value is still a complete list without its last byte, that byte is the zero that Samba
  // appends to a stream. It is kept.
  if (!ReadCommentPlist(value.substr(0, value.size() - 1))) return replaced;
  return replaced += '\0';
}

std::optional<std::u16string> ReadAppleDoubleComment(std::string_view value) {
  const std::optional<AppleDouble> data = AppleDouble::Parse(value);
  if (!data) return std::nullopt;
  if (const auto property = FindProperty(*data)) {
    if (auto text = ReadPropertyForm(property->value)) return text;
  }
  const std::optional<std::string_view> entry = data->Read(AppleDoubleEntry::kComment);
  if (!entry) return std::nullopt;
  // A comment that is shorter than its entry is terminated by a zero.
  return NoneIfEmpty(ReadMacText(entry->substr(0, entry->find('\0'))));
}

std::optional<std::string> ReplaceAppleDoubleComment(std::string_view value,
                                                     std::u16string_view comment) {
  const std::optional<AppleDouble> data = AppleDouble::Parse(value);
  if (!data) return std::nullopt;
  std::string replaced(value);
  const std::optional<AppleDoubleAttribute> property = FindProperty(*data);
  const bool hasProperty = property && ReadCommentPlist(property->value);
  const bool hasEntry = !data->Read(AppleDoubleEntry::kComment).value_or("").empty();
  if (!hasProperty && !hasEntry) return std::nullopt;
  const auto replaceProperty = [&replaced](const std::string& list) {
    return ReplaceAttribute(kPropertyName, list, &replaced);
  };
  const auto replaceEntry = [&replaced](const std::string& text) {
    return ReplaceComment(text, &replaced);
  };
  // Both are replaced. A Mac that reads the other one would still show the old comment.
  if (hasProperty && !ReplaceWithFirstThatFits({WriteCommentPlist(comment), WriteCommentPlist({})},
                                               replaceProperty)) {
    return std::nullopt;
  }
  if (hasEntry && !ReplaceWithFirstThatFits({WriteMacText(comment), ""}, replaceEntry))
    return std::nullopt;
  return replaced;
}

const CommentForm* FindCommentForm(std::string_view attribute) {
  const auto* found = std::ranges::find_if(
      kCommentForms, [&](const CommentForm& form) { return attribute == form.attribute; });
  return found == kCommentForms.end() ? nullptr : found;
}

}  // namespace tessary
