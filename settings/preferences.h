#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

// The seven settings. Nothing is cached: every accessor reads the store when it is called, so that
// a change from outside takes effect in the middle of a run. None can fail; a value that is
// missing, unreadable or of another type yields the default.
namespace tessary {

// By what a run files its items; the stored value of "TessaryType".
enum class AggregationKind : int16_t {
  kExtension = 1,
  kFileType = 2,
  kMimeType = 3,
  kModificationDate = 4,
  kCreationDate = 5,
};

// The value of `FileOperation` that means copying; any other means moving.
inline constexpr int16_t kFileOperationCopy = 2;

// What files are done with; kFileOperationCopy when nothing is stored. A number that does not fit
// 16 bits keeps its low 16. Does not synchronise.
int16_t GetFileOperation();

// The kind; kExtension when nothing is stored. A stored number that names no kind is passed
// through. Does not synchronise.
AggregationKind GetAggregationKind();

// Quit after a run; false when nothing is stored. Synchronises first, as do all below.
bool GetQuitWhenDone();

// Descend into subfolders; false when nothing is stored.
bool GetRecurseFolders();

// Replace a same-named file in the key folder; false when nothing is stored.
bool GetReplaceFilesBySameName();

// Reduce an application given as the source to its resources folder. True unless the key holds the
// boolean true: the key's name tells the opposite of its effect, and is kept for those who set it.
bool GetAggregateAppResourcesOnly();

// Carry comments over to the filed item. True only when the key holds the boolean false: the key's
// name tells the opposite of its effect, and is kept for those who set it.
bool GetPreserveComments();

// Stores a setting and writes it out at once. True when it was written.
bool SetAggregationKind(AggregationKind kind);
bool SetQuitWhenDone(bool value);
bool SetRecurseFolders(bool value);

enum class SettingType { kNumber, kBoolean };

// One setting's key and type, for a front that lists them or checks what its user typed.
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
