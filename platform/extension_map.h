#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessary {

// Builds the process-wide map from file-name extension to four-character file type from the user's
// Internet Config mappings. Called once at start-up. The map is empty if the mappings cannot be
// read. It holds each extension in the spelling of its entry, without one leading ".".
void BuildExtensionMap();

// Returns the file type for `extension` (without "."), in exactly this spelling, or none.
std::optional<std::u16string> LookUpExtensionType(std::u16string_view extension);

// Returns the application's signature as a four-character code in host byte order, or 0 if the main
// bundle has none.
uint32_t GetAppSignature();

}  // namespace tessary
