#include "platform/extended_attributes.h"

#include <cerrno>

#include "platform/posix/system_calls.h"

namespace tovrin {

std::optional<std::string> extendedAttribute(const std::filesystem::path& path, std::string_view name,
                                             LinkPolicy links) {
  const std::string attribute(name);
  for (;;) {
    const ssize_t size = readAttribute(path, attribute, nullptr, 0, links);
    if (size < 0) return std::nullopt;
    // One byte more: a size of 0 would ask for the length again.
    std::string value(static_cast<std::size_t>(size) + 1, '\0');
    const ssize_t read = readAttribute(path, attribute, value.data(), value.size(), links);
    if (read < 0 && errno == ERANGE) continue;  // it grew in between
    if (read < 0) return std::nullopt;
    value.resize(static_cast<std::size_t>(read));
    return value;
  }
}

bool setExtendedAttribute(const std::filesystem::path& path, std::string_view name, std::string_view value,
                          LinkPolicy links) {
  return writeAttribute(path, std::string(name), value, links) == 0;
}

}  // namespace tovrin
