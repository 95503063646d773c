#include "platform/extension_map.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>

#include "platform/managers/bundle.h"
#include "platform/managers/internet_config.h"
#include "platform/managers/text.h"
#include "platform/strings.h"

namespace tessary {
namespace {

using ExtensionMap = std::map<std::u16string, std::u16string, std::less<>>;

// Written by BuildExtensionMap only.
ExtensionMap gExtensionMap;

// Decodes the code's four bytes in text order, up to the first zero byte, as UTF-8. None if they
// are not valid.
std::optional<std::u16string> TextOfFourCharCode(uint32_t code) {
  std::string bytes;
  for (const unsigned shift : {24U, 16U, 8U, 0U}) {
    bytes.push_back(static_cast<char>(code >> shift & 0xFFU));
  }
  const std::string_view text = std::string_view(bytes).substr(0, bytes.find('\0'));
  if (!IsUtf8(text)) return std::nullopt;
  return Utf16FromUtf8(text);
}

void AddMapping(const ICMapEntry& entry) {
  const auto type = TextOfFourCharCode(entry.fileType);
  if (!type || type->empty()) return;
  std::u16string_view extension = entry.extension;
  if (extension.starts_with(u'.')) extension.remove_prefix(1);
  if (extension.empty()) return;
  // A later entry replaces an earlier one, so that the user's mapping prevails over the built-in
  // one.
  gExtensionMap.insert_or_assign(std::u16string(extension), *type);
}

void AddMappings(const ICMapHandle& mapping, size_t count) {
  for (size_t index = 1; index <= count; ++index) {
    ICMapEntry entry;
    // An entry that cannot be read has the zero type, which adds nothing.
    (void)ICGetIndMapEntry(mapping, index, &entry);
    AddMapping(entry);
  }
}

// Reads the mappings through an instance that has been started. On success the access is not ended
// here: stopping the instance ends it.
void ReadMappings(ICInstance* instance) {
  if (ICBegin(instance, ICPerm::icReadOnlyPerm) != noErr) return;
  ICMapHandle mapping;
  size_t count = 0;
  if (ICGetPrefHandle(*instance, "Mapping", &mapping) != noErr ||
      ICCountMapEntries(mapping, &count) != noErr) {
    // The map stays empty, whatever the status of ending the access.
    (void)ICEnd(instance);
    return;
  }
  AddMappings(mapping, count);
}

}  // namespace

void BuildExtensionMap() {
  const uint32_t signature = GetAppSignature();
  gExtensionMap.clear();
  ICInstance instance;
  // If this fails, beginning the access fails too.
  (void)ICStart(&instance, signature);
  ReadMappings(&instance);
  // The map is complete; the status does not matter.
  (void)ICStop(&instance);
}

std::optional<std::u16string> LookUpExtensionType(std::u16string_view extension) {
  const auto entry = gExtensionMap.find(extension);
  if (entry == gExtensionMap.end()) return std::nullopt;
  return entry->second;
}

uint32_t GetAppSignature() {
  constexpr size_t kMaxSignatureLength = 254;
  const auto text = CFBundleGetValueForInfoDictionaryKey("CFBundleSignature");
  if (!text || text->size() > kMaxSignatureLength) return 0;
  uint32_t textOrder = 0;
  std::memcpy(&textOrder, text->data(), std::min(text->size(), sizeof(textOrder)));
  uint32_t signature = 0;
  SwapFourCharCode(&textOrder, &signature);
  return signature;
}

}  // namespace tessary
