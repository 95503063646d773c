#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

// The seven settings. Nothing is cached: every accessor reads the store when it is called, so that
// a change by another program takes effect during a run. No accessor fails: a value that is
// missing, unreadable or of another type yields the default.
namespace tessary {

// The kind of key by which a run files its items: the stored value of "TessaryType".
enum class AggregationKind : int16_t {
  kExtension = 1,
  kFileType = 2,
  kMimeType = 3,
  kModificationDate = 4,
  kCreationDate = 5,
};

// The value of `FileOperation` that means copying. Any other value means moving.
inline constexpr int16_t kFileOperationCopy = 2;

// Returns `FileOperation`, by default kFileOperationCopy. A stored number that does not fit 16 bits
// is reduced to its low 16 bits. Does not synchronise.
int16_t GetFileOperation();

// Returns the kind, by default kExtension. A stored number that is not a valid kind is returned
// unchanged. Does not synchronise.
AggregationKind GetAggregationKind();

// Whether to quit after a run. Default: false. This and all accessors below synchronise first.
bool GetQuitWhenDone();

// Whether to descend into subfolders. Default: false.
bool GetRecurseFolders();

// Whether to replace a file of the same name in the key folder. Default: false.
bool GetReplaceFilesBySameName();

// Whether to reduce a source that is an application to its resources folder. True unless the stored
// value is the boolean true. The key means the opposite of its name; this is fixed.
bool GetAggregateAppResourcesOnly();

// Whether to carry comments over to the filed item. True only if the stored value is the boolean
// false. The key means the opposite of its name; this is fixed.
bool GetPreserveComments();

// Store a setting and synchronise. Return true if the setting was written.
bool SetAggregationKind(AggregationKind kind);
bool SetQuitWhenDone(bool value);
bool SetRecurseFolders(bool value);

enum class SettingType { kNumber, kBoolean };

// The key and type of a setting, for programs that list the settings or check a value.
struct Setting {
  std::string_view key;
  SettingType type;
};

inline constexpr std::array<Setting, 7> kSettings = {{
    {"FileOperation", SettingType::kNumber},
    {"TessaryType", SettingType::kNumber},
    {"QuitWhenDone", SettingType::kBoolean},
    {"RecurseFolders", SettingType::kBoolean},
    {"ReplaceFilesBySameName", SettingType::kBoolean},
    {"AggregateAppResourcesOnly", SettingType::kBoolean},
    {"PreserveComments", SettingType::kBoolean},
}};

}  // namespace tessary
