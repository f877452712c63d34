// Whatever text an identifier is: nothing, or a case that is written as a text of the same meaning.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "provider/identifier.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tovrin;
  const auto identifier = TovrinFileProviderIdentifier::parse({reinterpret_cast<const char*>(data), size});
  if (identifier && TovrinFileProviderIdentifier::parse(identifier->format()) != identifier) std::abort();
  return 0;
}
