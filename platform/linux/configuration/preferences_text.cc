#include "platform/linux/configuration/preferences_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include "platform/linux/configuration/toml_parser.h"

namespace tessary {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The parser calls itself once for each level of a dotted key, without a bound of its own, and
// would run out of stack at some tens of thousands.
constexpr std::ptrdiff_t kMaxDots = 2048;

std::optional<std::string> ParseTable(std::string_view text, toml::table* table) {
  if (text.size() > kMaxPreferencesSize) {
    return "it is larger than " + std::to_string(kMaxPreferencesSize) + " bytes";
  }
  if (std::count(text.begin(), text.end(), '.') > kMaxDots) {
    return "it holds more than " + std::to_string(kMaxDots) + " dots";
  }
  toml::parse_result result = toml::parse(text);
  if (!result) {
    const toml::source_position at = result.error().source().begin;
    return "line " + std::to_string(at.line) + ", column " + std::to_string(at.column) + ": " +
           std::string(result.error().description());
  }
  *table = std::move(result).table();
  return std::nullopt;
}

CFPropertyList ValueOf(const toml::node& node) {
  if (const auto* boolean = node.as_boolean()) return boolean->get();
  if (const auto* integer = node.as_integer()) return integer->get();
  if (const auto* string = node.as_string()) return string->get();
  return UnsupportedPreferenceValue{};
}

// One "key = value" above the first table header. Ends are one past the last byte.
struct Statement {
  size_t begin = 0;  // of its first line
  size_t keyBegin = 0;
  size_t keyEnd = 0;
  size_t valueBegin = 0;
  size_t valueEnd = 0;
  size_t end = 0;  // past the line end of its last line
};

struct TopLevel {
  std::vector<Statement> statements;
  size_t begin = 0;  // past the byte order mark
  size_t end = 0;    // where the first table header's line begins, or the text ends
  bool hasHeader = false;
};

size_t SkipWhitespace(std::string_view text, size_t at) {
  return std::min(text.find_first_not_of(" \t", at), text.size());
}

size_t SkipLine(std::string_view text, size_t at) {
  const size_t lineEnd = text.find('\n', at);
  return lineEnd == std::string_view::npos ? text.size() : lineEnd + 1;
}

// The end of the string that begins at `at` with one quote or three of a kind.
size_t SkipString(std::string_view text, size_t at) {
  const char quote = text[at];
  const bool isLong = text.substr(at, 3) == std::string(3, quote);
  const std::string closing(isLong ? 3 : 1, quote);
  at += closing.size();
  while (at < text.size() && text.substr(at, closing.size()) != closing) {
    at += quote == '"' && text[at] == '\\' ? 2U : 1U;
  }
  at = std::min(at + closing.size(), text.size());
  // A long string may end in one or two quotes of its own.
  for (int own = 0; isLong && own < 2 && at < text.size() && text[at] == quote; ++own) ++at;
  return at;
}

// The end of the array or inline table that begins at `at`.
size_t SkipBrackets(std::string_view text, size_t at) {
  int depth = 0;
  while (at < text.size()) {
    const char c = text[at];
    if (c == '"' || c == '\'') {
      at = SkipString(text, at);
      continue;
    }
    if (c == '#') {
      at = SkipLine(text, at);
      continue;
    }
    ++at;
    if (c == '[' || c == '{') ++depth;
    if ((c == ']' || c == '}') && --depth == 0) break;
  }
  return at;
}

// `end` moved back over the blanks before it.
size_t TrimWhitespace(std::string_view text, size_t begin, size_t end) {
  while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t')) --end;
  return end;
}

size_t SkipValue(std::string_view text, size_t at) {
  if (at == text.size()) return at;
  if (text[at] == '"' || text[at] == '\'') return SkipString(text, at);
  if (text[at] == '[' || text[at] == '{') return SkipBrackets(text, at);
  // A date and its time may be parted by a blank, so a plain value goes on to its line's end.
  return TrimWhitespace(text, at, std::min(text.find_first_of("#\r\n", at), text.size()));
}

Statement StatementAt(std::string_view text, size_t lineBegin, size_t keyBegin) {
  size_t at = keyBegin;
  while (at < text.size() && text[at] != '=') {
    at = text[at] == '"' || text[at] == '\'' ? SkipString(text, at) : at + 1;
  }
  Statement statement;
  statement.begin = lineBegin;
  statement.keyBegin = keyBegin;
  statement.keyEnd = TrimWhitespace(text, keyBegin, at);
  statement.valueBegin = SkipWhitespace(text, std::min(at + 1, text.size()));
  statement.valueEnd = SkipValue(text, statement.valueBegin);
  statement.end = SkipLine(text, statement.valueEnd);
  return statement;
}

// Finds the statements of a text that parses.
TopLevel FindTopLevel(std::string_view text) {
  TopLevel top;
  top.begin = text.substr(0, kByteOrderMark.size()) == kByteOrderMark ? kByteOrderMark.size() : 0;
  size_t at = top.begin;
  while (at < text.size()) {
    const size_t first = SkipWhitespace(text, at);
    const char c = first < text.size() ? text[first] : '\n';
    if (c == '[') {
      top.hasHeader = true;
      break;
    }
    if (c == '#' || c == '\r' || c == '\n') {
      at = SkipLine(text, first);
      continue;
    }
    top.statements.push_back(StatementAt(text, at, first));
    at = top.statements.back().end;
  }
  top.end = at;
  return top;
}

// True where the key as it is encoded in the text, quotes and escapes included, is `key`.
bool DecodesToKey(std::string_view encoded, const std::string& key) {
  toml::table table;
  if (ParseTable(std::string(encoded) + " = 0", &table)) return false;
  const toml::node* value = table.get(key);
  return value != nullptr && value->is_integer();
}

std::string Quote(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (byte < 0x20 || byte == 0x7f) {
      char escape[8];
      (void)std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(byte));
      quoted += escape;
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string EncodeKey(const std::string& key) {
  const auto isBare = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
  };
  if (!key.empty() && std::all_of(key.begin(), key.end(), isBare)) return key;
  return Quote(key);
}

// None for a value of a type that is never written.
std::optional<std::string> EncodeValue(const CFPropertyList& value) {
  if (const auto* boolean = std::get_if<bool>(&value)) return *boolean ? "true" : "false";
  if (const auto* integer = std::get_if<int64_t>(&value)) return std::to_string(*integer);
  if (const auto* string = std::get_if<std::string>(&value)) return Quote(*string);
  return std::nullopt;
}

// Where the line of a new key goes. Comments right above a table header belong to the table.
size_t PlaceForNewKey(std::string_view text, const TopLevel& top) {
  if (!top.statements.empty()) return top.statements.back().end;
  size_t place = top.end;
  while (top.hasHeader && place > top.begin) {
    const size_t lineEnd = place - 1;
    const size_t before = lineEnd > 0 ? text.rfind('\n', lineEnd - 1) : std::string_view::npos;
    const size_t lineBegin = before == std::string_view::npos ? top.begin : before + 1;
    if (text[SkipWhitespace(text, lineBegin)] != '#') break;
    place = lineBegin;
  }
  return place;
}

void InsertLine(std::string* text, const TopLevel& top, const std::string& line) {
  const size_t firstEnd = text->find('\n');
  const bool isDos = firstEnd != std::string::npos && firstEnd > 0 && (*text)[firstEnd - 1] == '\r';
  const std::string lineEnd = isDos ? "\r\n" : "\n";
  const size_t place = PlaceForNewKey(*text, top);
  const bool afterOpenLine = place > top.begin && (*text)[place - 1] != '\n';
  text->insert(place, afterOpenLine ? lineEnd + line : line + lineEnd);
}

// Changes one key in a text that parses. False where the key, which `isThere`, has no line of its
// own because it is a table.
bool ChangeKey(const std::string& key, bool isThere, const std::optional<std::string>& encodedValue,
               std::string* text) {
  const TopLevel top = FindTopLevel(*text);
  for (const Statement& statement : top.statements) {
    const size_t keySize = statement.keyEnd - statement.keyBegin;
    if (!DecodesToKey(std::string_view(*text).substr(statement.keyBegin, keySize), key)) continue;
    if (encodedValue) {
      text->replace(statement.valueBegin, statement.valueEnd - statement.valueBegin, *encodedValue);
    } else {
      text->erase(statement.begin, statement.end - statement.begin);
    }
    return true;
  }
  if (isThere) return false;
  if (encodedValue) InsertLine(text, top, EncodeKey(key) + " = " + *encodedValue);
  return true;
}

bool Holds(const toml::table& table, const std::string& key,
           const std::optional<CFPropertyList>& value) {
  const toml::node* node = table.get(key);
  if (node == nullptr || !value) return node == nullptr && !value;
  return !std::holds_alternative<UnsupportedPreferenceValue>(*value) && ValueOf(*node) == *value;
}

void ApplyChange(const std::string& key, const std::optional<CFPropertyList>& value,
                 toml::table* expected) {
  if (!value) {
    expected->erase(key);
  } else if (const auto* boolean = std::get_if<bool>(&*value)) {
    expected->insert_or_assign(key, *boolean);
  } else if (const auto* integer = std::get_if<int64_t>(&*value)) {
    expected->insert_or_assign(key, *integer);
  } else if (const auto* string = std::get_if<std::string>(&*value)) {
    expected->insert_or_assign(key, *string);
  }
}

}  // namespace

std::optional<std::string> ParsePreferences(std::string_view text, PreferenceValues* values) {
  toml::table table;
  if (auto problem = ParseTable(text, &table)) return problem;
  values->clear();
  for (const auto& [key, node] : table) values->emplace(std::string(key.str()), ValueOf(node));
  return std::nullopt;
}

std::optional<std::string> ChangePreferences(const std::string& text,
                                             const PreferenceChanges& changes,
                                             std::string* changed) {
  toml::table expected;
  if (auto problem = ParseTable(text, &expected)) return problem;
  std::string composed = text;
  for (const auto& [key, value] : changes) {
    if (Holds(expected, key, value)) continue;
    const auto encoded = value ? EncodeValue(*value) : std::nullopt;
    if (value && !encoded)
      return "the value of " + Quote(key) + " is of no type that can be written";
    if (!ChangeKey(key, expected.contains(key), encoded, &composed)) {
      return Quote(key) + " is a table in it, which can only be changed by hand";
    }
    ApplyChange(key, value, &expected);
  }
  // The places were found by a reading simpler than the parser's, so the parser has the last word
  // on whether the text says what was wanted and nothing else.
  toml::table reparsed;
  if (ParseTable(composed, &reparsed) || reparsed != expected) {
    return "what was set cannot be put into the file beside what it holds";
  }
  *changed = composed;
  return std::nullopt;
}

}  // namespace tessary
