#include "settings/preferences.h"

#include <optional>
#include <string>
#include <variant>

#include "platform/managers/preferences_store.h"

namespace tessary {
namespace {

int16_t ReadNumber(const char* key, int16_t defaultValue) {
  const std::optional<CFPropertyList> value = CFPreferencesCopyAppValue(key);
  const int64_t* number = value ? std::get_if<int64_t>(&*value) : nullptr;
  return number != nullptr ? static_cast<int16_t>(*number) : defaultValue;
}

// Synchronises, then returns the stored boolean. None if the key is absent or of another type.
std::optional<bool> ReadBoolean(const char* key) {
  // A file that cannot be read counts as empty here. The program reports it to the user.
  (void)CFPreferencesAppSynchronize();
  const std::optional<CFPropertyList> value = CFPreferencesCopyAppValue(key);
  const bool* boolean = value ? std::get_if<bool>(&*value) : nullptr;
  return boolean != nullptr ? std::optional(*boolean) : std::nullopt;
}

bool Store(const char* key, const CFPropertyList& value) {
  CFPreferencesSetAppValue(key, value);
  return CFPreferencesAppSynchronize();
}

}  // namespace

int16_t GetFileOperation() { return ReadNumber("FileOperation", kFileOperationCopy); }

AggregationKind GetAggregationKind() {
  constexpr auto kDefault = static_cast<int16_t>(AggregationKind::kExtension);
  return static_cast<AggregationKind>(ReadNumber("TessaryType", kDefault));
}

bool GetQuitWhenDone() { return ReadBoolean("QuitWhenDone").value_or(false); }

bool GetRecurseFolders() { return ReadBoolean("RecurseFolders").value_or(false); }

bool GetReplaceFilesBySameName() { return ReadBoolean("ReplaceFilesBySameName").value_or(false); }

bool GetAggregateAppResourcesOnly() {
  return !ReadBoolean("AggregateAppResourcesOnly").value_or(false);
}

bool GetPreserveComments() { return !ReadBoolean("PreserveComments").value_or(true); }

bool SetAggregationKind(AggregationKind kind) {
  return Store("TessaryType", static_cast<int64_t>(kind));
}

bool SetQuitWhenDone(bool value) { return Store("QuitWhenDone", value); }

bool SetRecurseFolders(bool value) { return Store("RecurseFolders", value); }

}  // namespace tessary
