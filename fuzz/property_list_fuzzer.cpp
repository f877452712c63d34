// Whatever bytes the tags attribute holds: nothing, or strings that can be written again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/property_list.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tovrin;
  const auto strings = decodeStringArrayPropertyList({reinterpret_cast<const char*>(data), size});
  if (!strings) return 0;
  const auto bytes = encodeBinaryPropertyList(*strings);
  if (bytes && decodeStringArrayPropertyList(*bytes) != strings) std::abort();
  return 0;
}
