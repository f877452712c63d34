#include "platform/extended_attributes.h"

#include <sys/xattr.h>

#include <cerrno>

namespace tovrin {

namespace {

/// Linux lets users keep attributes only under this prefix, and on symbolic links not even those.
std::string linuxName(std::string_view name) { return "user." + std::string(name); }

ssize_t get(const std::filesystem::path& path, const std::string& name, void* value, std::size_t size,
            LinkPolicy links) {
  return links == LinkPolicy::follow ? getxattr(path.c_str(), name.c_str(), value, size)
                                     : lgetxattr(path.c_str(), name.c_str(), value, size);
}

}  // namespace

std::optional<std::string> extendedAttribute(const std::filesystem::path& path, std::string_view name,
                                             LinkPolicy links) {
  const std::string attribute = linuxName(name);
  for (;;) {
    const ssize_t size = get(path, attribute, nullptr, 0, links);
    if (size < 0) return std::nullopt;
    // One byte more: a size of 0 would ask for the length again.
    std::string value(static_cast<std::size_t>(size) + 1, '\0');
    const ssize_t read = get(path, attribute, value.data(), value.size(), links);
    if (read < 0 && errno == ERANGE) continue;  // it grew in between
    if (read < 0) return std::nullopt;
    value.resize(static_cast<std::size_t>(read));
    return value;
  }
}

bool setExtendedAttribute(const std::filesystem::path& path, std::string_view name, std::string_view value,
                          LinkPolicy links) {
  const std::string attribute = linuxName(name);
  const int result = links == LinkPolicy::follow
                         ? setxattr(path.c_str(), attribute.c_str(), value.data(), value.size(), 0)
                         : lsetxattr(path.c_str(), attribute.c_str(), value.data(), value.size(), 0);
  return result == 0;
}

}  // namespace tovrin
