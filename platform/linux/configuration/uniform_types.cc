#include "platform/managers/uniform_types.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/linux/configuration/builtin_mime_types.h"
#include "platform/linux/configuration/text_file.h"
#include "platform/managers/text.h"

namespace tessary {
namespace {

// An identifier consists of this prefix and the extension.
constexpr std::u16string_view kIdentifierPrefix = u"dyn.";

// Bounds the cache, because a folder can contain any number of different extensions.
constexpr size_t kMaxCachedAnswers = 4096;

// Removes the text up to the next ':' from `*rest`, and the ':', and returns that text.
std::string_view TakeField(std::string_view* rest) {
  const size_t end = std::min(rest->find(':'), rest->size());
  const std::string_view field = rest->substr(0, end);
  rest->remove_prefix(std::min(end + 1, rest->size()));
  return field;
}

// One line of a globs2 file.
struct GlobLine {
  int weight = 0;
  std::string_view type;
  std::string_view glob;
  bool isCaseSensitive = false;
};

bool IsMimeType(std::string_view text) {
  const auto isPrintable = [](char character) { return character > 0x20 && character < 0x7F; };
  if (!std::all_of(text.begin(), text.end(), isPrintable)) return false;
  const size_t slash = text.find('/');
  return slash != 0 && slash < text.size() - 1 && text.rfind('/') == slash;
}

bool ContainsFlag(std::string_view flags, std::string_view flag) {
  while (!flags.empty()) {
    const size_t end = std::min(flags.find(','), flags.size());
    if (flags.substr(0, end) == flag) return true;
    flags.remove_prefix(std::min(end + 1, flags.size()));
  }
  return false;
}

// Parses a line; none for a comment and for a malformed line.
std::optional<GlobLine> ParseGlobLine(std::string_view line) {
  if (line.starts_with('#')) return std::nullopt;
  GlobLine parsed;
  const std::string_view weight = TakeField(&line);
  const char* weightEnd = weight.data() + weight.size();
  const auto [end, error] = std::from_chars(weight.data(), weightEnd, parsed.weight);
  if (error != std::errc() || end != weightEnd || parsed.weight < 0) return std::nullopt;
  parsed.type = TakeField(&line);
  parsed.glob = TakeField(&line);
  if (!IsMimeType(parsed.type) || parsed.glob.empty()) return std::nullopt;
  parsed.isCaseSensitive = ContainsFlag(TakeField(&line), "cs");
  return parsed;
}

// Returns the extension of a pattern of the form "*.ext"; empty for any other pattern.
std::string_view ExtensionOfGlob(std::string_view glob) {
  if (!glob.starts_with("*.")) return {};
  // Keys of runs are plain extensions, so patterns with further wildcards can never match one.
  const std::string_view extension = glob.substr(2);
  return extension.find_first_of("*?[\\") == std::string_view::npos ? extension
                                                                    : std::string_view();
}

// The MIME types by extension, from the data folders of one environment.
class MimeDatabase {
 public:
  // Reads the databases in the folders, in the order of precedence.
  explicit MimeDatabase(const std::vector<std::string>& dataFolders) {
    bool isInstalled = false;
    for (const std::string& folder : dataFolders) {
      std::string text;
      // A missing or unreadable file counts as an empty database.
      if (ReadTextFile(folder + "/mime/globs2", &text) != noErr) continue;
      isInstalled = true;
      AddFolder(text);
    }
    if (isInstalled) return;
    for (const BuiltinMimeType& builtin : BuiltinMimeTypes()) {
      Add({0, builtin.type, {}, false}, builtin.extension);
    }
  }

  std::optional<std::u16string> TypeOfExtension(std::u16string_view extension) {
    const std::u16string key(extension);
    const auto known = cache_.find(key);
    if (known != cache_.end()) return known->second;
    // Emptied rather than reduced entry by entry: the extensions of a folder are few, and the
    // answers come back with one lookup each.
    if (cache_.size() >= kMaxCachedAnswers) cache_.clear();
    return cache_.emplace(key, FindType(key)).first->second;
  }

 private:
  struct WeightedType {
    int weight = 0;
    std::u16string type;
  };
  using TypesByExtension = std::unordered_map<std::u16string, WeightedType>;

  void AddFolder(std::string_view text) {
    // __NOGLOBS__ discards the patterns of a type from the folders of lower precedence only, so the
    // types are collected first.
    std::vector<std::string> overridden;
    while (const auto line = TakeLine(&text)) {
      const auto parsed = ParseGlobLine(*line);
      if (!parsed) continue;
      if (parsed->glob == "__NOGLOBS__") {
        overridden.emplace_back(parsed->type);
      } else if (!discardedTypes_.contains(std::string(parsed->type))) {
        Add(*parsed, ExtensionOfGlob(parsed->glob));
      }
    }
    discardedTypes_.insert(overridden.begin(), overridden.end());
  }

  // Of two patterns of equal weight, keeps the one added first: that of the folder with the higher
  // precedence, or of the earlier line.
  void Add(const GlobLine& line, std::string_view extension) {
    if (extension.empty()) return;
    TypesByExtension& types = line.isCaseSensitive ? exactTypes_ : foldedTypes_;
    const std::u16string spelling = Utf16FromUtf8(extension);
    const std::u16string key = line.isCaseSensitive ? spelling : CFStringLowercase(spelling);
    const auto [entry, isNew] = types.try_emplace(key);
    if (!isNew && entry->second.weight >= line.weight) return;
    entry->second = {line.weight, Utf16FromUtf8(line.type)};
  }

  std::optional<std::u16string> FindType(const std::u16string& extension) const {
    // A case-sensitive pattern is meant for one spelling (".C" for C++, ".c" for C), so it comes
    // before those that match any case.
    const auto exact = exactTypes_.find(extension);
    if (exact != exactTypes_.end()) return exact->second.type;
    const auto folded = foldedTypes_.find(CFStringLowercase(extension));
    if (folded != foldedTypes_.end()) return folded->second.type;
    return std::nullopt;
  }

  TypesByExtension exactTypes_;
  TypesByExtension foldedTypes_;
  std::unordered_set<std::string> discardedTypes_;
  std::unordered_map<std::u16string, std::optional<std::u16string>> cache_;
};

// The environment variables that determine the data folders.
class DataEnvironment {
 public:
  static DataEnvironment Current() {
    DataEnvironment environment;
    environment.home_ = Variable("HOME");
    environment.dataHome_ = Variable("XDG_DATA_HOME");
    environment.dataDirs_ = Variable("XDG_DATA_DIRS");
    return environment;
  }

  bool IsCurrent() const {
    return Variable("HOME") == home_ && Variable("XDG_DATA_HOME") == dataHome_ &&
           Variable("XDG_DATA_DIRS") == dataDirs_;
  }

  // Returns the data folders in the order of precedence. Relative paths are ignored.
  std::vector<std::string> Folders() const {
    std::vector<std::string> folders;
    if (dataHome_.starts_with('/')) {
      folders.push_back(dataHome_);
    } else if (home_.starts_with('/')) {
      folders.push_back(home_ + "/.local/share");
    }
    std::string_view rest = dataDirs_;
    if (rest.empty()) rest = "/usr/local/share:/usr/share";
    while (!rest.empty()) {
      const std::string_view folder = TakeField(&rest);
      if (folder.starts_with('/')) folders.emplace_back(folder);
    }
    return folders;
  }

 private:
  // Returns the value; empty if unset, which has the same meaning for these variables.
  static std::string_view Variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string_view() : value;
  }

  std::string home_;
  std::string dataHome_;
  std::string dataDirs_;
};

struct LoadedDatabase {
  DataEnvironment environment;
  MimeDatabase database;
};

// Returns the database, which is read again only if the environment variables have changed.
MimeDatabase& CurrentDatabase() {
  static std::optional<LoadedDatabase> loaded;
  if (!loaded || !loaded->environment.IsCurrent()) {
    const DataEnvironment environment = DataEnvironment::Current();
    loaded = LoadedDatabase{environment, MimeDatabase(environment.Folders())};
  }
  return loaded->database;
}

}  // namespace

std::optional<std::u16string> UTTypeCreatePreferredIdentifierForTag(UTTagClass tagClass,
                                                                    std::u16string_view tag) {
  if (tagClass != UTTagClass::kUTTagClassFilenameExtension) return std::nullopt;
  return std::u16string(kIdentifierPrefix).append(tag);
}

std::optional<std::u16string> UTTypeCopyPreferredTagWithClass(std::u16string_view identifier,
                                                              UTTagClass tagClass) {
  if (tagClass != UTTagClass::kUTTagClassMIMEType) return std::nullopt;
  if (!identifier.starts_with(kIdentifierPrefix)) return std::nullopt;
  return CurrentDatabase().TypeOfExtension(identifier.substr(kIdentifierPrefix.size()));
}

}  // namespace tessary
