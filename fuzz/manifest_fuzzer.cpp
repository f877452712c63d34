// Whatever bytes a manifest holds: an error or a valid manifest, and one that encodes to what decodes to the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "shared/indexed_manifest.h"
#include "shared/manifest.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tovrin;
  auto manifest = decodeManifest({reinterpret_cast<const char*>(data), size});
  if (!manifest) return 0;
  const auto again = decodeManifest(encodeManifest(*manifest));
  if (!again || !(*again == *manifest)) std::abort();
  const IndexedManifest indexed(*std::move(manifest));
  for (const auto& entry : indexed.manifest().entries)
    if (indexed.entryAt(entry.relativePath) == nullptr) std::abort();
  return 0;
}
