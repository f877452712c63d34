#include "platform/property_list.h"

#include <plist/plist.h>

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

#include "foundation/encoding.h"
#include "platform/linux/binary_property_list.h"

namespace tovrin {

namespace {

struct NodeDeleter {
  void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, NodeDeleter>;

}  // namespace

std::string encodeBinaryPropertyList(const std::vector<std::string>& strings) {
  const Node array(plist_new_array());
  for (const std::string& string : strings) plist_array_append_item(array.get(), plist_new_string(string.c_str()));
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(array.get(), &bytes, &length);
  const std::unique_ptr<char, decltype(&plist_to_bin_free)> owned(bytes, plist_to_bin_free);
  return {bytes, length};
}

std::optional<std::vector<std::string>> decodeStringArrayPropertyList(std::string_view bytes) {
  if (!isPlainStringArray(bytes)) return std::nullopt;
  plist_t root = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  const Node array(root);
  if (array == nullptr || plist_get_node_type(root) != PLIST_ARRAY) return std::nullopt;

  std::vector<std::string> strings;
  const std::uint32_t count = plist_array_get_size(root);
  strings.reserve(count);
  for (std::uint32_t index = 0; index < count; ++index) {
    std::uint64_t length = 0;
    const char* string = plist_get_string_ptr(plist_array_get_item(root, index), &length);
    if (string == nullptr || !isValidUTF8({string, length})) return std::nullopt;
    strings.emplace_back(string, length);
  }
  return strings;
}

}  // namespace tovrin
