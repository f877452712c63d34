// Whatever bytes the cached-item journal holds: an error or records that are written as they were read.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "local/cached_item_records.h"
#include "shared/warp_directory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tovrin;
  const WarpDirectory warp("/container/Warp");
  const auto records = CachedItemRecords::decode({reinterpret_cast<const char*>(data), size}, warp);
  if (!records) return 0;
  TovrinWarpSharedCachedItemsState state;
  state.records = records->all();
  const auto again = CachedItemRecords::decode(encodeCachedItems(state), warp);
  if (!again || !again->are(state.records)) std::abort();
  return 0;
}
