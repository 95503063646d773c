#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <string>
#include <string_view>

#include "platform/managers/apple_events.h"
#include "tests/support/apple_events.h"
#include "tests/support/fault_injection/failing_allocations.h"

namespace tessary::test {
namespace {

using namespace std::string_view_literals;

static_assert(std::endian::native == std::endian::little);

constexpr uint32_t kSignature = FourCharCode("MACS");

Status Build(std::string_view text, std::initializer_list<const AEDesc*> substitutes,
             AppleEvent* event, AEBuildError* error) {
  return AEBuildAppleEvent(kAECoreSuite, kAEGetData, typeApplSignature, &kSignature,
                           sizeof(kSignature), kAutoGenerateReturnID, kAnyTransactionID, text,
                           substitutes, event, error);
}

TEST(CreateObjSpecifier, HasFourFields) {
  AEDesc specifier;
  ASSERT_EQ(noErr, CreateObjSpecifier(cFile, AEDesc(), formName, MakeText(u"a:b"), &specifier));
  EXPECT_EQ(
      "obj {want=type[65 6c 69 66] form=enum[65 6d 61 6e] seld=utxt[61 00 3a 00 62 00] "
      "from=null[]}",
      Describe(specifier));
  EXPECT_EQ(paramErr, CreateObjSpecifier(cFile, AEDesc(), formName, AEDesc(), nullptr));
}

TEST(AECreateAppleEvent, HasFiveAttributesAndNoParameters) {
  AppleEvent event;
  ASSERT_EQ(noErr, AECreateAppleEvent(kAECoreSuite, kAESetData, MakeShort(3), 258, -2, &event));
  EXPECT_EQ("aevt{}", Describe(event));
  EXPECT_EQ(
      "{evcl=type[65 72 6f 63] evid=type[64 74 65 73] addr=shor[03 00] rtid=long[02 01 00 00] "
      "tran=long[fe ff ff ff]}",
      DescribeAttributes(event));
  EXPECT_EQ(paramErr, AECreateAppleEvent(kAECoreSuite, kAESetData, AEDesc(), 1, 0, nullptr));
}

int16_t ReturnIDOf(const AppleEvent& event) {
  AEDesc number;
  EXPECT_EQ(noErr, AEGetAttributeDesc(event, keyReturnIDAttr, typeSInt16, &number));
  int16_t value = 0;
  EXPECT_EQ(noErr, AEGetDescData(number, &value, sizeof(value)));
  return value;
}

TEST(AECreateAppleEvent, ReturnIDsAreUnique) {
  AppleEvent first;
  AppleEvent second;
  ASSERT_EQ(noErr, Build("", {}, &first, nullptr));
  ASSERT_EQ(noErr, Build("", {}, &second, nullptr));
  EXPECT_GT(ReturnIDOf(first), 0);
  EXPECT_GT(ReturnIDOf(second), 0);
  EXPECT_NE(ReturnIDOf(first), ReturnIDOf(second));
}

TEST(AECreateAppleEvent, ReturnIDsStayPositive) {
  AppleEvent event;
  for (int i = 0; i < 70000; ++i) {
    ASSERT_EQ(noErr, Build("", {}, &event, nullptr));
    ASSERT_GT(ReturnIDOf(event), 0);
  }
}

TEST(AEGetAttributeDesc, ReportsMissingAttribute) {
  AppleEvent event;
  ASSERT_EQ(noErr, Build("", {}, &event, nullptr));
  AEDesc value = MakeShort(9);
  EXPECT_EQ(errAEDescNotFound, AEGetAttributeDesc(event, keyAEData, typeWildCard, &value));
  EXPECT_EQ(errAECoercionFail, AEGetAttributeDesc(event, keyAddressAttr, typeSInt16, &value));
  EXPECT_EQ(paramErr, AEGetAttributeDesc(event, keyAddressAttr, typeWildCard, nullptr));
  EXPECT_EQ("shor[09 00]", Describe(value));
}

struct TextRow {
  const char* text;
  const char* event;
};

// The substitutes are the numbers 1 and 2, as many of them as the row has "@".
TEST(AEBuildAppleEvent, ParsesParameters) {
  static constexpr std::array kRows = {
      TextRow{"", "aevt{}"},
      TextRow{" \t\r\n", "aevt{}"},
      TextRow{"data:@", "aevt{data=shor[01 00]}"},
      TextRow{"data:(@)", "aevt{data=shor[01 00]}"},
      TextRow{" data : ( @ ) ", "aevt{data=shor[01 00]}"},
      TextRow{"'----':@,data:@", "aevt{----=shor[01 00] data=shor[02 00]}"},
      TextRow{"a:prop", "aevt{a   =enum[70 6f 72 70]}"},
      TextRow{"a:ab1", "aevt{a   =enum[20 31 62 61]}"},
      TextRow{"a:'x @)'", "aevt{a   =enum[29 40 20 78]}"},
      TextRow{"a:type(comt)", "aevt{a   =type[74 6d 6f 63]}"},
      TextRow{"a:'sign'('MACS')", "aevt{a   =sign[53 43 41 4d]}"},
      TextRow{"a:{}", "aevt{a   =reco{}}"},
      TextRow{"a:obj{}", "aevt{a   =obj {}}"},
      TextRow{"a:'obj '{ }", "aevt{a   =obj {}}"},
      TextRow{"a:{b:c,d:{e:@}}",
              "aevt{a   =reco{b   =enum[20 20 20 63] d   =reco{e   =shor[01 00]}}}"},
      TextRow{"'----':obj {form:prop,want:type(prop),seld:type(comt),from:(@)}",
              "aevt{----=obj {form=enum[70 6f 72 70] want=type[70 6f 72 70] "
              "seld=type[74 6d 6f 63] from=shor[01 00]}}"},
      TextRow{"'----':obj {form:prop,want:type(prop),seld:type(comt),from:(@)},data:(@)",
              "aevt{----=obj {form=enum[70 6f 72 70] want=type[70 6f 72 70] "
              "seld=type[74 6d 6f 63] from=shor[01 00]} data=shor[02 00]}"},
  };
  const AEDesc one = MakeShort(1);
  const AEDesc two = MakeShort(2);
  for (const TextRow& row : kRows) {
    AppleEvent event;
    const std::string_view text = row.text;
    // One "@" of the table is inside quotes and does not count.
    const auto places = std::ranges::count(text, '@') - (text.find("'x") != text.npos ? 1 : 0);
    const Status status = places == 0   ? Build(text, {}, &event, nullptr)
                          : places == 1 ? Build(text, {&one}, &event, nullptr)
                                        : Build(text, {&one, &two}, &event, nullptr);
    EXPECT_EQ(noErr, status) << text;
    EXPECT_EQ(row.event, Describe(event)) << text;
  }
}

struct ErrorRow {
  const char* text;
  AEBuildErrorCode code;
  size_t position;
};

TEST(AEBuildAppleEvent, ReportsSyntaxErrors) {
  using enum AEBuildErrorCode;
  static constexpr std::array kRows = {
      ErrorRow{"?", aeBuildSyntaxBadToken, 0},
      ErrorRow{"a:[@]", aeBuildSyntaxBadToken, 2},
      ErrorRow{"a:-1", aeBuildSyntaxBadToken, 2},
      ErrorRow{"a:\"text\"", aeBuildSyntaxBadToken, 2},
      ErrorRow{"a:\xFF", aeBuildSyntaxBadToken, 2},
      ErrorRow{"a", aeBuildSyntaxBadEOF, 1},
      ErrorRow{"a:", aeBuildSyntaxBadEOF, 2},
      ErrorRow{"a:b,", aeBuildSyntaxBadEOF, 4},
      ErrorRow{"a:(", aeBuildSyntaxBadEOF, 3},
      ErrorRow{"a:(@", aeBuildSyntaxBadEOF, 4},
      ErrorRow{"a:type(", aeBuildSyntaxBadEOF, 7},
      ErrorRow{"a:{", aeBuildSyntaxBadEOF, 3},
      ErrorRow{"a:{b:c", aeBuildSyntaxBadEOF, 6},
      ErrorRow{"a:{b:c,", aeBuildSyntaxBadEOF, 7},
      ErrorRow{"a:b c:d", aeBuildSyntaxNoEOF, 4},
      ErrorRow{"a:b}", aeBuildSyntaxNoEOF, 3},
      ErrorRow{"a:@@", aeBuildSyntaxNoEOF, 3},
      ErrorRow{"'----", aeBuildSyntaxMissingQuote, 0},
      ErrorRow{"a:'", aeBuildSyntaxMissingQuote, 2},
      ErrorRow{"a:,", aeBuildSyntaxBadDesc, 2},
      ErrorRow{"a:1", aeBuildSyntaxBadDesc, 2},
      ErrorRow{"a::b", aeBuildSyntaxBadDesc, 2},
      ErrorRow{"a:()", aeBuildSyntaxBadData, 3},
      ErrorRow{"a:(b)", aeBuildSyntaxBadData, 3},
      ErrorRow{"a:type()", aeBuildSyntaxBadData, 7},
      ErrorRow{"a:type(@)", aeBuildSyntaxBadData, 7},
      ErrorRow{"a:''", aeBuildSyntaxBadData, 2},
      ErrorRow{"a:'abc'", aeBuildSyntaxBadData, 2},
      ErrorRow{"'-----':@", aeBuildSyntaxBadData, 0},
      ErrorRow{"a:abcde", aeBuildSyntaxBadData, 2},
      ErrorRow{"a:(@@)", aeBuildSyntaxNoCloseParen, 4},
      ErrorRow{"a:type(b,c)", aeBuildSyntaxNoCloseParen, 8},
      ErrorRow{"a:{b:c d}", aeBuildSyntaxNoCloseBrace, 7},
      ErrorRow{"a:{b:c)", aeBuildSyntaxNoCloseBrace, 6},
      ErrorRow{":a", aeBuildSyntaxNoKey, 0},
      ErrorRow{"@", aeBuildSyntaxNoKey, 0},
      ErrorRow{"a:b,,c:d", aeBuildSyntaxNoKey, 4},
      ErrorRow{"a:{,}", aeBuildSyntaxNoKey, 3},
      ErrorRow{"a:b,a:c", aeBuildSyntaxNoKey, 4},
      ErrorRow{"a b", aeBuildSyntaxNoColon, 2},
      ErrorRow{"a,b", aeBuildSyntaxNoColon, 1},
      ErrorRow{"'----'obj {}", aeBuildSyntaxNoColon, 6},
  };
  const AEDesc one = MakeShort(1);
  for (const ErrorRow& row : kRows) {
    AppleEvent event = MakeLong(9);
    AEBuildError error;
    EXPECT_EQ(errAEBuildSyntaxError, Build(row.text, {&one}, &event, &error)) << row.text;
    EXPECT_EQ(row.code, error.fError)
        << row.text << ": " << static_cast<uint32_t>(error.fError) << " at " << error.fErrorPos;
    EXPECT_EQ(row.position, error.fErrorPos) << row.text;
    EXPECT_EQ("long[09 00 00 00]", Describe(event)) << row.text;
    EXPECT_EQ(errAEBuildSyntaxError, Build(row.text, {&one}, &event, nullptr)) << row.text;
  }
}

std::string Nested(size_t depth) {
  std::string text;
  for (size_t i = 0; i < depth; ++i) text += "a:{";
  return text + std::string(depth, '}');
}

TEST(AEBuildAppleEvent, LimitsNesting) {
  AppleEvent event;
  EXPECT_EQ(noErr, Build(Nested(32), {}, &event, nullptr));
  AEBuildError error;
  EXPECT_EQ(errAEBuildSyntaxError, Build(Nested(33), {}, &event, &error));
  EXPECT_EQ(AEBuildErrorCode::aeBuildSyntaxBadDesc, error.fError);
  EXPECT_EQ(errAEBuildSyntaxError, Build(Nested(1'000'000), {}, &event, &error));
}

// Truncates and changes a valid text at each position: each result is parsed or rejected.
TEST(AEBuildAppleEvent, SurvivesMutatedTexts) {
  const std::string good =
      "'----':obj {form:prop,want:type(prop),seld:type(comt),from:(@)},data:(@)";
  const AEDesc one = MakeShort(1);
  const auto tryText = [&one](const std::string& text) {
    AppleEvent event;
    const Status status = Build(text, {&one, &one}, &event, nullptr);
    EXPECT_TRUE(status == noErr || status == errAEBuildSyntaxError || status == paramErr) << text;
    EXPECT_EQ(status == noErr, event.descriptorType == typeAppleEvent) << text;
  };
  for (size_t i = 0; i < good.size(); ++i) {
    tryText(good.substr(0, i));
    tryText(good.substr(i));
    for (const char c : "'@(){}:, a\0\xFF"sv) {
      std::string changed = good;
      changed[i] = c;
      tryText(changed);
      tryText(good.substr(0, i) + c + good.substr(i));
    }
  }
}

TEST(AEBuildAppleEvent, RejectsWrongNumberOfSubstitutes) {
  const AEDesc one = MakeShort(1);
  AppleEvent event = MakeLong(9);
  EXPECT_EQ(paramErr, Build("a:@", {}, &event, nullptr));
  EXPECT_EQ(paramErr, Build("a:@,b:@", {&one}, &event, nullptr));
  EXPECT_EQ(paramErr, Build("a:@", {&one, &one}, &event, nullptr));
  EXPECT_EQ(paramErr, Build("", {&one}, &event, nullptr));
  EXPECT_EQ(paramErr, Build("a:@", {nullptr}, &event, nullptr));
  EXPECT_EQ(paramErr, Build("a:@", {&one}, nullptr, nullptr));
  EXPECT_EQ("long[09 00 00 00]", Describe(event));
}

TEST(AEBuildAppleEvent, RejectsNullAddress) {
  AppleEvent event = MakeLong(9);
  EXPECT_EQ(paramErr, AEBuildAppleEvent(kAECoreSuite, kAEGetData, typeApplSignature, nullptr, 4, 1,
                                        0, "", {}, &event));
  EXPECT_EQ("long[09 00 00 00]", Describe(event));
}

TEST(AEBuildAppleEvent, OutOfMemory) {
  const AEDesc text = MakeText(u"a text that takes some room");
  const AEDesc untouched = MakeShort(1);
  AppleEvent event = untouched;
  const auto isUntouched = [&] { EXPECT_EQ(Describe(untouched), Describe(event)); };
  const auto build = [&] {
    return AEBuildAppleEvent(kAECoreSuite, kAEGetData, typeApplSignature, "MACS", 4, 1, 0,
                             "a:b{c:@},d:'e f '", {&text}, &event);
  };
  ExpectMemFullOnFailedAllocations(build, isUntouched);
  EXPECT_EQ("a   =b   {c   =" + Describe(text) + "} d   =enum[20 66 20 65]",
            Describe(event).substr(5, Describe(event).size() - 6));

  event = untouched;
  const auto create = [&] {
    return AECreateAppleEvent(kAECoreSuite, kAEGetData, text, 1, 0, &event);
  };
  ExpectMemFullOnFailedAllocations(create, isUntouched);

  event = untouched;
  const auto specify = [&] { return CreateObjSpecifier(cFile, AEDesc(), formName, text, &event); };
  ExpectMemFullOnFailedAllocations(specify, isUntouched);
}

}  // namespace
}  // namespace tessary::test
