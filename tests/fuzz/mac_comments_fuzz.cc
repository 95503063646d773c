#include <algorithm>

#include "platform/linux/mac_formats/apple_double.h"
#include "platform/linux/mac_formats/comment_forms.h"
#include "platform/linux/mac_formats/comment_plist.h"
#include "platform/linux/mac_formats/mac_text.h"
#include "platform/managers/text.h"
#include "tests/fuzz/fuzz.h"

// The forms of comments: a comment that is put into any of them is told by it, and AppleDouble data
// keeps what else is in it.
namespace tessary::test {
namespace {

void CheckText(const std::u16string& comment) {
  Require(ReadCommentPlist(WriteCommentPlist(comment)) == comment,
          "every text comes back from a property");
  const auto roman = WriteMacText(comment);
  Require(!roman || ReadMacText(*roman) == comment, "a text comes back from a Mac's characters");
}

void CheckProperty(std::string_view value, const std::u16string& comment) {
  const auto replaced = ReplacePropertyForm(value, comment);
  Require(replaced.has_value() == ReadCommentPlist(value).has_value(),
          "a comment can be replaced where there is one");
  if (!replaced) return;
  const auto told = ReadPropertyForm(*replaced);
  Require(comment.empty() ? !told : told == comment, "the comment is the one that was put there");
}

// What the data tells besides a comment and the table of attributes, part by part.
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
  Require(before && after, "the data can be read as before");
  Require(RestOf(*before) == RestOf(*after), "the other entries are as before");
  Require(OtherAttributesOf(*before) == OtherAttributesOf(*after),
          "the other attributes are as before");
  const auto told = ReadAppleDoubleComment(*replaced);
  // In an entry of its own, a comment ends where it has a zero.
  const bool isWhole = comment.find(u'\0') == std::u16string::npos;
  Require(!told || *told == comment || !isWhole, "the comment is the one that was put there");
}

}  // namespace

// The first line is the comment, the rest is the value that it goes into.
void TryInput(std::string_view input) {
  const std::u16string comment = Utf16FromUtf8(TakeInputLine(&input));
  CheckText(comment);
  for (const CommentForm& form : kCommentForms) {
    const auto told = form.read(input);
    Require(!told || !told->empty(), "a comment of no characters is none");
  }
  CheckProperty(input, comment);
  CheckAppleDouble(input, comment);
}

}  // namespace tessary::test
