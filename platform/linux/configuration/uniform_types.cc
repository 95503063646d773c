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

// An identifier is this prefix and the extension it was made for.
constexpr std::u16string_view kIdentifierPrefix = u"dyn.";

// A bound on the remembered answers, since names can hold any number of different extensions.
constexpr size_t kMaxCachedAnswers = 4096;

// The text up to the next ':', which is taken off `*rest` with it.
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

bool HoldsFlag(std::string_view flags, std::string_view flag) {
  while (!flags.empty()) {
    const size_t end = std::min(flags.find(','), flags.size());
    if (flags.substr(0, end) == flag) return true;
    flags.remove_prefix(std::min(end + 1, flags.size()));
  }
  return false;
}

// None for a comment and for a malformed line.
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
  parsed.isCaseSensitive = HoldsFlag(TakeField(&line), "cs");
  return parsed;
}

// The extension of a pattern that is "*." and plain text; empty for any other.
std::string_view ExtensionOfGlob(std::string_view glob) {
  if (!glob.starts_with("*.")) return {};
  const std::string_view extension = glob.substr(2);
  return extension.find_first_of("*?[\\") == std::string_view::npos ? extension
                                                                    : std::string_view();
}

// The types of the extensions, as the folders of one environment give them.
class MimeDatabase {
 public:
  // Reads the database of the folders, the most important first.
  explicit MimeDatabase(const std::vector<std::string>& dataFolders) {
    bool isInstalled = false;
    for (const std::string& folder : dataFolders) {
      std::string text;
      // A folder without the file, or with one that cannot be read, contributes nothing.
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
    // A type that this folder takes over is discarded from the less important ones only.
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

  // What is equally heavy and came first stays: the more important folder, then the earlier line.
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

// The variables that say where the database is.
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

  // The folders that hold data, the most important first. Relative ones count as not named.
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
  // Empty where it is not set, which is the same here.
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

// The database, read again only where the environment names other folders.
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
