#pragma once

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/managers/preferences_store.h"

// What the command lines of the two programs ask for. The parsing functions take the arguments
// without the program's name, and access neither the store nor the filesystem. They return false on
// a usage error; `*problem` is then one line that names the mistake and what is expected, and
// `*options` is as it was.
namespace tessary {

// The names of the kinds, in the order of AggregationKind, which begins with 1.
inline constexpr std::array<std::string_view, 5> kKindNames = {
    "extension", "file-type", "mime-type", "modification-date", "creation-date"};

// To print a text, that of --help or --version.
struct TextOptions {
  std::string text;
};

struct AggregateOptions {
  // The settings that override the stored ones in this run, by key.
  std::map<std::string, CFPropertyList> settings;
  bool isDryRun = false;
  bool isQuiet = false;
  bool isVerbose = false;
  bool isJson = false;
  bool hasSummary = false;  // a table of the key folders
  std::string journal;      // as typed; empty for none
  std::string source;       // as typed
  std::string destination;  // as typed
};

struct UndoOptions {
  bool isDryRun = false;
  std::string journal;  // as typed
};

struct ReadDefaultsOptions {
  std::string key;  // empty for all
};

struct WriteDefaultOptions {
  std::string key;
  CFPropertyList value;  // of the key's type
};

struct DeleteDefaultOptions {
  std::string key;
};

enum class IntegrateAction { kInstall, kRemove, kStatus };

struct IntegrateOptions {
  IntegrateAction action = IntegrateAction::kStatus;
};

struct InfoOptions {
  std::vector<std::string> files;  // as typed, at least one
  bool isJson = false;
};

using Options =
    std::variant<TextOptions, AggregateOptions, ReadDefaultsOptions, WriteDefaultOptions,
                 DeleteDefaultOptions, IntegrateOptions, InfoOptions, UndoOptions>;

// Parses the arguments of tessary-cli.
bool ParseOptions(const std::vector<std::string>& arguments, Options* options,
                  std::string* problem);

struct DesktopOptions {
  std::string text;                    // to be printed instead of everything else: help or version
  bool isAggregate = false;            // to pass the folders to the running instance and exit
  std::vector<std::string> folders;    // as typed
  std::vector<std::string> qtOptions;  // options that Qt interprets, with their values
};

// Parses the arguments of the desktop program. Does so without Qt, which would need a display.
bool ParseDesktopOptions(const std::vector<std::string>& arguments, DesktopOptions* options,
                         std::string* problem);

}  // namespace tessary
