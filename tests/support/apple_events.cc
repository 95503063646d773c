#include "tests/support/apple_events.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/four_characters.h"

namespace tessary::test {
namespace {

std::string CodeText(uint32_t code) { return FourCharacters(code).substr(1, 4); }

std::string Hexadecimal(const std::vector<unsigned char>& bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    if (!text.empty()) text += ' ';
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 0x0FU];
  }
  return text;
}

std::string DescribeItems(const std::vector<AEKeyDesc>& items, bool hasKeywords) {
  std::string text;
  for (const AEKeyDesc& item : items) {
    if (!text.empty()) text += ' ';
    if (hasKeywords) text += CodeText(item.keyword) + "=";
    text += Describe(item.value);
  }
  return text;
}

AEDesc Make(DescType type, const void* data, size_t size) {
  AEDesc desc;
  EXPECT_EQ(noErr, AECreateDesc(type, data, size, &desc));
  return desc;
}

}  // namespace

AnsweringApplication::AnsweringApplication(uint32_t signature, AEAnswerer answerer)
    : signature_(signature) {
  RegisterAnsweringApplication(signature, std::move(answerer));
}

AnsweringApplication::~AnsweringApplication() { RemoveAnsweringApplication(signature_); }

std::string Describe(const AEDesc& desc) {
  const std::string type = CodeText(desc.descriptorType);
  switch (desc.form) {
    case AEDesc::Form::kList:
      return type + "(" + DescribeItems(desc.items, false) + ")";
    case AEDesc::Form::kRecord:
      return type + "{" + DescribeItems(desc.items, true) + "}";
    case AEDesc::Form::kBytes:
      break;
  }
  return type + "[" + Hexadecimal(desc.bytes) + "]";
}

std::string DescribeAttributes(const AppleEvent& event) {
  return "{" + DescribeItems(event.attributes, true) + "}";
}

AEDesc MakeShort(int16_t number) { return Make(typeSInt16, &number, sizeof(number)); }

AEDesc MakeLong(int32_t number) { return Make(typeSInt32, &number, sizeof(number)); }

AEDesc MakeText(std::u16string_view text) {
  return Make(typeUnicodeText, text.data(), text.size() * sizeof(char16_t));
}

AEDesc MakeUtf8Text(std::string_view text) { return Make(typeUTF8Text, text.data(), text.size()); }

AEDesc MakeCode(DescType type, uint32_t code) { return Make(type, &code, sizeof(code)); }

}  // namespace tessary::test
