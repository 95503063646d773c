#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "platform/managers/apple_events.h"

namespace tessary {
namespace {

using Code = AEBuildErrorCode;

// Bounds the recursion of the parser, so that a text of many "{" cannot overflow the stack.
constexpr int kMaxNesting = 32;

AEDesc MakeDesc(DescType type, const void* data, size_t size) {
  AEDesc desc;
  desc.descriptorType = type;
  const auto* bytes = static_cast<const unsigned char*>(data);
  if (size > 0) desc.bytes.assign(bytes, bytes + size);
  return desc;
}

template <typename Value>
AEDesc MakeValue(DescType type, Value value) {
  return MakeDesc(type, &value, sizeof(value));
}

AEDesc MakeRecord(DescType type) {
  AEDesc record;
  record.descriptorType = type;
  record.form = AEDesc::Form::kRecord;
  return record;
}

void Append(AEDesc* record, AEKeyword keyword, AEDesc value) {
  record->items.push_back({keyword, std::move(value)});
}

bool HasKeyword(const AEDesc& record, AEKeyword keyword) {
  return std::ranges::find(record.items, keyword, &AEKeyDesc::keyword) != record.items.end();
}

// Returns 1 to 32767 in turn, so that no two of the last 32767 events share a number.
AEReturnID MakeReturnID() {
  static AEReturnID last = 0;
  last = last == std::numeric_limits<AEReturnID>::max() ? AEReturnID{1} : AEReturnID(last + 1);
  return last;
}

AppleEvent MakeEvent(AEEventClass eventClass, AEEventID eventID, AEDesc target, AEReturnID returnID,
                     AETransactionID transactionID) {
  if (returnID == kAutoGenerateReturnID) returnID = MakeReturnID();
  AppleEvent event = MakeRecord(typeAppleEvent);
  event.attributes.reserve(5);
  event.attributes.push_back({keyEventClassAttr, MakeValue(typeType, eventClass)});
  event.attributes.push_back({keyEventIDAttr, MakeValue(typeType, eventID)});
  event.attributes.push_back({keyAddressAttr, std::move(target)});
  event.attributes.push_back({keyReturnIDAttr, MakeValue<int32_t>(typeSInt32, returnID)});
  event.attributes.push_back({keyTransactionIDAttr, MakeValue(typeSInt32, transactionID)});
  return event;
}

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsWhitespace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsPunctuation(char c) { return std::string_view("@(){}:,'").find(c) != std::string::npos; }

// Parses a parameter text in one pass. A method that returns false or none has set error().
class ParameterParser {
 public:
  ParameterParser(std::string_view text, std::span<const AEDesc* const> substitutes)
      : text_(text), substitutes_(substitutes) {}

  bool ReadParameters(AppleEvent* event) {
    if (IsAtEnd()) return true;
    if (!ReadFields(event, 0)) return false;
    return IsAtEnd() || Fail(Code::aeBuildSyntaxNoEOF);
  }

  // Returns true if the text has as many "@" as there are substitutes.
  bool UsedAllSubstitutes() const { return used_ == substitutes_.size(); }

  const AEBuildError& error() const { return error_; }

 private:
  // Sets the error at the next character. A text that ends there, or a character that no syntax
  // uses, is reported as such instead of `code`.
  bool Fail(Code code) {
    if (IsAtEnd()) {
      code = Code::aeBuildSyntaxBadEOF;
    } else if (!IsLetter(text_[position_]) && !IsDigit(text_[position_]) &&
               !IsPunctuation(text_[position_])) {
      code = Code::aeBuildSyntaxBadToken;
    }
    return FailAt(position_, code);
  }

  bool FailAt(size_t position, Code code) {
    error_ = {code, position};
    return false;
  }

  void SkipWhitespace() {
    while (position_ < text_.size() && IsWhitespace(text_[position_])) ++position_;
  }

  bool IsAtEnd() {
    SkipWhitespace();
    return position_ == text_.size();
  }

  bool IsNext(char c) { return !IsAtEnd() && text_[position_] == c; }

  bool Take(char c) {
    if (!IsNext(c)) return false;
    ++position_;
    return true;
  }

  std::optional<uint32_t> ReadQuotedCode();
  std::optional<uint32_t> ReadCode(Code missing);
  bool ReadFields(AEDesc* record, int depth);
  bool ReadValue(AEDesc* value, int depth);
  bool ReadParenthesis(std::optional<DescType> type, AEDesc* value);
  bool ReadRecord(DescType type, AEDesc* value, int depth);
  void Substitute(AEDesc* value);

  const std::string_view text_;
  const std::span<const AEDesc* const> substitutes_;
  size_t position_ = 0;
  size_t used_ = 0;
  AEBuildError error_;
};

uint32_t CodeOf(std::string_view characters) {
  uint32_t code = 0;
  for (size_t i = 0; i < 4; ++i) {
    const char character = i < characters.size() ? characters[i] : ' ';
    code = code << 8U | static_cast<unsigned char>(character);
  }
  return code;
}

std::optional<uint32_t> ParameterParser::ReadQuotedCode() {
  const size_t start = position_ + 1;
  const size_t end = text_.find('\'', start);
  if (end == std::string_view::npos) {
    FailAt(position_, Code::aeBuildSyntaxMissingQuote);
    return std::nullopt;
  }
  if (end - start != 4) {
    FailAt(position_, Code::aeBuildSyntaxBadData);
    return std::nullopt;
  }
  position_ = end + 1;
  return CodeOf(text_.substr(start, 4));
}

// Reads a bare or quoted four-character code; `missing` is the error if there is none.
std::optional<uint32_t> ParameterParser::ReadCode(Code missing) {
  if (IsNext('\'')) return ReadQuotedCode();
  if (IsAtEnd() || !IsLetter(text_[position_])) {
    Fail(missing);
    return std::nullopt;
  }
  const size_t start = position_;
  while (position_ < text_.size() && (IsLetter(text_[position_]) || IsDigit(text_[position_])))
    ++position_;
  if (position_ - start > 4) {
    FailAt(start, Code::aeBuildSyntaxBadData);
    return std::nullopt;
  }
  return CodeOf(text_.substr(start, position_ - start));
}

bool ParameterParser::ReadFields(AEDesc* record, int depth) {
  do {
    SkipWhitespace();
    const size_t start = position_;
    const std::optional<AEKeyword> keyword = ReadCode(Code::aeBuildSyntaxNoKey);
    if (!keyword) return false;
    if (HasKeyword(*record, *keyword)) return FailAt(start, Code::aeBuildSyntaxNoKey);
    if (!Take(':')) return Fail(Code::aeBuildSyntaxNoColon);
    AEDesc value;
    if (!ReadValue(&value, depth)) return false;
    Append(record, *keyword, std::move(value));
  } while (Take(','));
  return true;
}

bool ParameterParser::ReadValue(AEDesc* value, int depth) {
  if (depth == kMaxNesting) return FailAt(position_, Code::aeBuildSyntaxBadDesc);
  if (Take('@')) {
    Substitute(value);
    return true;
  }
  if (IsNext('(')) return ReadParenthesis(std::nullopt, value);
  if (IsNext('{')) return ReadRecord(typeAERecord, value, depth);
  const std::optional<uint32_t> code = ReadCode(Code::aeBuildSyntaxBadDesc);
  if (!code) return false;
  if (IsNext('(')) return ReadParenthesis(code, value);
  if (IsNext('{')) return ReadRecord(*code, value, depth);
  *value = MakeValue(typeEnumerated, *code);
  return true;
}

// Reads "(CODE)" after a type, and "(@)" without one.
bool ParameterParser::ReadParenthesis(std::optional<DescType> type, AEDesc* value) {
  if (!Take('(')) return Fail(Code::aeBuildSyntaxBadDesc);
  if (type) {
    const std::optional<uint32_t> code = ReadCode(Code::aeBuildSyntaxBadData);
    if (!code) return false;
    *value = MakeValue(*type, *code);
  } else {
    if (!Take('@')) return Fail(Code::aeBuildSyntaxBadData);
    Substitute(value);
  }
  return Take(')') || Fail(Code::aeBuildSyntaxNoCloseParen);
}

bool ParameterParser::ReadRecord(DescType type, AEDesc* value, int depth) {
  if (!Take('{')) return Fail(Code::aeBuildSyntaxBadDesc);
  *value = MakeRecord(type);
  if (Take('}')) return true;
  if (!ReadFields(value, depth + 1)) return false;
  return Take('}') || Fail(Code::aeBuildSyntaxNoCloseBrace);
}

// Counts also an "@" without a substitute, so that UsedAllSubstitutes() reports it.
void ParameterParser::Substitute(AEDesc* value) {
  if (used_ < substitutes_.size()) *value = *substitutes_[used_];
  ++used_;
}

bool HasNullDesc(std::initializer_list<const AEDesc*> descs) {
  for (const AEDesc* desc : descs) {
    if (desc == nullptr) return true;
  }
  return false;
}

}  // namespace

Status CreateObjSpecifier(uint32_t desiredClass, const AEDesc& container, uint32_t keyForm,
                          const AEDesc& keyData, AEDesc* specifier) {
  if (specifier == nullptr) return paramErr;
  try {
    AEDesc made = MakeRecord(typeObjectSpecifier);
    made.items.reserve(4);
    Append(&made, keyAEDesiredClass, MakeValue(typeType, desiredClass));
    Append(&made, keyAEKeyForm, MakeValue(typeEnumerated, keyForm));
    Append(&made, keyAEKeyData, keyData);
    Append(&made, keyAEContainer, container);
    *specifier = std::move(made);
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

Status AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, const AEDesc& target,
                          AEReturnID returnID, AETransactionID transactionID, AppleEvent* event) {
  if (event == nullptr) return paramErr;
  try {
    *event = MakeEvent(eventClass, eventID, target, returnID, transactionID);
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

Status AEBuildAppleEvent(AEEventClass eventClass, AEEventID eventID, DescType addressType,
                         const void* addressData, size_t addressLength, AEReturnID returnID,
                         AETransactionID transactionID, std::string_view text,
                         std::initializer_list<const AEDesc*> substitutes, AppleEvent* event,
                         AEBuildError* error) {
  if (event == nullptr || HasNullDesc(substitutes)) return paramErr;
  if (addressData == nullptr && addressLength > 0) return paramErr;
  try {
    AppleEvent made =
        MakeEvent(eventClass, eventID, MakeDesc(addressType, addressData, addressLength), returnID,
                  transactionID);
    ParameterParser parameters(text, substitutes);
    if (!parameters.ReadParameters(&made)) {
      if (error != nullptr) *error = parameters.error();
      return errAEBuildSyntaxError;
    }
    if (!parameters.UsedAllSubstitutes()) return paramErr;
    *event = std::move(made);
    return noErr;
  } catch (const std::bad_alloc&) {
    return memFullErr;
  }
}

}  // namespace tessary
