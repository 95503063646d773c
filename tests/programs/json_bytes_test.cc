#include "programs/cli/json_bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>
#include <string>

namespace tessary::test {
namespace {

using nlohmann::json;

TEST(JsonFromBytes, IsStringForUtf8) {
  for (const std::string text : {"", "/a/b c.txt", "/caf\xc3\xa9", "\n\x1b\x7f\"\\", "100%25"}) {
    EXPECT_EQ(json(text), JsonFromBytes(text));
  }
}

TEST(JsonFromBytes, EncodesOtherBytes) {
  struct Row {
    std::string bytes;
    std::string encoded;
  };
  const std::array<Row, 5> rows = {{
      {"/a/caf\xe9", "/a/caf%E9"},
      {"\xff \n%", "%FF%20%0A%25"},
      {"az-AZ_09.~:\xff", "az-AZ_09.~%3A%FF"},
      // An encoded surrogate, and a character followed by half of one.
      {"\xed\xa0\x80", "%ED%A0%80"},
      {"\xc3\xa9\xc3", "%C3%A9%C3"},
  }};
  for (const Row& row : rows) {
    EXPECT_EQ(json::object({{"percentEncoded", row.encoded}}), JsonFromBytes(row.bytes));
  }
}

// Through text and back, as another program gets them.
TEST(JsonFromBytes, RoundTripsAnyBytes) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      const std::string bytes = {'/', static_cast<char>(first), static_cast<char>(second)};
      const json parsed = json::parse(JsonFromBytes(bytes).dump());
      ASSERT_EQ(bytes, BytesFromJson(parsed)) << parsed;
    }
  }
}

TEST(BytesFromJson, RefusesOtherValues) {
  const std::array<const char*, 15> texts = {
      "null",
      "true",
      "1",
      "[]",
      "[\"a\"]",
      "{}",
      R"({"percentEncoded": 1})",
      R"({"percentEncoded": "a", "other": 1})",
      R"({"other": "a"})",
      R"({"percentEncoded": "%"})",
      R"({"percentEncoded": "%4"})",
      R"({"percentEncoded": "%G0"})",
      R"({"percentEncoded": "a b"})",
      R"({"percentEncoded": "%00"})",
      R"("a\u0000b")",
  };
  for (const char* text : texts) EXPECT_EQ(std::nullopt, BytesFromJson(json::parse(text))) << text;
}

TEST(JsonLine, EscapesWhatTerminalsInterpret) {
  const auto line = [](const char* text) { return JsonLine(JsonFromBytes(text)); };
  EXPECT_EQ("\"caf\xc3\xa9\"", line("caf\xc3\xa9"));
  EXPECT_EQ(R"("a\nb\u001b[2J")", line("a\nb\x1b[2J"));
  EXPECT_EQ(R"("\u007f")", line("\x7f"));
  EXPECT_EQ(R"("\u009b2J caf\u00e9")", line("\xc2\x9b"
                                            "2J caf\xc3\xa9"));
  EXPECT_EQ(R"("\u202egpj.exe")", line("\xe2\x80\xaegpj.exe"));
}

}  // namespace
}  // namespace tessary::test
