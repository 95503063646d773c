#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/managers/apple_events.h"

namespace tessary::test {

// The answering application of a signature until it is destroyed. Replaces one with the same
// signature, which is not restored.
class AnsweringApplication {
 public:
  AnsweringApplication(uint32_t signature, AEAnswerer answerer);
  ~AnsweringApplication();
  AnsweringApplication(const AnsweringApplication&) = delete;
  AnsweringApplication& operator=(const AnsweringApplication&) = delete;

 private:
  uint32_t signature_;
};

// A descriptor as text that shows every field and byte, for comparison with one written by hand:
// the type and the bytes in hexadecimal, or the items with their keywords:
// "shor[0100]", "list(shor[0100] shor[0200])", "obj {form=enum[65 6d 61 6e] from=null[]}".
std::string Describe(const AEDesc& desc);

// The same for the attributes of an event: "{evcl=type[...] ...}".
std::string DescribeAttributes(const AppleEvent& event);

// Descriptors of a number, of text and of a four-character code.
AEDesc MakeShort(int16_t number);
AEDesc MakeLong(int32_t number);
AEDesc MakeText(std::u16string_view text);
AEDesc MakeUtf8Text(std::string_view text);
AEDesc MakeCode(DescType type, uint32_t code);

}  // namespace tessary::test
