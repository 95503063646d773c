#include <cstring>

#include "platform/managers/apple_events.h"
#include "tests/fuzz/descriptors.h"
#include "tests/fuzz/fuzz.h"

// The parameter texts of Apple events: an event that is built from a text can be written as a text
// that builds the same event. A text that cannot be parsed builds nothing and reports the position
// of the error.
namespace tessary::test {
namespace {

constexpr DescType kMarker = FourCharCode("mark");

Status Build(std::string_view text, const AEDesc& first, const AEDesc& second, size_t substitutes,
             AppleEvent* event, AEBuildError* error) {
  const auto build = [&](std::initializer_list<const AEDesc*> descs) {
    return AEBuildAppleEvent(kAECoreSuite, kAEGetData, typeApplSignature, "MACS", 4, 1,
                             kAnyTransactionID, text, descs, event, error);
  };
  if (substitutes == 0) return build({});
  return substitutes == 1 ? build({&first}) : build({&first, &second});
}

std::string Quoted(uint32_t code) {
  std::string text = "'";
  for (unsigned shift = 32; shift > 0; shift -= 8) {
    text += static_cast<char>(code >> (shift - 8) & 0xFFU);
  }
  return text + "'";
}

std::string TextOfFields(const AEDesc& record);

std::string TextOf(const AEDesc& value) {
  if (value.form == AEDesc::Form::kRecord) {
    return Quoted(value.descriptorType) + "{" + TextOfFields(value) + "}";
  }
  if (value.descriptorType == kMarker && value.bytes.size() == 1) return "@";
  Require(value.form == AEDesc::Form::kBytes && value.bytes.size() == 4, "a value is a code");
  uint32_t code = 0;
  std::memcpy(&code, value.bytes.data(), sizeof(code));
  return Quoted(value.descriptorType) + "(" + Quoted(code) + ")";
}

std::string TextOfFields(const AEDesc& record) {
  std::string text;
  for (const AEKeyDesc& item : record.items) {
    if (!text.empty()) text += ", ";
    text += Quoted(item.keyword) + " : " + TextOf(item.value);
  }
  return text;
}

}  // namespace

// The first byte is the number of substitutes, the rest the text.
void TryInput(std::string_view input) {
  const size_t substitutes = TakeInputByte(&input) % 3U;
  AEDesc first, second;
  Require(AECreateDesc(kMarker, "1", 1, &first) == noErr, "a descriptor can be created");
  Require(AECreateDesc(kMarker, "2", 1, &second) == noErr, "a descriptor can be created");
  AppleEvent event = first;
  AEBuildError error = {AEBuildErrorCode::aeBuildSyntaxNoErr, input.size() + 1};
  const Status status = Build(input, first, second, substitutes, &event, &error);
  if (status != noErr) {
    Require(AreSame(event, first), "a text that cannot be parsed builds nothing");
    Require(status == paramErr || status == errAEBuildSyntaxError, "the status is a parse error");
    Require(
        (status == errAEBuildSyntaxError) == (error.fError != AEBuildErrorCode::aeBuildSyntaxNoErr),
        "a syntax error has a code");
    Require(status == paramErr || error.fErrorPos <= input.size(), "the error lies in the text");
    return;
  }
  AppleEvent again;
  const std::string text = TextOfFields(event);
  Require(
      Build(text, first, second, substitutes, &again, nullptr) == noErr && AreSame(event, again),
      "an event survives a round trip through its text");
}

}  // namespace tessary::test
