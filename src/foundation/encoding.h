#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tovrin {

/// Standard base64 with padding.
std::string base64Encode(std::string_view bytes);
/// The same with "-" and "_" instead of "+" and "/", without padding.
std::string base64URLEncode(std::string_view bytes);

/// Decodes as `Data(base64Encoded:)` does with no options: only the standard alphabet, no white space; "=" beyond the
/// needed padding is ignored, and so are unused bits of the last digit. Four or more "=" alone give one zero byte.
/// Nothing when the text is not base64.
std::optional<std::string> base64Decode(std::string_view text);

/// Lower-case hexadecimal, two digits per byte.
std::string hexEncode(std::span<const std::byte> bytes);

bool isASCII(std::string_view text);

bool isValidUTF8(std::string_view bytes);

}  // namespace tovrin
