#pragma once

#include <map>
#include <string>
#include <variant>
#include <vector>

#include "platform/managers/preferences_store.h"

// What a command line asks for.
namespace tessary {

struct HelpOptions {};
struct VersionOptions {};

struct AggregateOptions {
  // The settings that hold for this run in place of the stored ones, by key.
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
    std::variant<HelpOptions, VersionOptions, AggregateOptions, ReadDefaultsOptions,
                 WriteDefaultOptions, DeleteDefaultOptions, IntegrateOptions, InfoOptions>;

// Parses the arguments, the program's name not among them. False when they cannot be understood;
// `*problem` is then one line that names what is wrong and what to do. `*options` is written on
// success only. Touches neither the store nor the file system.
bool ParseOptions(const std::vector<std::string>& arguments, Options* options,
                  std::string* problem);

}  // namespace tessary
