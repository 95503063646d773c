#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tessary {

enum class UTTagClass { kUTTagClassFilenameExtension, kUTTagClassMIMEType };

// Returns the type identifier of a file-name extension (without "."); none for another tag class.
// Every extension has one: an unknown extension gets a dynamic identifier.
std::optional<std::u16string> UTTypeCreatePreferredIdentifierForTag(UTTagClass tagClass,
                                                                    std::u16string_view tag);

// Returns the MIME type of an identifier from UTTypeCreatePreferredIdentifierForTag; none if its
// extension is unknown, and for another tag class. The type comes from the shared MIME databases of
// the user and the system, or from a built-in table if none is installed. The databases are read at
// first use, and again when the environment names other folders.
std::optional<std::u16string> UTTypeCopyPreferredTagWithClass(std::u16string_view identifier,
                                                              UTTagClass tagClass);

}  // namespace tessary
