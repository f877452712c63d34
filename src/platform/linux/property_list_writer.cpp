#include "platform/property_list.h"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <type_traits>

namespace tovrin {

namespace {

struct NodeDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, NodeDeleter>;

}  // namespace

std::optional<std::string> encodeBinaryPropertyList(const std::vector<std::string>& strings) {
  const auto holdsNUL = [](const std::string& string) { return string.contains('\0'); };
  if (std::ranges::any_of(strings, holdsNUL)) return std::nullopt;
  const Node array(plist_new_array());
  for (const std::string& string : strings) plist_array_append_item(array.get(), plist_new_string(string.c_str()));
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(array.get(), &bytes, &length);
  const std::unique_ptr<char, decltype(&plist_to_bin_free)> owned(bytes, plist_to_bin_free);
  if (bytes == nullptr) return std::nullopt;
  return std::string(bytes, length);
}

}  // namespace tovrin
