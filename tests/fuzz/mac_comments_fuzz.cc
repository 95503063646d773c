#include <algorithm>

#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/mac_formats/comment_forms.h"
#include "platform/linux/mac_formats/comment_plist.h"
#include "platform/linux/mac_formats/mac_text.h"
#include "platform/managers/text.h"
#include "tests/fuzz/fuzz.h"

// The foreign forms of comments: a comment that is written can be read, and AppleDouble data keeps
// its other contents.
namespace tessary::test {
namespace {

void CheckText(const std::u16string& comment) {
  Require(ReadCommentPlist(WriteCommentPlist(comment)) == comment,
          "every text survives a round trip through a property list");
  const auto roman = WriteMacText(comment);
  Require(!roman || ReadMacText(*roman) == comment,
          "a text survives a round trip through Mac Roman");
}

void CheckProperty(std::string_view value, const std::u16string& comment) {
  const auto replaced = ReplacePropertyForm(value, comment);
  Require(replaced.has_value() == ReadCommentPlist(value).has_value(),
          "a comment can be replaced if there is one");
  if (!replaced) return;
  const auto read = ReadPropertyForm(*replaced);
  Require(comment.empty() ? !read : read == comment, "the comment is the one that was written");
}

// All entries except the comment and the table of attributes.
std::string RestOf(const AppleDouble& data) {
  std::string rest;
  for (uint32_t id = 0; id <= 16; ++id) {
    if (id == static_cast<uint32_t>(AppleDoubleEntry::kComment)) continue;
    const auto part = data.Read(static_cast<AppleDoubleEntry>(id));
    if (!part) continue;
    const bool isFinderInfo = id == static_cast<uint32_t>(AppleDoubleEntry::kFinderInfo);
    rest += std::to_string(id) + ":" + std::string(isFinderInfo ? part->substr(0, 32) : *part);
  }
  return rest;
}

std::string OtherAttributesOf(const AppleDouble& data) {
  std::string rest;
  for (const AppleDoubleAttribute& attribute : data.Attributes()) {
    if (attribute.name == "com.apple.metadata:kMDItemFinderComment") continue;
    rest += std::string(attribute.name) + "=" + std::string(attribute.value) + ";";
  }
  return rest;
}

void CheckAppleDouble(std::string_view value, const std::u16string& comment) {
  const auto replaced = ReplaceAppleDoubleComment(value, comment);
  if (!replaced) return;
  Require(replaced->size() == value.size(), "the data keeps its size");
  const auto before = AppleDouble::Parse(value);
  const auto after = AppleDouble::Parse(*replaced);
  Require(before && after, "the data can still be parsed");
  Require(RestOf(*before) == RestOf(*after), "the other entries are unchanged");
  Require(OtherAttributesOf(*before) == OtherAttributesOf(*after),
          "the other attributes are unchanged");
  const auto read = ReadAppleDoubleComment(*replaced);
  // The comment entry ends at the first NUL.
  const bool hasNul = comment.find(u'\0') != std::u16string::npos;
  Require(!read || *read == comment || hasNul, "the comment is the one that was written");
}

}  // namespace

// The first line is the comment, the rest the value into which it is written.
void TryInput(std::string_view input) {
  const std::u16string comment = Utf16FromUtf8(TakeInputLine(&input));
  CheckText(comment);
  for (const CommentForm& form : kCommentForms) {
    const auto read = form.read(input);
    Require(!read || !read->empty(), "an empty comment is reported as none");
  }
  CheckProperty(input, comment);
  CheckAppleDouble(input, comment);
}

}  // namespace tessary::test
