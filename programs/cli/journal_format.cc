#include "programs/cli/journal_format.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <variant>

#include "platform/managers/item_details.h"
#include "platform/managers/preferences_store.h"
#include "programs/cli/command_specs.h"
#include "programs/cli/json_bytes.h"
#include "settings/preferences.h"

namespace tessary {
namespace {

using JournalJson = nlohmann::json;

constexpr uint64_t kFormatVersion = 1;

// In the order of ItemKind and of ChangeKind.
constexpr std::array<std::string_view, 4> kTypeNames = {"file", "folder", "link", "special"};
constexpr std::array<std::string_view, 4> kChangeNames = {"created", "moved", "copied", "deleted"};

// A line that is not well-formed.
struct MalformedLine : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void RequireField(bool holds, const char* problem) {
  if (!holds) throw MalformedLine(problem);
}

// ---- Formatting ----

std::string NowText() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
  const auto rest = std::chrono::duration_cast<std::chrono::nanoseconds>(now - seconds);
  return FormatTimestamp({seconds.count(), static_cast<uint32_t>(rest.count())});
}

JournalJson JsonOfSetting(const CFPropertyList& value) {
  if (const auto* boolean = std::get_if<bool>(&value)) return *boolean;
  if (const auto* number = std::get_if<int64_t>(&value)) return *number;
  const auto* text = std::get_if<std::string>(&value);
  return JsonFromBytes(text != nullptr ? *text : std::get<UnsupportedPreferenceValue>(value).text);
}

JournalJson JsonOfSettings() {
  JournalJson settings = JournalJson::object();
  for (const Setting& setting : kSettings) {
    const std::string key(setting.key);
    if (const auto value = CFPreferencesCopyAppValue(key)) settings[key] = JsonOfSetting(*value);
  }
  return settings;
}

JournalJson JsonOfState(const ObjectState& state) {
  return {{"type", kTypeNames[static_cast<size_t>(state.type)]},
          {"device", state.device},
          {"inode", state.inode},
          {"birth", state.birth},
          {"size", state.size},
          {"modified", JournalJson::array({state.modified.seconds, state.modified.nanoseconds})}};
}

// ---- Parsing ----

uint64_t NumberAt(const JournalJson& object, const char* key) {
  const JournalJson& value = object.at(key);
  RequireField(value.is_number_unsigned(), key);
  return value.get<uint64_t>();
}

template <size_t kCount>
size_t NameIndexAt(const JournalJson& object, const char* key,
                   const std::array<std::string_view, kCount>& names) {
  const auto* found = std::ranges::find(names, object.at(key).get_ref<const std::string&>());
  RequireField(found != names.end(), key);
  return static_cast<size_t>(found - names.begin());
}

bool IsNormalisedPath(std::string_view path) {
  if (path == "/") return true;
  if (!path.starts_with('/') || path.find('\0') != std::string_view::npos) return false;
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::string_view component = path.substr(0, path.find('/'));
    if (component.empty() || component == "." || component == "..") return false;
    path.remove_prefix(component.size());
  }
  return true;
}

std::string PathAt(const JournalJson& object, const char* key) {
  const std::optional<std::string> path = BytesFromJson(object.at(key));
  RequireField(path && IsNormalisedPath(*path), key);
  return *path;
}

ObjectState StateAt(const JournalJson& object, const char* key) {
  const JournalJson& value = object.at(key);
  const JournalJson& modified = value.at("modified");
  ObjectState state;
  state.type = static_cast<ItemKind>(NameIndexAt(value, "type", kTypeNames));
  state.device = NumberAt(value, "device");
  state.inode = NumberAt(value, "inode");
  state.birth = NumberAt(value, "birth");
  state.size = NumberAt(value, "size");
  const bool isTime = modified.is_array() && modified.size() == 2 &&
                      modified[0].is_number_integer() && modified[1].is_number_unsigned() &&
                      modified[1].get<uint64_t>() < 1'000'000'000;
  RequireField(isTime, "modified");
  state.modified = {modified[0].get<int64_t>(), modified[1].get<uint32_t>()};
  return state;
}

bool IsUuidText(std::string_view text) {
  constexpr std::string_view kForm = "HHHHHHHH-HHHH-HHHH-HHHH-HHHHHHHHHHHH";
  return std::ranges::equal(text, kForm, [](char letter, char form) {
    const bool isDigit = (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'F');
    return form == 'H' ? isDigit : letter == form;
  });
}

JournalHeader HeaderOf(const JournalJson& object) {
  RequireField(NumberAt(object, "journal") == kFormatVersion, "version");
  JournalHeader header;
  header.id = object.at("id").get<std::string>();
  RequireField(IsUuidText(header.id), "id");
  header.source = PathAt(object, "source");
  header.destination = PathAt(object, "destination");
  return header;
}

ChangeLine ChangeOf(const JournalJson& object) {
  ChangeLine line;
  line.number = NumberAt(object, "change");
  line.change.kind = static_cast<ChangeKind>(NameIndexAt(object, "kind", kChangeNames));
  const bool isCreated = line.change.kind == ChangeKind::kFolderCreated;
  if (!isCreated) {
    line.change.source = PathAt(object, "from");
    line.change.object = StateAt(object, "object");
    line.change.hasSidecar = object.at("sidecar").get<bool>();
  }
  if (line.change.kind != ChangeKind::kItemDeleted) line.change.target = PathAt(object, "to");
  return line;
}

JournalLine LineOf(const JournalJson& object) {
  RequireField(object.is_object(), "object");
  if (object.contains("journal")) return HeaderOf(object);
  if (object.contains("change")) return ChangeOf(object);
  if (object.contains("result"))
    return ResultLine{NumberAt(object, "result"), StateAt(object, "object")};
  if (object.contains("failed")) {
    return FailureLine{NumberAt(object, "failed"),
                       static_cast<Status>(object.at("status").get<int32_t>())};
  }
  RequireField(object.contains("end"), "end");
  return EndLine();
}

// No line has more levels than an object in an object. A deeper one is not built in memory.
constexpr int kMaxDepth = 3;

JournalJson ParseLine(std::string_view text) {
  bool isTooDeep = false;
  const auto isKept = [&isTooDeep](int depth, JournalJson::parse_event_t /*event*/,
                                   JournalJson& /*value*/) {
    isTooDeep |= depth > kMaxDepth;
    return !isTooDeep;
  };
  JournalJson parsed = JournalJson::parse(text, isKept, /*allow_exceptions=*/false);
  RequireField(!isTooDeep && !parsed.is_discarded(), "JSON");
  return parsed;
}

}  // namespace

std::string FormatHeader(const JournalHeader& header) {
  std::string program = VersionText(kProgramSpec);
  program.pop_back();
  return JournalJson({{"journal", kFormatVersion},
                      {"program", program},
                      {"id", header.id},
                      {"start", NowText()},
                      {"source", JsonFromBytes(header.source)},
                      {"destination", JsonFromBytes(header.destination)},
                      {"settings", JsonOfSettings()}})
      .dump();
}

std::string FormatChange(const ChangeLine& line) {
  const Change& change = line.change;
  JournalJson object = {{"change", line.number},
                        {"kind", kChangeNames[static_cast<size_t>(change.kind)]}};
  if (change.object) {
    object["from"] = JsonFromBytes(change.source);
    object["object"] = JsonOfState(*change.object);
    object["sidecar"] = change.hasSidecar;
  }
  if (change.kind != ChangeKind::kItemDeleted) object["to"] = JsonFromBytes(change.target);
  return object.dump();
}

std::string FormatResult(const ResultLine& line) {
  return JournalJson({{"result", line.number}, {"object", JsonOfState(line.state)}}).dump();
}

std::string FormatFailure(const FailureLine& line) {
  return JournalJson({{"failed", line.number}, {"status", static_cast<int32_t>(line.status)}})
      .dump();
}

std::string FormatEnd() { return JournalJson({{"end", NowText()}}).dump(); }

std::optional<JournalLine> ParseJournalLine(std::string_view text) try {
  return LineOf(ParseLine(text));
} catch (const MalformedLine&) {
  return std::nullopt;
} catch (const JournalJson::exception&) {
  // A field is missing, or has another type.
  return std::nullopt;
}

std::string StagingUuidOf(const std::string& id, uint64_t number) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr size_t kLastGroup = 12;
  std::string uuid = id;
  for (size_t i = 1; i <= kLastGroup; ++i, number /= kDigits.size()) {
    uuid[uuid.size() - i] = kDigits[number % kDigits.size()];
  }
  return uuid;
}

bool IsPathWithin(std::string_view path, std::string_view folder) {
  if (folder == "/") return path.starts_with('/');
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace tessary
