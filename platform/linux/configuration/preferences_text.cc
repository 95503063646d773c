#include "platform/linux/configuration/preferences_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <utility>
#include <vector>

#include "platform/linux/configuration/text_file.h"
#include "platform/linux/configuration/toml_parser.h"

namespace tessary {
namespace {

// Bounds the recursion of the parser, which recurses once per level of a dotted key without a limit
// and would overflow the stack at some tens of thousands of levels.
constexpr std::ptrdiff_t kMaxDots = 2048;

PreferencesProblem ProblemOf(std::string reason) { return {.reason = std::move(reason)}; }

std::optional<PreferencesProblem> ParseTable(std::string_view text, toml::table* table) {
  if (text.size() > kMaxPreferencesSize) {
    return ProblemOf("larger than " + std::to_string(kMaxPreferencesSize) + " bytes");
  }
  if (std::count(text.begin(), text.end(), '.') > kMaxDots) {
    return ProblemOf("more than " + std::to_string(kMaxDots) + " dots");
  }
  toml::parse_result result = toml::parse(text);
  if (!result) {
    const toml::source_position at = result.error().source().begin;
    return PreferencesProblem{
        .line = at.line, .column = at.column, .reason = std::string(result.error().description())};
  }
  *table = std::move(result).table();
  return std::nullopt;
}

// Returns the value as TOML, on one line. The contents of tables and arrays are left out: printing
// them recurses once per level, up to kMaxDots times.
std::string TextOf(const toml::node& node) {
  if (node.is_table()) return "{...}";
  if (node.is_array()) return "[...]";
  std::ostringstream text;
  node.visit([&text](const auto& value) { text << value; });
  return text.str();
}

CFPropertyList ValueOf(const toml::node& node) {
  if (const auto* boolean = node.as_boolean()) return boolean->get();
  if (const auto* integer = node.as_integer()) return integer->get();
  if (const auto* string = node.as_string()) return string->get();
  return UnsupportedPreferenceValue{TextOf(node)};
}

// The byte offsets of one "key = value" before the first table header. Ends are exclusive.
struct Statement {
  size_t begin = 0;  // start of its first line
  size_t keyBegin = 0;
  size_t keyEnd = 0;
  size_t valueBegin = 0;
  size_t valueEnd = 0;
  size_t end = 0;  // after the line end of its last line
};

struct TopLevel {
  std::vector<Statement> statements;
  size_t begin = 0;  // after the byte order mark
  size_t end = 0;    // start of the line of the first table header, or end of the text
  bool hasHeader = false;
};

size_t SkipWhitespace(std::string_view text, size_t at) {
  return std::min(text.find_first_not_of(" \t", at), text.size());
}

size_t SkipLine(std::string_view text, size_t at) {
  const size_t lineEnd = text.find('\n', at);
  return lineEnd == std::string_view::npos ? text.size() : lineEnd + 1;
}

// Returns the end of the string that starts at `at` with one quote or three equal quotes.
size_t SkipString(std::string_view text, size_t at) {
  const char quote = text[at];
  const bool isLong = text.substr(at, 3) == std::string(3, quote);
  const std::string closing(isLong ? 3 : 1, quote);
  at += closing.size();
  while (at < text.size() && text.substr(at, closing.size()) != closing) {
    at += quote == '"' && text[at] == '\\' ? 2U : 1U;
  }
  at = std::min(at + closing.size(), text.size());
  // One or two quotes before the closing quotes belong to the contents of a multi-line string.
  for (int extra = 0; isLong && extra < 2 && at < text.size() && text[at] == quote; ++extra) ++at;
  return at;
}

// Returns the end of the array or inline table that starts at `at`.
size_t SkipBrackets(std::string_view text, size_t at) {
  int depth = 0;
  while (at < text.size()) {
    // Brackets in strings and comments do not count.
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

// Returns `end` moved back over the spaces and tabs before it.
size_t TrimWhitespace(std::string_view text, size_t begin, size_t end) {
  while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t')) --end;
  return end;
}

size_t SkipValue(std::string_view text, size_t at) {
  if (at == text.size()) return at;
  if (text[at] == '"' || text[at] == '\'') return SkipString(text, at);
  if (text[at] == '[' || text[at] == '{') return SkipBrackets(text, at);
  // Other values end at the line end or a comment. They can contain a space, between date and time.
  return TrimWhitespace(text, at, std::min(text.find_first_of("#\r\n", at), text.size()));
}

Statement StatementAt(std::string_view text, size_t lineBegin, size_t keyBegin) {
  size_t at = keyBegin;
  // A quoted key may contain an equals sign.
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

// Finds the top-level statements of a valid text.
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

// Returns true if a key as written in the text, with its quotes and escapes, means `key`.
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

// Returns the value as TOML; none for a type that is never written.
std::optional<std::string> EncodeValue(const CFPropertyList& value) {
  if (const auto* boolean = std::get_if<bool>(&value)) return *boolean ? "true" : "false";
  if (const auto* integer = std::get_if<int64_t>(&value)) return std::to_string(*integer);
  if (const auto* string = std::get_if<std::string>(&value)) return Quote(*string);
  return std::nullopt;
}

// Returns the offset at which the line of a new key is inserted. Comment lines directly above a
// table header belong to the table.
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
  // The new line ends as the first line of the file does.
  const bool isDos = firstEnd != std::string::npos && firstEnd > 0 && (*text)[firstEnd - 1] == '\r';
  const std::string lineEnd = isDos ? "\r\n" : "\n";
  const size_t place = PlaceForNewKey(*text, top);
  const bool afterOpenLine = place > top.begin && (*text)[place - 1] != '\n';
  text->insert(place, afterOpenLine ? lineEnd + line : line + lineEnd);
}

// Changes one key in a valid text, which contains the key if `exists`. Returns false if the key is
// a table, which has no single line.
bool ChangeKey(const std::string& key, bool exists, const std::optional<std::string>& encodedValue,
               std::string* text) {
  // Only the bytes of the key's own statement change. Printing the whole table would
  // lose the user's comments, order and spelling.
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
  if (exists) return false;
  if (encodedValue) InsertLine(text, top, EncodeKey(key) + " = " + *encodedValue);
  return true;
}

bool HasValue(const toml::table& table, const std::string& key,
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

std::optional<PreferencesProblem> ParsePreferences(std::string_view text,
                                                   PreferenceValues* values) {
  toml::table table;
  if (auto problem = ParseTable(text, &table)) return problem;
  values->clear();
  for (const auto& [key, node] : table) values->emplace(std::string(key.str()), ValueOf(node));
  return std::nullopt;
}

std::optional<PreferencesProblem> ChangePreferences(const std::string& text,
                                                    const PreferenceChanges& changes,
                                                    std::string* changed) {
  toml::table expected;
  if (auto problem = ParseTable(text, &expected)) return problem;
  std::string composed = text;
  for (const auto& [key, value] : changes) {
    if (HasValue(expected, key, value)) continue;
    const auto encoded = value ? EncodeValue(*value) : std::nullopt;
    if (value && !encoded) {
      return ProblemOf("the value of " + Quote(key) + " has a type that cannot be written");
    }
    if (!ChangeKey(key, expected.contains(key), encoded, &composed)) {
      return ProblemOf(Quote(key) + " is a table, which can only be changed by hand");
    }
    ApplyChange(key, value, &expected);
  }
  // The offsets come from a scanner that is simpler than the parser. So the result is parsed again,
  // to check that it has exactly the expected values.
  toml::table reparsed;
  if (ParseTable(composed, &reparsed) || reparsed != expected) {
    return ProblemOf("the new values cannot be added to its text");
  }
  *changed = composed;
  return std::nullopt;
}

}  // namespace tessary
