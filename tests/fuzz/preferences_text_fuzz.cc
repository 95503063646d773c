#include <algorithm>

#include "platform/linux/configuration/preferences_text.h"
#include "platform/managers/text.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/preference_input.h"

// Setting a preference changes only the text of that preference.
namespace tessary::test {
namespace {

bool IsWholeLine(std::string_view text, size_t begin, size_t end) {
  const bool beginsLine = begin == 0 || text[begin - 1] == '\n' || text[begin] == '\n' ||
                          text[begin] == '\r' || text.substr(0, begin) == "\xEF\xBB\xBF";
  return beginsLine &&
         (end == text.size() || text[end - 1] == '\n' || text[end] == '\n' || text[end] == '\r');
}

bool ContainsOnly(std::string_view text, const PreferenceValues& expected) {
  PreferenceValues values;
  return !ParsePreferences(text, &values) && values == expected;
}

// The lengths of the common prefix and the common suffix of two texts.
size_t CommonStart(std::string_view first, std::string_view second) {
  const size_t size = std::min(first.size(), second.size());
  const auto end = first.begin() + static_cast<ptrdiff_t>(size);
  return static_cast<size_t>(std::mismatch(first.begin(), end, second.begin()).first -
                             first.begin());
}

size_t CommonEnd(std::string_view first, std::string_view second) {
  const size_t size = std::min(first.size(), second.size());
  const auto end = first.rbegin() + static_cast<ptrdiff_t>(size);
  return static_cast<size_t>(std::mismatch(first.rbegin(), end, second.rbegin()).first -
                             first.rbegin());
}

// True if `longer` is `shorter` with additional whole lines that contain `expected` and nothing
// else.
bool HasExtraLines(std::string_view shorter, std::string_view longer,
                   const PreferenceValues& expected) {
  if (longer.size() <= shorter.size()) return false;
  const size_t added = longer.size() - shorter.size();
  const size_t last = CommonStart(shorter, longer);
  const size_t same = CommonEnd(shorter, longer);
  for (size_t at = shorter.size() - std::min(same, shorter.size()); at <= last; ++at) {
    if (!IsWholeLine(longer, at, at + added)) continue;
    if (ContainsOnly(longer.substr(at, added), expected)) return true;
  }
  return false;
}

// True if the texts differ only in one value, which is `oldValue` in `old` and `newValue` in
// `changed`.
bool DiffersInValue(std::string_view old, std::string_view changed, const CFPropertyList& oldValue,
                    const CFPropertyList& newValue) {
  const size_t start = CommonStart(old, changed);
  for (size_t at = 0; at <= start; ++at) {
    const size_t same = CommonEnd(old.substr(at), changed.substr(at));
    for (size_t kept = same + 1; kept-- > 0;) {
      const auto differentPart = [&](std::string_view text) {
        return "x=" + std::string(text.substr(at, text.size() - at - kept));
      };
      // Parsing is slow. Skips positions where a value cannot start or end.
      const size_t end = changed.size() - kept;
      if (end < changed.size() && changed[end] != '\r' && changed[end] != '\n' &&
          changed[end] != ' ' && changed[end] != '\t' && changed[end] != '#') {
        continue;
      }
      if (at > 0 && old[at - 1] != '=' && old[at - 1] != ' ' && old[at - 1] != '\t') continue;
      if (ContainsOnly(differentPart(old), {{"x", oldValue}}) &&
          ContainsOnly(differentPart(changed), {{"x", newValue}})) {
        return true;
      }
    }
  }
  return false;
}

void CheckChange(const PreferenceInput& input, const PreferenceValues& before,
                 const std::string& changed) {
  PreferenceValues expected = before;
  const auto old = before.find(input.key);
  expected.erase(input.key);
  if (input.value) expected.emplace(input.key, *input.value);
  Require(ContainsOnly(changed, expected),
          "the changed text has the new value and all other old values");

  const bool existed = old != before.end();
  if (existed ? input.value == old->second : !input.value) {
    Require(changed == input.text, "setting the same value changes nothing");
  } else if (!existed) {
    Require(HasExtraLines(input.text, changed, {{input.key, *input.value}}),
            "a new key is added on new lines");
  } else if (!input.value) {
    Require(HasExtraLines(changed, input.text, {{input.key, old->second}}),
            "removing a key removes only its own lines");
  } else {
    Require(DiffersInValue(input.text, changed, old->second, *input.value),
            "changing an existing key changes only its value");
  }
  std::string again;
  Require(!ChangePreferences(changed, {{input.key, input.value}}, &again) && again == changed,
          "a change is idempotent");
}

// True for a change that does not fit into the size limit or that TOML cannot express.
bool MayBeRejected(const PreferenceInput& input, const PreferenceValues& before) {
  constexpr size_t kReserve = 1024;
  if (input.text.size() + 6 * input.key.size() + kReserve > kMaxPreferencesSize) return true;
  const auto* string = input.value ? std::get_if<std::string>(&*input.value) : nullptr;
  if (!IsUtf8(input.key) || (string != nullptr && !IsUtf8(*string))) return true;
  const auto dots = [](std::string_view text) { return std::count(text.begin(), text.end(), '.'); };
  constexpr ptrdiff_t kMaxDots = 1000;
  const ptrdiff_t added = dots(input.key) + (string != nullptr ? dots(*string) : 0);
  if (dots(input.text) + added > kMaxDots) return true;
  const auto old = before.find(input.key);
  return old != before.end() && std::holds_alternative<UnsupportedPreferenceValue>(old->second);
}

}  // namespace

void TryInput(std::string_view bytes) {
  const PreferenceInput input = ReadPreferenceInput(bytes);
  const PreferenceValues untouched = {{"untouched", true}};
  PreferenceValues before = untouched;
  const bool isReadable = !ParsePreferences(input.text, &before);
  Require(isReadable || before == untouched, "a text that cannot be parsed gives no values");

  const std::string original = "not written";
  std::string changed = original;
  const auto problem = ChangePreferences(input.text, {{input.key, input.value}}, &changed);
  Require(problem || isReadable, "a text that cannot be parsed is not changed");
  Require(!problem || changed == original, "a failed change writes no text");
  if (!problem) CheckChange(input, before, changed);
  if (isReadable && problem) {
    Require(MayBeRejected(input, before), "a valid change to a valid text succeeds");
  }
}

}  // namespace tessary::test
