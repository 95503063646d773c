#include "platform/linux/configuration/text_file.h"

#include <utility>

#include "platform/linux/configuration/stamped_file.h"

namespace tessary {

Status ReadTextFile(const std::string& path, std::string* text) {
  if (text == nullptr) return paramErr;
  StampedFile file;
  const Status status = ReadStampedFile(path.c_str(), kMaxTextFileSize + 1, &file);
  if (status != noErr) return status;
  if (file.text.size() > kMaxTextFileSize) return paramErr;
  if (file.text.starts_with(kByteOrderMark)) file.text.erase(0, kByteOrderMark.size());
  *text = std::move(file.text);
  return noErr;
}

std::optional<std::string_view> TakeLine(std::string_view* text) {
  if (text->empty()) return std::nullopt;
  const size_t end = text->find('\n');
  std::string_view line = text->substr(0, end);
  text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace tessary
