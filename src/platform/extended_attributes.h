#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tovrin {

enum class LinkPolicy { follow, noFollow };

/// The attribute's bytes; nothing when it is missing or cannot be read. `name` is the macOS name: systems that need a
/// prefix add it.
std::optional<std::string> extendedAttribute(const std::filesystem::path& path, std::string_view name,
                                             LinkPolicy links);

/// True when the attribute was written.
bool setExtendedAttribute(const std::filesystem::path& path, std::string_view name, std::string_view value,
                          LinkPolicy links);

}  // namespace tovrin
