#include "programs/cli/markup.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/managers/text.h"

namespace tessary {
namespace {

constexpr std::string_view kWhitespace = " \t\r\n";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::array<std::string_view, 5> kEntities = {"amp", "lt", "gt", "quot", "apos"};

bool IsLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }

bool IsDigit(char byte) { return byte >= '0' && byte <= '9'; }

bool IsHexDigit(char byte) {
  return IsDigit(byte) || (byte >= 'a' && byte <= 'f') || (byte >= 'A' && byte <= 'F');
}

// Every character beyond ASCII is accepted in names.
bool StartsName(char byte) {
  return IsLetter(byte) || byte == '_' || byte == ':' || static_cast<unsigned char>(byte) >= 0x80;
}

bool ContinuesName(char byte) {
  return StartsName(byte) || IsDigit(byte) || byte == '-' || byte == '.';
}

bool IsControlCharacter(char byte) {
  const auto code = static_cast<unsigned char>(byte);
  return code < 0x20 && kWhitespace.find(byte) == std::string_view::npos;
}

// True for the text between "&" and ";" of a known entity or a character reference.
bool IsReference(std::string_view reference) {
  if (!reference.starts_with('#')) return std::ranges::count(kEntities, reference) != 0;
  reference.remove_prefix(1);
  const bool isHexadecimal = reference.starts_with('x');
  if (isHexadecimal) reference.remove_prefix(1);
  return !reference.empty() && std::ranges::all_of(reference, isHexadecimal ? IsHexDigit : IsDigit);
}

// Reads a document from its beginning to its end. Each step returns false if it sets `problem_`.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  bool Parse();
  std::vector<MarkupElement> TakeElements() { return std::move(elements_); }
  std::string DescribeProblem() const;

 private:
  bool Fail(size_t at, std::string reason);
  bool StartsWith(std::string_view token) const { return text_.substr(at_).starts_with(token); }
  bool SkipPast(std::string_view token, const char* what);
  bool ParseText();
  bool ParseDocumentType();
  bool ParseMarkupItem();
  bool ParseStartTag();
  bool ParseEndTag();
  bool ParseAttribute();
  void SkipWhitespace();
  std::string_view TakeName();
  bool CheckReferences(size_t begin, size_t end);

  std::string_view text_;
  size_t at_ = 0;
  std::vector<MarkupElement> elements_;
  std::vector<size_t> open_;  // indexes of the open elements, the outermost first
  size_t problemAt_ = 0;
  std::string problem_;
};

bool Parser::Fail(size_t at, std::string reason) {
  problemAt_ = at;
  problem_ = std::move(reason);
  return false;
}

std::string Parser::DescribeProblem() const {
  const std::string_view before = text_.substr(0, problemAt_);
  return "line " + std::to_string(1 + std::ranges::count(before, '\n')) + ": " + problem_;
}

bool Parser::Parse() {
  if (!IsUtf8(text_)) return Fail(0, "not valid UTF-8");
  const auto control = std::ranges::find_if(text_, IsControlCharacter);
  if (control != text_.end()) {
    return Fail(static_cast<size_t>(control - text_.begin()), "control character");
  }
  if (text_.starts_with(kByteOrderMark)) at_ = kByteOrderMark.size();
  while (at_ < text_.size()) {
    if (text_[at_] == '<' ? !ParseMarkupItem() : !ParseText()) return false;
  }
  if (!open_.empty()) {
    const MarkupElement& open = elements_[open_.back()];
    return Fail(open.begin, "unclosed element <" + std::string(open.name) + ">");
  }
  return !elements_.empty() || Fail(0, "no element");
}

bool Parser::SkipPast(std::string_view token, const char* what) {
  const size_t found = text_.find(token, at_);
  if (found == std::string_view::npos) return Fail(at_, std::string("unterminated ") + what);
  at_ = found + token.size();
  return true;
}

bool Parser::ParseText() {
  const size_t begin = at_;
  at_ = std::min(text_.find('<', at_), text_.size());
  if (!open_.empty()) return CheckReferences(begin, at_);
  const size_t stray = text_.substr(0, at_).find_first_not_of(kWhitespace, begin);
  return stray == std::string_view::npos || Fail(stray, "text outside the root element");
}

bool Parser::ParseMarkupItem() {
  if (StartsWith("<!--")) {
    at_ += 4;
    return SkipPast("-->", "comment");
  }
  if (StartsWith("<?")) return SkipPast("?>", "processing instruction");
  if (StartsWith("<![CDATA[")) {
    if (open_.empty()) return Fail(at_, "text outside the root element");
    return SkipPast("]]>", "CDATA section");
  }
  if (StartsWith("<!DOCTYPE")) return ParseDocumentType();
  return StartsWith("</") ? ParseEndTag() : ParseStartTag();
}

// A ">" within brackets, quotes and comments does not end the declaration.
bool Parser::ParseDocumentType() {
  const size_t begin = at_;
  if (!elements_.empty()) return Fail(begin, "DOCTYPE must precede the root element");
  size_t depth = 0;
  while (at_ < text_.size()) {
    if (StartsWith("<!--")) {
      at_ += 4;
      if (!SkipPast("-->", "comment")) return false;
      continue;
    }
    const char byte = text_[at_++];
    if (byte == '[' || byte == '<') ++depth;
    if (byte == ']' || byte == '>') {
      if (depth == 0) break;
      if (--depth == 0) return true;
    }
    if ((byte == '"' || byte == '\'') && !SkipPast({&byte, 1}, "quoted text")) return false;
  }
  return Fail(begin, "unterminated DOCTYPE");
}

bool Parser::ParseStartTag() {
  MarkupElement element = {.begin = at_++};
  element.name = TakeName();
  if (element.name.empty()) return Fail(element.begin, "invalid tag name");
  if (open_.empty() && !elements_.empty()) {
    return Fail(element.begin, "second root element <" + std::string(element.name) + ">");
  }
  if (!open_.empty()) element.parent = open_.back();
  SkipWhitespace();
  while (at_ < text_.size() && StartsName(text_[at_])) {
    if (!ParseAttribute()) return false;
    SkipWhitespace();
  }
  const bool isEmpty = StartsWith("/>");
  if (!isEmpty && !StartsWith(">")) {
    return Fail(element.begin, "unterminated tag <" + std::string(element.name) + ">");
  }
  at_ += isEmpty ? 2 : 1;
  element.contentBegin = element.contentEnd = element.end = at_;
  if (!isEmpty) open_.push_back(elements_.size());
  elements_.push_back(element);
  return true;
}

bool Parser::ParseEndTag() {
  const size_t begin = at_;
  at_ += 2;
  const std::string_view name = TakeName();
  SkipWhitespace();
  if (!StartsWith(">")) return Fail(begin, "unterminated tag </" + std::string(name) + ">");
  ++at_;
  if (open_.empty() || elements_[open_.back()].name != name) {
    return Fail(begin, "unmatched end tag </" + std::string(name) + ">");
  }
  elements_[open_.back()].contentEnd = begin;
  elements_[open_.back()].end = at_;
  open_.pop_back();
  return true;
}

bool Parser::ParseAttribute() {
  const size_t begin = at_;
  const std::string_view name = TakeName();
  SkipWhitespace();
  const bool hasValue = StartsWith("=");
  if (hasValue) ++at_;
  SkipWhitespace();
  const char quote = at_ < text_.size() ? text_[at_] : '\0';
  if (!hasValue || (quote != '"' && quote != '\'')) {
    return Fail(begin, "attribute " + std::string(name) + " has no quoted value");
  }
  const size_t value = ++at_;
  if (!SkipPast({&quote, 1}, "attribute value")) return false;
  if (text_.substr(value, at_ - 1 - value).find('<') != std::string_view::npos) {
    return Fail(begin, "\"<\" in the value of attribute " + std::string(name));
  }
  return CheckReferences(value, at_ - 1);
}

void Parser::SkipWhitespace() {
  at_ = std::min(text_.find_first_not_of(kWhitespace, at_), text_.size());
}

std::string_view Parser::TakeName() {
  const size_t begin = at_;
  if (at_ < text_.size() && StartsName(text_[at_])) ++at_;
  while (at_ > begin && at_ < text_.size() && ContinuesName(text_[at_])) ++at_;
  return text_.substr(begin, at_ - begin);
}

bool Parser::CheckReferences(size_t begin, size_t end) {
  const std::string_view text = text_.substr(0, end);
  for (size_t at = text.find('&', begin); at != std::string_view::npos; at = text.find('&', at)) {
    const size_t semicolon = text.find(';', at);
    if (semicolon == std::string_view::npos ||
        !IsReference(text.substr(at + 1, semicolon - at - 1))) {
      return Fail(at, "unknown entity");
    }
    at = semicolon;
  }
  return true;
}

}  // namespace

bool ParseMarkup(std::string_view text, std::vector<MarkupElement>* elements,
                 std::string* problem) {
  Parser parser(text);
  if (!parser.Parse()) {
    *problem = parser.DescribeProblem();
    return false;
  }
  *elements = parser.TakeElements();
  return true;
}

}  // namespace tessary
