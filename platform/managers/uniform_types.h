#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tessary {

enum class UTTagClass { kUTTagClassFilenameExtension, kUTTagClassMIMEType };

// The type identifier preferred for a file-name extension (without "."), or none for another tag
// class. Every extension has one: an unknown one gets an identifier of its own.
std::optional<std::u16string> UTTypeCreatePreferredIdentifierForTag(UTTagClass tagClass,
                                                                    std::u16string_view tag);

// The MIME type preferred for an identifier from UTTypeCreatePreferredIdentifierForTag; none where
// its extension is unknown, and for another tag class. Taken from the shared MIME database of the
// user and the system, or from a built-in table where none is installed; read at first use, and
// again only when the environment names other folders for it.
std::optional<std::u16string> UTTypeCopyPreferredTagWithClass(std::u16string_view identifier,
                                                              UTTagClass tagClass);

}  // namespace tessary
