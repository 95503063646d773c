#include "platform/managers/internet_config.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/linux/configuration/builtin_file_types.h"
#include "platform/linux/configuration/config_folder.h"
#include "platform/linux/configuration/text_file.h"
#include "platform/managers/four_char_code.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

constexpr std::string_view kWhitespace = " \t";
constexpr size_t kTypeSize = 4;

// The number of malformed lines that are described. A file of another format under this name could
// have thousands.
constexpr size_t kMaxDescribedLines = 20;

// The result of parsing a line: an entry, a problem, or neither (an empty line or a comment).
struct MappingLine {
  std::optional<ICMapEntry> entry;
  const char* problem = nullptr;
};

struct UserMapping {
  std::string path;
  Status status = noErr;  // fnfErr or dirNFErr if there is no file
  ICMapHandle entries;
  std::vector<std::string> problems;
  size_t undescribedProblems = 0;
};

void SkipWhitespace(std::string_view* text) {
  text->remove_prefix(std::min(text->find_first_not_of(kWhitespace), text->size()));
}

bool ContainsControlCharacter(std::string_view text) {
  for (const char character : text) {
    if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) return true;
  }
  return false;
}

// Returns what is wrong with the two columns, or null.
const char* ProblemOf(std::string_view extension, std::string_view type) {
  if (extension == ".") return "no extension after the dot";
  if (type.size() > kTypeSize) return "the type is longer than four bytes";
  if (!IsUtf8(extension)) return "the extension is not UTF-8";
  if (!IsUtf8(type)) return "the type is not UTF-8";
  if (ContainsControlCharacter(extension)) return "the extension contains a control character";
  if (ContainsControlCharacter(type)) return "the type contains a control character";
  return nullptr;
}

MappingLine ParseMappingLine(std::string_view line) {
  const auto bad = [](const char* problem) { return MappingLine{std::nullopt, problem}; };
  SkipWhitespace(&line);
  if (line.empty() || line.starts_with('#')) return {};

  const std::string_view extension = line.substr(0, line.find_first_of(kWhitespace));
  line.remove_prefix(extension.size());
  SkipWhitespace(&line);
  if (line.empty()) return bad("no type after the extension");
  if (!line.starts_with('"')) return bad("the type is not in double quotes");
  line.remove_prefix(1);

  const size_t quote = line.find('"');
  if (quote == std::string_view::npos) return bad("the closing quote of the type is missing");
  const std::string_view type = line.substr(0, quote);
  line.remove_prefix(quote + 1);
  if (!line.empty() && kWhitespace.find(line.front()) == std::string_view::npos) {
    return bad("no space after the type");
  }
  if (const char* problem = ProblemOf(extension, type)) return bad(problem);
  return {ICMapEntry{PaddedFourCharCode(type), Utf16FromUtf8(extension)}, nullptr};
}

std::string DescribeProblem(const std::string& path, size_t lineNumber, const char* problem) {
  return path + ":" + std::to_string(lineNumber) + ": " + problem + "; expected .ext \"TYPE\"";
}

UserMapping ReadUserMapping() {
  UserMapping mapping;
  mapping.path = ConfigFolder() + "/extensions.map";
  std::string contents;
  mapping.status = ReadTextFile(mapping.path, &contents);
  std::string_view rest = contents;
  size_t lineNumber = 0;
  while (const auto line = TakeLine(&rest)) {
    ++lineNumber;
    MappingLine parsed = ParseMappingLine(*line);
    if (parsed.entry) mapping.entries.push_back(*std::move(parsed.entry));
    if (parsed.problem == nullptr) continue;
    if (mapping.problems.size() == kMaxDescribedLines) {
      ++mapping.undescribedProblems;
    } else {
      mapping.problems.push_back(DescribeProblem(mapping.path, lineNumber, parsed.problem));
    }
  }
  return mapping;
}

}  // namespace

Status ICStart(ICInstance* instance, uint32_t signature) {
  if (instance == nullptr) return paramErr;
  *instance = {signature, true, false};
  return noErr;
}

Status ICBegin(ICInstance* instance, ICPerm permission) {
  if (instance == nullptr || !instance->isStarted) return paramErr;
  if (permission != ICPerm::icReadOnlyPerm) return paramErr;
  instance->isReading = true;
  return noErr;
}

Status ICGetPrefHandle(const ICInstance& instance, std::string_view preference,
                       ICMapHandle* mapping) {
  if (!instance.isReading || mapping == nullptr) return paramErr;
  if (preference != "Mapping") return fnfErr;
  ICMapHandle entries;
  for (const BuiltinFileType& builtin : BuiltinFileTypes()) {
    entries.push_back({PaddedFourCharCode(builtin.type), Utf16FromUtf8(builtin.extension)});
  }
  // The user's entries come last: the map that is built from them keeps the last entry of an
  // extension.
  const UserMapping user = ReadUserMapping();
  entries.insert(entries.end(), user.entries.begin(), user.entries.end());
  *mapping = std::move(entries);
  return noErr;
}

Status ICCountMapEntries(const ICMapHandle& mapping, size_t* count) {
  if (count == nullptr) return paramErr;
  *count = mapping.size();
  return noErr;
}

Status ICGetIndMapEntry(const ICMapHandle& mapping, size_t index, ICMapEntry* entry) {
  if (entry == nullptr || index == 0 || index > mapping.size()) return paramErr;
  *entry = mapping[index - 1];
  return noErr;
}

Status ICEnd(ICInstance* instance) {
  if (instance == nullptr || !instance->isReading) return paramErr;
  instance->isReading = false;
  return noErr;
}

Status ICStop(ICInstance* instance) {
  if (instance == nullptr || !instance->isStarted) return paramErr;
  *instance = {};
  return noErr;
}

std::vector<std::string> DescribeBadMappingLines() {
  UserMapping mapping = ReadUserMapping();
  if (mapping.status == fnfErr || mapping.status == dirNFErr) return {};
  if (mapping.status == paramErr) {
    return {mapping.path + ": not a regular file, or larger than 4 MiB"};
  }
  if (mapping.status == afpAccessDenied) {
    return {mapping.path + ": permission denied"};
  }
  if (mapping.status != noErr) {
    return {mapping.path + ": filesystem error " + std::to_string(mapping.status)};
  }
  if (mapping.undescribedProblems > 0) {
    mapping.problems.push_back(mapping.path + ": " + std::to_string(mapping.undescribedProblems) +
                               " more malformed lines");
  }
  return mapping.problems;
}

}  // namespace tessary
