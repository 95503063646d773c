#include "programs/cli/info_command.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/classification.h"
#include "engine/items.h"
#include "engine/keys.h"
#include "platform/managers/autorelease_pool.h"
#include "platform/managers/item_details.h"
#include "platform/managers/log.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"
#include "platform/managers/utf16.h"
#include "programs/cli/engine_setup.h"
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

bool IsLoneSurrogate(std::u16string_view text, size_t at) {
  if (IsHighSurrogate(text[at])) return at + 1 == text.size() || !IsLowSurrogate(text[at + 1]);
  return IsLowSurrogate(text[at]) && (at == 0 || !IsHighSurrogate(text[at - 1]));
}

// The bytes as a JSON string with its quotes. Bytes that are not UTF-8 are replaced by U+FFFD.
std::string JsonString(std::string_view bytes) {
  const std::u16string text = Utf16FromUtf8(bytes);
  std::string json = "\"";
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'"' || text[i] == u'\\') {
      json += {'\\', static_cast<char>(text[i])};
    } else if (text[i] < 0x20 || text[i] == 0x7F) {
      json += "\\u" + FourHexDigits(text[i]);
    } else if (IsLoneSurrogate(text, i)) {
      json += "\\ufffd";
    } else {
      const size_t units = IsHighSurrogate(text[i]) ? 2 : 1;
      json += Utf8FromUtf16(std::u16string_view(text).substr(i, units));
      i += units - 1;
    }
  }
  return json += '"';
}

std::string Base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 3) {
    const std::string_view group = bytes.substr(at, 3);
    uint32_t bits = 0;
    for (size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
    }
    for (size_t i = 0; i < 4; ++i) {
      text += i <= group.size() ? kDigits[bits >> (18 - 6 * i) & 0x3F] : '=';
    }
  }
  return text;
}

std::string JsonText(const Text& text) { return text ? JsonString(*text) : "null"; }

// The names of an object's members, and their values as JSON.
using JsonMembers = std::vector<std::pair<std::string, std::string>>;

// Adds a text of any bytes. If it is not UTF-8, a second member has the bytes.
void AddBytes(const std::string& name, const Text& bytes, JsonMembers* members) {
  members->emplace_back(name, JsonText(bytes));
  if (bytes && !IsUtf8(*bytes)) {
    members->emplace_back(name + "-base64", '"' + Base64(*bytes) + '"');
  }
}

std::string JsonObject(const JsonMembers& members) {
  std::string json;
  for (const auto& [name, value] : members) {
    json += (json.empty() ? "{" : ", ") + JsonString(name) + ": " + value;
  }
  return json + "}";
}

std::string JsonFinderInfo(const ItemDetails& details) {
  if (details.finderInfoOrigin.empty()) return "null";
  const FileInfo& info = details.finderInfo;
  JsonMembers members;
  AddBytes("type", TextOfCode(info.fileType), &members);
  AddBytes("creator", TextOfCode(info.fileCreator), &members);
  members.emplace_back("flags", std::to_string(info.finderFlags));
  AddBytes("from", details.finderInfoOrigin, &members);
  return JsonObject(members);
}

std::string JsonFrom(const std::string& name, const Text& value, const std::string& origin) {
  if (!value) return "null";
  JsonMembers members;
  AddBytes(name, value, &members);
  AddBytes("from", origin, &members);
  return JsonObject(members);
}

// One object, without a newline.
std::string JsonOfReport(const ItemInfo& report) {
  const ItemDetails& details = report.details;
  const Text created = InstantText(details.creationDate);
  JsonMembers keys;
  for (size_t i = 0; i < kKindNames.size(); ++i) {
    AddBytes(std::string(kKindNames[i]), report.keys[i], &keys);
  }
  JsonMembers members;
  AddBytes("path", report.path, &members);
  members.insert(members.end(),
                 {{"item", JsonString(report.kind)},
                  {"filed", report.whyNotFiled.empty() ? "true" : "false"},
                  {"keys", JsonObject(keys)},
                  {"finder-info", JsonFinderInfo(details)},
                  {"comment", JsonFrom("text", Utf8(details.comment), details.commentOrigin)},
                  {"modification-date", JsonText(InstantText(details.modificationDate))},
                  {"creation-date", JsonFrom("date", created, details.creationDateOrigin)}});
  return JsonObject(members);
}

std::string JsonOfError(const std::string& named, Status status) {
  JsonMembers members;
  AddBytes("path", named, &members);
  members.emplace_back("error", JsonString(DescribeStatus(status)));
  return JsonObject(members);
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
      text += status == noErr ? JsonOfReport(report) : JsonOfError(named, status);
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
