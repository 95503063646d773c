#include "programs/cli/info_command.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "engine/classification.h"
#include "engine/items.h"
#include "engine/keys.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/item_details.h"
#include "platform/managers/log.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"
#include "programs/cli/engine_setup.h"
#include "programs/cli/json_bytes.h"
#include "programs/cli/messages.h"
#include "programs/cli/named_paths.h"

namespace tessary {
namespace {

using Text = std::optional<std::string>;

// What a run sees of one item.
struct ItemInfo {
  std::string path;  // absolute
  // "file", "folder", "package", "application", "link" or "special file".
  std::string kind;
  std::string whyNotFiled;  // "folder" or "hidden"; empty for an item that a run files
  // The keys in the order of AggregationKind. A date has the keys of the year folder and the day
  // folder with "/" between them.
  std::array<Text, kKindNames.size()> keys;
  ItemDetails details;
};

Text Utf8(const std::optional<std::u16string>& text) {
  return text ? Text(Utf8FromUtf16(*text)) : std::nullopt;
}

Text DateKey(const FSRef& item, DateAttribute attribute) {
  const Text year = Utf8(CopyYearKey(item, attribute));
  const Text day = Utf8(CopyDayKey(item, attribute));
  return year && day ? Text(*year + "/" + *day) : std::nullopt;
}

std::string DescribeKind(const FSRef& item, ItemKind kind) {
  if (kind == ItemKind::kLink) return "link";
  if (kind == ItemKind::kSpecial) return "special file";
  if (IsApplicationItem(item)) return "application";
  if (kind == ItemKind::kFile) return "file";
  return IsPlainFolder(item) ? "folder" : "package";
}

// Returns noErr, or the status of ResolveItemPath, FSPathMakeRef or CopyItemDetails; then only a
// part of `*report` is written.
Status ReadItem(const std::string& named, ItemInfo* report) {
  FSRef item;
  Status status = ResolveItemPath(named, &report->path);
  if (status == noErr) status = FSPathMakeRef(report->path.c_str(), &item);
  if (status == noErr) status = CopyItemDetails(item, &report->details);
  if (status != noErr) return status;
  report->kind = DescribeKind(item, report->details.kind);
  if (report->kind == "folder") {
    report->whyNotFiled = "folder";
  } else if (IsHiddenItem(item)) {
    report->whyNotFiled = "hidden";
  }
  const std::optional<CFURL> url = CFURLCreateFromFSRef(item);
  report->keys = {url ? Utf8(CFURLCopyPathExtension(*url)) : std::nullopt,
                  Utf8(CopyFileTypeKey(item)), Utf8(CopyMimeTypeKey(url)),
                  DateKey(item, DateAttribute::NSFileModificationDate),
                  DateKey(item, DateAttribute::NSFileCreationDate)};
  return noErr;
}

// The bytes of a four-character code in text order, without trailing zeros.
std::string TextOfCode(uint32_t code) {
  std::string text;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) text += static_cast<char>(code >> shift & 0xFFU);
  return text.substr(0, text.find_last_not_of('\0') + 1);
}

std::string FourHexDigits(unsigned number) {
  std::array<char, 12> digits = {};
  (void)std::snprintf(digits.data(), digits.size(), "%04x", number);
  return digits.data();
}

Text InstantText(const std::optional<Timestamp>& instant) {
  const std::string text = instant ? FormatTimestamp(*instant) : std::string();
  return text.empty() ? std::nullopt : Text(text);
}

// ---- Text ----

// One line of a report; " (ORIGIN)" follows a value that has one.
std::string Line(std::string_view label, const Text& value, const std::string& origin = {}) {
  std::string line = "  " + std::string(label) + ": ";
  line += value ? EscapeControlCharacters(*value) : "none";
  if (value && !origin.empty()) line += " (" + EscapeControlCharacters(origin) + ")";
  return line + "\n";
}

Text QuotedCode(uint32_t code) { return code == 0 ? std::nullopt : Text(Quoted(TextOfCode(code))); }

Text DescribeFlags(const ItemDetails& details) {
  if (details.finderInfoOrigin.empty()) return std::nullopt;
  const unsigned flags = details.finderInfo.finderFlags;
  std::string text = "0x" + FourHexDigits(flags);
  if ((flags & kIsInvisible) != 0) text += " invisible";
  if ((flags & kHasBundle) != 0) text += " bundle";
  return text;
}

// Lines, each with a newline; the first is the path, the others are indented.
std::string TextOfReport(const ItemInfo& report) {
  const ItemDetails& details = report.details;
  const Text comment = Utf8(details.comment);
  std::string text = EscapeControlCharacters(report.path) + "\n" + Line("item", report.kind);
  text += Line("filed", report.whyNotFiled.empty() ? "yes" : "no (" + report.whyNotFiled + ")");
  constexpr std::array<std::string_view, kKindNames.size()> kLabels = {
      "by extension", "by file type", "by MIME type", "by modification date", "by creation date"};
  for (size_t i = 0; i < kLabels.size(); ++i) text += Line(kLabels[i], report.keys[i]);
  text += Line("type", QuotedCode(details.finderInfo.fileType), details.finderInfoOrigin);
  text += Line("creator", QuotedCode(details.finderInfo.fileCreator), details.finderInfoOrigin);
  text += Line("flags", DescribeFlags(details), details.finderInfoOrigin);
  text += Line("comment", comment ? Text(Quoted(*comment)) : std::nullopt, details.commentOrigin);
  text += Line("modified", InstantText(details.modificationDate));
  return text + Line("created", InstantText(details.creationDate), details.creationDateOrigin);
}

// ---- JSON ----

using Json = nlohmann::ordered_json;

Json JsonOfText(const Text& text) { return text ? Json(JsonFromBytes(*text)) : Json(); }

Json JsonOfFinderInfo(const ItemDetails& details) {
  if (details.finderInfoOrigin.empty()) return nullptr;
  const FileInfo& info = details.finderInfo;
  return {{"type", JsonFromBytes(TextOfCode(info.fileType))},
          {"creator", JsonFromBytes(TextOfCode(info.fileCreator))},
          {"flags", info.finderFlags},
          {"from", JsonFromBytes(details.finderInfoOrigin)}};
}

Json JsonWithOrigin(const char* name, const Text& value, const std::string& origin) {
  if (!value) return nullptr;
  return {{name, JsonFromBytes(*value)}, {"from", JsonFromBytes(origin)}};
}

Json JsonOfReport(const ItemInfo& report) {
  const ItemDetails& details = report.details;
  const Text created = InstantText(details.creationDate);
  Json keys = Json::object();
  for (size_t i = 0; i < kKindNames.size(); ++i) {
    keys[std::string(kKindNames[i])] = JsonOfText(report.keys[i]);
  }
  return {{"path", JsonFromBytes(report.path)},
          {"item", report.kind},
          {"filed", report.whyNotFiled.empty()},
          {"keys", keys},
          {"finder-info", JsonOfFinderInfo(details)},
          {"comment", JsonWithOrigin("text", Utf8(details.comment), details.commentOrigin)},
          {"modification-date", JsonOfText(InstantText(details.modificationDate))},
          {"creation-date", JsonWithOrigin("date", created, details.creationDateOrigin)}};
}

Json JsonOfError(const std::string& named, Status status) {
  return {{"path", JsonFromBytes(named)}, {"error", DescribeStatus(status)}};
}

}  // namespace

ExitStatus PrintInfo(const InfoOptions& options) {
  PrepareEngine();
  std::string text;
  size_t reported = 0;
  const NSAutoreleasePool pool;
  for (const std::string& named : options.files) {
    ItemInfo report;
    const Status status = ReadItem(named, &report);
    if (status == noErr) ++reported;
    if (status != noErr) PrintProblem(Shown(named) + ": cannot read: " + DescribeStatus(status));
    if (options.isJson) {
      text += text.empty() ? "[\n" : ",\n";
      text += JsonLine(status == noErr ? JsonOfReport(report) : JsonOfError(named, status));
    } else if (status == noErr) {
      text += TextOfReport(report);
    }
  }
  if (options.isJson) text += "\n]\n";
  const ExitStatus written = PrintOutput(text);
  if (written != ExitStatus::kSuccess || reported == options.files.size()) return written;
  return reported == 0 ? ExitStatus::kFailure : ExitStatus::kSomeFailed;
}

}  // namespace tessary
