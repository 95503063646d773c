#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

#include "platform/managers/preferences_store.h"

// What a command line asks for.
namespace tessary {

// To print a text, that of --help or --version.
struct TextOptions {
  std::string text;
};

struct AggregateOptions {
  // The settings that override the stored ones in this run, by key.
  std::map<std::string, CFPropertyList> settings;
  std::string source;       // as typed
  std::string destination;  // as typed
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
                 DeleteDefaultOptions, IntegrateOptions, InfoOptions>;

// Parses the arguments, without the program's name. Returns false on a usage error; `*problem` is
// then one line that names the mistake and what is expected. `*options` is written on success only.
// Accesses neither the store nor the filesystem.
bool ParseOptions(const std::vector<std::string>& arguments, Options* options,
                  std::string* problem);

}  // namespace tessary
