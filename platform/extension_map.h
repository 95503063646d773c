#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessary {

// Builds the process-wide map from file-name extension to four-character file type out of the
// user's Internet Config mappings. Called once at start-up. The map is empty where they cannot be
// read, and holds an extension exactly as its entry spells it, less a leading ".".
void BuildExtensionMap();

// The file type mapped to `extension` (without "."), in exactly this spelling, or none.
std::optional<std::u16string> LookUpExtensionType(std::u16string_view extension);

// The application's signature as a four-character code in host order; 0 where the main bundle does
// not tell one.
uint32_t GetAppSignature();

}  // namespace tessary
