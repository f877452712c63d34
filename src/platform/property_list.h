#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovrin {

/// A binary property list (version 1.0) whose root is an array of strings; nothing when a string holds a NUL, which the
/// writing library cannot keep, or when there is no memory.
std::optional<std::string> encodeBinaryPropertyList(const std::vector<std::string>& strings);

/// Nothing when the bytes are not a property list or its root is not an array of strings.
std::optional<std::vector<std::string>> decodeStringArrayPropertyList(std::string_view bytes);

}  // namespace tovrin
