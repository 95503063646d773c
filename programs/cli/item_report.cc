#include "programs/cli/item_report.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "engine/classification.h"
#include "engine/items.h"
#include "engine/keys.h"
#include "platform/managers/log.h"
#include "platform/managers/text.h"
#include "platform/managers/urls.h"
#include "programs/cli/json_text.h"

namespace tessary {
namespace {

constexpr std::array<std::string_view, 5> kKeyNames = {"extension", "file-type", "mime-type",
                                                       "modification-date", "creation-date"};

std::optional<std::string> Utf8(const std::optional<std::u16string>& text) {
  return text ? std::optional(Utf8FromUtf16(*text)) : std::nullopt;
}

std::optional<std::string> DateKey(const FSRef& item, DateAttribute attribute) {
  const auto year = Utf8(CopyYearKey(item, attribute));
  const auto day = Utf8(CopyDayKey(item, attribute));
  return year && day ? std::optional(*year + "/" + *day) : std::nullopt;
}

std::string DescribeKind(const FSRef& item, ItemKind kind) {
  if (kind == ItemKind::kLink) return "link";
  if (kind == ItemKind::kSpecial) return "special file";
  if (IsApplicationItem(item)) return "application";
  if (kind == ItemKind::kFile) return "file";
  return IsPlainFolder(item) ? "folder" : "package";
}

// The bytes of a four-character code in text order, without trailing zeros.
std::string TextOfCode(uint32_t code) {
  std::string text;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) text += static_cast<char>(code >> shift & 0xFFU);
  return text.substr(0, text.find_last_not_of('\0') + 1);
}

std::string DescribeFlags(uint16_t flags) {
  std::array<char, 8> number = {};
  (void)std::snprintf(number.data(), number.size(), "0x%04x", unsigned{flags});
  std::string text = number.data();
  if ((flags & kIsInvisible) != 0) text += " invisible";
  if ((flags & kHasBundle) != 0) text += " bundle";
  return text;
}

// ---- Text ----

std::string Line(std::string_view label, const std::optional<std::string>& value,
                 const std::string& origin = {}) {
  std::string line = "  " + std::string(label) + ": ";
  line += value ? EscapeControlCharacters(*value) : "none";
  if (value && !origin.empty()) line += " (" + EscapeControlCharacters(origin) + ")";
  return line + "\n";
}

std::optional<std::string> Quote(const std::string& text) { return '"' + text + '"'; }

std::optional<std::string> InstantText(const std::optional<Timestamp>& instant) {
  const std::string text = instant ? FormatTimestamp(*instant) : std::string();
  return text.empty() ? std::nullopt : std::optional(text);
}

std::string FinderLines(const ItemDetails& details) {
  const std::string& origin = details.finderInfoOrigin;
  if (origin.empty()) return Line("type", {}) + Line("creator", {}) + Line("flags", {});
  const FileInfo& info = details.finderInfo;
  const std::string type = TextOfCode(info.fileType);
  const std::string creator = TextOfCode(info.fileCreator);
  return Line("type", type.empty() ? std::nullopt : Quote(type), origin) +
         Line("creator", creator.empty() ? std::nullopt : Quote(creator), origin) +
         Line("flags", DescribeFlags(info.finderFlags), origin);
}

// ---- JSON ----

std::string JsonText(const std::optional<std::string>& text) {
  return text ? JsonString(*text) : "null";
}

std::string JsonKeys(const ItemReport& report) {
  std::string json = "{";
  for (size_t i = 0; i < kKeyNames.size(); ++i) {
    if (i > 0) json += ", ";
    json += JsonString(kKeyNames[i]) + ": " + JsonText(report.keys[i]);
  }
  return json + "}";
}

std::string JsonFinderInfo(const ItemDetails& details) {
  if (details.finderInfoOrigin.empty()) return "null";
  const FileInfo& info = details.finderInfo;
  return R"({"type": )" + JsonString(TextOfCode(info.fileType)) + R"(, "creator": )" +
         JsonString(TextOfCode(info.fileCreator)) + R"(, "flags": )" +
         std::to_string(info.finderFlags) + R"(, "from": )" + JsonString(details.finderInfoOrigin) +
         "}";
}

std::string JsonFrom(std::string_view name, const std::optional<std::string>& value,
                     const std::string& origin) {
  if (!value) return "null";
  return "{" + JsonString(name) + ": " + JsonString(*value) + R"(, "from": )" + JsonString(origin) +
         "}";
}

}  // namespace

Status MakeItemReport(const FSRef& item, const std::string& path, ItemReport* report) {
  ItemReport result;
  const Status status = CopyItemDetails(item, &result.details);
  if (status != noErr) return status;
  result.path = path;
  result.kind = DescribeKind(item, result.details.kind);
  if (result.kind == "folder") {
    result.whyNotFiled = "folder";
  } else if (IsHiddenItem(item)) {
    result.whyNotFiled = "hidden";
  }
  const std::optional<CFURL> url = CFURLCreateFromFSRef(item);
  result.keys = {url ? Utf8(CFURLCopyPathExtension(*url)) : std::nullopt,
                 Utf8(CopyFileTypeKey(item)), Utf8(CopyMimeTypeKey(url)),
                 DateKey(item, DateAttribute::NSFileModificationDate),
                 DateKey(item, DateAttribute::NSFileCreationDate)};
  *report = std::move(result);
  return noErr;
}

std::string TextOfReport(const ItemReport& report) {
  const ItemDetails& details = report.details;
  const auto comment = Utf8(details.comment);
  std::string text = EscapeControlCharacters(report.path) + "\n" + Line("item", report.kind);
  text += Line("filed", report.whyNotFiled.empty() ? "yes" : "no (" + report.whyNotFiled + ")");
  constexpr std::array<std::string_view, 5> kLabels = {
      "by extension", "by file type", "by MIME type", "by modification date", "by creation date"};
  for (size_t i = 0; i < kLabels.size(); ++i) text += Line(kLabels[i], report.keys[i]);
  text += FinderLines(details);
  text += Line("comment", comment ? Quote(*comment) : std::nullopt, details.commentOrigin);
  text += Line("modified", InstantText(details.modificationDate));
  return text + Line("created", InstantText(details.creationDate), details.creationDateOrigin);
}

std::string JsonOfReport(const ItemReport& report) {
  const ItemDetails& details = report.details;
  return R"({"path": )" + JsonString(report.path) + R"(, "item": )" + JsonString(report.kind) +
         R"(, "filed": )" + (report.whyNotFiled.empty() ? "true" : "false") + R"(, "keys": )" +
         JsonKeys(report) + R"(, "finder-info": )" + JsonFinderInfo(details) + R"(, "comment": )" +
         JsonFrom("text", Utf8(details.comment), details.commentOrigin) +
         R"(, "modification-date": )" + JsonText(InstantText(details.modificationDate)) +
         R"(, "creation-date": )" +
         JsonFrom("date", InstantText(details.creationDate), details.creationDateOrigin) + "}";
}

}  // namespace tessary
