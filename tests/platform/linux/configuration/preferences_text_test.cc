#include "platform/linux/configuration/preferences_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace tessary::test {
namespace {

// Concatenated at run time, because a hexadecimal escape in a literal would include following
// digits.
const std::string kByteOrderMark = "\xEF\xBB\xBF";

PreferenceValues Parsed(const std::string& text) {
  PreferenceValues values;
  const auto problem = ParsePreferences(text, &values);
  EXPECT_FALSE(problem) << text << ": " << problem->reason;
  return values;
}

TEST(ParsePreferences, DistinguishesTypes) {
  const PreferenceValues expected = {
      {"boolean", true},
      {"number", int64_t{-7}},
      {"largest", std::numeric_limits<int64_t>::max()},
      {"smallest", std::numeric_limits<int64_t>::min()},
      {"text", std::string("7")},
      {"empty", std::string()},
      {"float", UnsupportedPreferenceValue{}},
      {"whole float", UnsupportedPreferenceValue{}},
      {"date", UnsupportedPreferenceValue{}},
      {"moment", UnsupportedPreferenceValue{}},
      {"array", UnsupportedPreferenceValue{}},
      {"inline", UnsupportedPreferenceValue{}},
      {"dotted", UnsupportedPreferenceValue{}},
      {"table", UnsupportedPreferenceValue{}},
      {"tables", UnsupportedPreferenceValue{}},
  };
  EXPECT_EQ(expected, Parsed("boolean = true\nnumber = -7\nlargest = 9223372036854775807\n"
                             "smallest = -9223372036854775808\n"
                             "text = \"7\"\nempty = ''\nfloat = 1e3\n\"whole float\" = 7.0\n"
                             "date = 1979-05-27\nmoment = 1979-05-27 07:32:00\narray = [1]\n"
                             "inline = {number = 1}\ndotted.number = 1\n[table]\nnumber = 1\n"
                             "[[tables]]\nnumber = 1\n"));
}

TEST(ParsePreferences, ReadsBomCrLfAndNonAscii) {
  EXPECT_EQ((PreferenceValues{{"a", true}, {"b", int64_t{2}}}),
            Parsed(kByteOrderMark + "a = true\r\nb = 2\r\n"));
  EXPECT_EQ((PreferenceValues{{"\xC3\xA4\n", std::string("\xC3\xB6\n")}}),
            Parsed("\"\xC3\xA4\\n\" = \"\xC3\xB6\\n\""));
  EXPECT_EQ((PreferenceValues{{"a", std::string("\xC3\xA9")}}),
            Parsed("a = \"\"\"\\\n  \xC3\xA9\"\"\" # \xC3\xA9"));
}

struct RejectedRow {
  std::string text;
  size_t line = 0;
  size_t column = 0;  // 0 if not checked
};

TEST(ParsePreferences, ReportsLineAndColumn) {
  const std::vector<RejectedRow> rows = {
      {"a = \n", 1, 5},
      {"a = 1\nb = yes\n", 2, 5},
      {"a = 9223372036854775808\n", 1, 24},
      {"a = 1\na = 2\n", 2, 5},
      {"a = \"\n\"", 1, 6},
      {"a = '''", 1},
      {"a = [1,\n", 1, 9},
      {"a = 1 b = 2", 1, 7},
      {"# \xff\n", 1},
      {"[%", 1, 2},
      {"[[a.%]]", 1, 5},
      {"a = {% = 1}", 1, 6},
      {"a = 1\n\xCE\x9A = 1\n", 2, 1},
      {"a = 2\xC3\xA9\n", 1, 6},
      {"a = \"\" \xC3\xA9\n", 1, 8},
      {std::string("a = 1\0", 6), 1},
  };
  for (const RejectedRow& row : rows) {
    PreferenceValues values = {{"kept", true}};
    const auto problem = ParsePreferences(row.text, &values);
    ASSERT_TRUE(problem) << row.text.substr(0, 40);
    EXPECT_EQ(row.line, problem->line) << row.text.substr(0, 40) << ": " << problem->reason;
    if (row.column != 0) {
      EXPECT_EQ(row.column, problem->column) << row.text.substr(0, 40);
    }
    EXPECT_FALSE(problem->reason.empty()) << row.text.substr(0, 40);
    EXPECT_EQ((PreferenceValues{{"kept", true}}), values);
  }
}

void ExpectProblemWithoutPosition(const std::string& text, const std::string& reason) {
  PreferenceValues values = {{"kept", true}};
  const auto problem = ParsePreferences(text, &values);
  ASSERT_TRUE(problem) << reason;
  EXPECT_EQ(0U, problem->line);
  EXPECT_EQ(0U, problem->column);
  EXPECT_EQ(reason, problem->reason);
  EXPECT_EQ((PreferenceValues{{"kept", true}}), values);
}

TEST(ParsePreferences, LimitsSize) {
  EXPECT_EQ(PreferenceValues{}, Parsed(std::string(kMaxPreferencesSize, '\n')));
  ExpectProblemWithoutPosition(std::string(kMaxPreferencesSize + 1, '\n'),
                               "larger than 65536 bytes");
}

TEST(ParsePreferences, LimitsDepthOfKeys) {
  std::string text;
  for (int level = 0; level < 2048; ++level) text += "a.";
  EXPECT_EQ((PreferenceValues{{"a", UnsupportedPreferenceValue{}}}), Parsed(text + "a = 1"));
  ExpectProblemWithoutPosition("a." + text + "a = 1", "more than 2048 dots");
}

struct ChangeRow {
  std::string before;
  PreferenceChanges changes;
  std::string after;
};

void ExpectChanges(const std::vector<ChangeRow>& rows) {
  for (const ChangeRow& row : rows) {
    std::string changed;
    EXPECT_FALSE(ChangePreferences(row.before, row.changes, &changed)) << row.before;
    EXPECT_EQ(row.after, changed);
  }
}

TEST(ChangePreferences, ReplacesOnlyTheValue) {
  const PreferenceChanges toTwo = {{"N", int64_t{2}}};
  ExpectChanges({
      {"N = 1\n", toTwo, "N = 2\n"},
      {"N = 1", toTwo, "N = 2"},
      {"  N=1# note\n", toTwo, "  N=2# note\n"},
      {"\tN  =\t 1 \t # note = 1\n", toTwo, "\tN  =\t 2 \t # note = 1\n"},
      {"N = 1   \n", toTwo, "N = 2   \n"},
      {"\"N\" = 1\n", toTwo, "\"N\" = 2\n"},
      {"'N' = 1\n", toTwo, "'N' = 2\n"},
      {"\"\\u004E\" = 1\n", toTwo, "\"\\u004E\" = 2\n"},
      {"N = 0x10\n", toTwo, "N = 2\n"},
      {"N = \"#\"  # note\n", toTwo, "N = 2  # note\n"},
      {"N = 'a\\'  # note\n", toTwo, "N = 2  # note\n"},
      {"N = \"a\\\"#\\\\\"  # note\n", toTwo, "N = 2  # note\n"},
      {"N = 1979-05-27 07:32:00  # note\n", toTwo, "N = 2  # note\n"},
      {"N = true # note\n", toTwo, "N = 2 # note\n"},
      {"N = { a = '}', b = [1] } # note\n", toTwo, "N = 2 # note\n"},
      {"N = [ # one ]\n  '[', \"\"\"]\n\"\"\"\n] # note\nM = 1\n", toTwo, "N = 2 # note\nM = 1\n"},
      {"N = \"\"\"\nM = 3\n# no comment\n\"\"\" # note\nM = 1\n", toTwo, "N = 2 # note\nM = 1\n"},
      {"N = \"\"\"\"a\"\"\"\"\" # note\n", toTwo, "N = 2 # note\n"},
      {"N = '''\n'a\\''''\nM = 1\n", toTwo, "N = 2\nM = 1\n"},
      {"N = '' # note\n", toTwo, "N = 2 # note\n"},
      {"M = '''\nN = 1\n'''\nN = 1\n", toTwo, "M = '''\nN = 1\n'''\nN = 2\n"},
      {"# N = 1\nN = 1\n[t]\nN = 1\n", toTwo, "# N = 1\nN = 2\n[t]\nN = 1\n"},
      {"t.N = 1\nN = 1\n", toTwo, "t.N = 1\nN = 2\n"},
      {"\"a = b\" = 1\n'N = ' = 1\nN = 1", toTwo, "\"a = b\" = 1\n'N = ' = 1\nN = 2"},
      {"a = 1\r\nN = 1 # x\r\nb = 1\r\n", toTwo, "a = 1\r\nN = 2 # x\r\nb = 1\r\n"},
      {kByteOrderMark + "N = 1\n", toTwo, kByteOrderMark + "N = 2\n"},
      {"n = nan\nN = 1\n", toTwo, "n = nan\nN = 2\n"},
      {"\n\n  # a\n\nN = 1\n\n\n", toTwo, "\n\n  # a\n\nN = 2\n\n\n"},
      {"# caf\xC3\xA9\nN = \"\xC3\xA9\" # \xC3\xA9\n", toTwo, "# caf\xC3\xA9\nN = 2 # \xC3\xA9\n"},
  });
}

TEST(ChangePreferences, InsertsNewKeyAfterLastOne) {
  const PreferenceChanges toTwo = {{"N", int64_t{2}}};
  ExpectChanges({
      {"", toTwo, "N = 2\n"},
      {"\n", toTwo, "\nN = 2\n"},
      {"# note", toTwo, "# note\nN = 2"},
      {"# note\n", toTwo, "# note\nN = 2\n"},
      {"  ", toTwo, "  \nN = 2"},
      {"M = 1\n", toTwo, "M = 1\nN = 2\n"},
      {"M = 1", toTwo, "M = 1\nN = 2"},
      {"M = 1 # note\n\n# end\n", toTwo, "M = 1 # note\nN = 2\n\n# end\n"},
      {"M = 1\r\n\r\n# end\r\n", toTwo, "M = 1\r\nN = 2\r\n\r\n# end\r\n"},
      {"# a\r\nM = 1", toTwo, "# a\r\nM = 1\r\nN = 2"},
      {"M = [\n1\n] # note\n[t]\nN = 1\n", toTwo, "M = [\n1\n] # note\nN = 2\n[t]\nN = 1\n"},
      {"M = \"\"\"\n[t]\n\"\"\"\n\n[t]\n", toTwo, "M = \"\"\"\n[t]\n\"\"\"\nN = 2\n\n[t]\n"},
      {"[t]\nN = 1\n", toTwo, "N = 2\n[t]\nN = 1\n"},
      {"[t]", toTwo, "N = 2\n[t]"},
      {"[[t]]\n", toTwo, "N = 2\n[[t]]\n"},
      {"# head\n\n# of the table\n  [t]\n", toTwo, "# head\n\nN = 2\n# of the table\n  [t]\n"},
      {"# head\n\n[t]\n", toTwo, "# head\n\nN = 2\n[t]\n"},
      {"# of the table\n[t]\n", toTwo, "N = 2\n# of the table\n[t]\n"},
      {"\n[t]\n", toTwo, "\nN = 2\n[t]\n"},
      {kByteOrderMark, toTwo, kByteOrderMark + "N = 2\n"},
      {kByteOrderMark + "# of the table\r\n[t]\r\n", toTwo,
       kByteOrderMark + "N = 2\r\n# of the table\r\n[t]\r\n"},
      {kByteOrderMark + "[t]\n", toTwo, kByteOrderMark + "N = 2\n[t]\n"},
  });
}

TEST(ChangePreferences, RemovesOnlyLinesOfKey) {
  const PreferenceChanges without = {{"N", std::nullopt}};
  ExpectChanges({
      {"N = 1\n", without, ""},
      {"N = 1", without, ""},
      {"# a\nN = 1 # note\n# b\n", without, "# a\n# b\n"},
      {"M = 1\nN = 1", without, "M = 1\n"},
      {"M = 1\r\n'N' = 1\r\nO = 1\r\n", without, "M = 1\r\nO = 1\r\n"},
      {"N = '''\nN = 1\n''' # note\nM = 1\n", without, "M = 1\n"},
      {"M = 1\nN = [\n  1, # ]\n]\n[t]\nN = 1\n", without, "M = 1\n[t]\nN = 1\n"},
      {kByteOrderMark + "N = 1\nM = 1\n", without, kByteOrderMark + "M = 1\n"},
      {"M = 1\n[t]\nN = 1\n", without, "M = 1\n[t]\nN = 1\n"},
      {"", without, ""},
  });
}

TEST(ChangePreferences, RoundTripsEveryType) {
  const std::vector<CFPropertyList> values = {
      true,
      false,
      int64_t{0},
      int64_t{-1},
      std::numeric_limits<int64_t>::max(),
      std::numeric_limits<int64_t>::min(),
      std::string(),
      std::string("plain"),
      std::string("\"quoted\" \\ back"),
      std::string("line\nend\r\t\x01\x1b\x7f"),
      std::string("a\0b", 3),
      std::string("\xC3\xA9 # ' = [x]"),
  };
  for (const CFPropertyList& value : values) {
    for (const std::string key :
         {"Key", "a-b_1", "a b", "a.b", "", "\"", "\xC3\xA9", "1", "true"}) {
      std::string changed;
      ASSERT_FALSE(ChangePreferences("first = 1\n", {{key, value}}, &changed)) << key;
      EXPECT_EQ((PreferenceValues{{"first", int64_t{1}}, {key, value}}), Parsed(changed))
          << changed;
      std::string again;
      ASSERT_FALSE(ChangePreferences(changed, {{key, std::nullopt}}, &again)) << key;
      EXPECT_EQ("first = 1\n", again);
    }
  }
}

TEST(ChangePreferences, KeepsEqualValue) {
  ExpectChanges({
      {"N = 0x2\n", {{"N", int64_t{2}}}, "N = 0x2\n"},
      {"N = 'a'\n", {{"N", std::string("a")}}, "N = 'a'\n"},
      {"N = true\n", {{"N", true}}, "N = true\n"},
      {"N = true\n", {{"N", int64_t{1}}}, "N = 1\n"},
      {"N = 1\n", {{"N", std::string("1")}}, "N = \"1\"\n"},
      {"N = 2.0\n", {{"N", int64_t{2}}}, "N = 2\n"},
  });
}

TEST(ChangePreferences, AppliesSeveralChanges) {
  ExpectChanges({{"a = 1\nb = 2\nc = 3\n",
                  {{"a", int64_t{9}}, {"b", std::nullopt}, {"d", true}, {"e", std::string("x")}},
                  "a = 9\nc = 3\nd = true\ne = \"x\"\n"}});
}

TEST(ChangePreferences, RejectsImpossibleChanges) {
  const std::vector<ChangeRow> rows = {
      {"N = = 1\n", {{"N", int64_t{2}}}, ""},
      {"a = 1 2\n", {{"N", int64_t{2}}}, ""},
      {"[N]\na = 1\n", {{"N", int64_t{2}}}, ""},
      {"[N]\na = 1\n", {{"N", std::nullopt}}, ""},
      {"N.a = 1\n", {{"N", int64_t{2}}}, ""},
      {"N.a = 1\n", {{"N", std::nullopt}}, ""},
      {"[[N]]\na = 1\n", {{"N", int64_t{2}}}, ""},
      {"N = 1\n", {{"N", UnsupportedPreferenceValue{}}}, ""},
      {"N = 1.0\n", {{"N", UnsupportedPreferenceValue{}}}, ""},
      {"N = 1\n", {{"N", std::string("\xff")}}, ""},
      {"N = 1\n", {{"\xff", true}}, ""},
      {"", {{"N", std::string(kMaxPreferencesSize, 'x')}}, ""},
      {"N = 1\n", {{"M", int64_t{2}}, {"N", UnsupportedPreferenceValue{}}}, ""},
  };
  for (const ChangeRow& row : rows) {
    std::string changed = "untouched";
    const auto problem = ChangePreferences(row.before, row.changes, &changed);
    EXPECT_TRUE(problem && !problem->reason.empty()) << row.before;
    EXPECT_EQ("untouched", changed);
  }
}

}  // namespace
}  // namespace tessary::test
