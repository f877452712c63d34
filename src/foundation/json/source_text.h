#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Liberties in JSON texts that other writers of the shared files may take and that the parser does not.
namespace tovrin::json {

/// UTF-8 of a text in UTF-16 or UTF-32, told by its byte order mark or by where its zero bytes stand; nothing when the
/// text is UTF-8 already (or nothing that can be converted).
std::optional<std::string> convertedToUTF8(std::string_view bytes);

/// The text with a space for each comma that stands between a value and a closing bracket; nothing when there is none.
std::optional<std::string> withoutTrailingCommas(std::string_view text);

}  // namespace tovrin::json
