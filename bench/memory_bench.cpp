// What a process holds more after it has read a Warp of 1,000,000 files, per entry: for its allocator, and resident.
//   memory_bench        prints both, in bytes

#include <malloc.h>

#include <cstdio>
#include <fstream>

#include "platform/clock.h"
#include "shared/manifest_store.h"
#include "support/large_warp.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

constexpr int kFiles = 1'000'000;

struct Held {
  double allocated;
  double resident;
};

Held held() {
  malloc_trim(0);  // what was let go is not held
  const struct mallinfo2 heap = mallinfo2();
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm").ignore(100, ' ') >> pages;
  return {static_cast<double>(heap.uordblks + heap.hblkhd), 4096.0 * static_cast<double>(pages)};
}

int measure() {
  TestPlatform platform;
  LargeWarp(kFiles).install(platform);
  const Held before = held();
  ManifestStore store(platform.platform());
  const auto manifests = store.loadAll();
  const Held after = held();
  if (manifests.size() != 1) return 1;
  const auto entries = static_cast<double>(manifests.front()->manifest().entries.size());
  std::printf("allocated\t%.1f\nresident\t%.1f\n", (after.allocated - before.allocated) / entries,
              (after.resident - before.resident) / entries);
  return 0;
}

}  // namespace
}  // namespace tovrin

int main() { return tovrin::measure(); }
