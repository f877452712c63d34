// What the domain answers, over Warps as large as they get. The clock stands still, so the manifests are read once.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "platform/clock.h"
#include "provider/enumerator.h"
#include "provider/identifier.h"
#include "provider/item.h"
#include "provider/tree.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"

namespace tovrin {
namespace {

constexpr int kEntriesPerFolder = 100;
constexpr int kJournalRecords = 20'000;

std::string folderPath(int folder) { return "/Users/ann/Pictures/Album " + std::to_string(folder); }
std::string filePath(int file) {
  return folderPath(file / kEntriesPerFolder) + "/IMG_" + std::to_string(file) + ".jpeg";
}

/// One Warp of so many files in folders of a hundred.
ManifestSpec largeWarp(int files) {
  ManifestSpec spec{.warpID = "0B5C3A52-6C11-4A8E-9E0B-7D2D1B9C4F10", .originalFolderPath = "/Users/ann/Pictures"};
  for (int file = 0; file < files; ++file) {
    if (file % kEntriesPerFolder == 0) {
      spec.entries.push_back({.path = folderPath(file / kEntriesPerFolder), .kind = "directory"});
    }
    spec.entries.push_back({.path = filePath(file),
                            .size = 2'000'000 + file,
                            .modificationTimeNanoseconds = 1'700'000'000'123'456'789,
                            .birthTimeNanoseconds = 1'690'000'000'123'456'789});
  }
  return spec;
}

struct Domain {
  std::vector<SharedItem> list(std::string_view container) { return childItems(std::string(container), tree); }

  TestPlatform platform;
  std::shared_ptr<CachedItemsJournal> journal = std::make_shared<CachedItemsJournal>(platform.platform());
  TovrinFileProviderTree tree{platform.platform(), journal};
};

std::unique_ptr<Domain> domainOf(const std::vector<ManifestSpec>& warps) {
  auto domain = std::make_unique<Domain>();
  // Later than what is written here: files that were modified just before they are read are read again every time.
  domain->platform.clock.setNow(systemClock().now() + 3600);
  for (const ManifestSpec& warp : warps) installManifest(domain->platform, warp);
  benchmark::DoNotOptimize(domain->tree.cachedManifests());
  return domain;
}

/// The domain of one Warp with this many files; the last one made is kept.
Domain& largeDomain(int files) {
  static std::unique_ptr<Domain> kept;
  static int keptFiles = -1;
  if (keptFiles != files) {
    kept.reset();
    kept = domainOf({largeWarp(files)});
    keptFiles = files;
  }
  return *kept;
}

Domain& manyWarps() {
  static const std::unique_ptr<Domain> domain = [] {
    std::vector<ManifestSpec> warps;
    for (int warp = 0; warp < 1000; ++warp) {
      const std::string name = std::to_string(warp);
      const std::string folder = "/Users/user " + std::to_string(warp % 10) + "/Documents/Warp " + name;
      warps.push_back({.warpID = "warp-" + name, .originalFolderPath = folder, .entries = {{.path = folder + "/a"}}});
    }
    return domainOf(warps);
  }();
  return *domain;
}

const IndexedManifest& onlyManifest(Domain& domain) { return *domain.tree.cachedManifests().front(); }

void listFolderOf100(benchmark::State& state) {
  const int files = static_cast<int>(state.range(0));
  Domain& domain = largeDomain(files);
  const auto container = entryIdentifier(onlyManifest(domain).manifest().warpID, folderPath(files / 200));
  for (auto _ : state) benchmark::DoNotOptimize(domain.list(container));
}

/// The anchor of `listFolderOf100`: the same folder found by looking at the parent of every entry.
void scanForFolderOf100(benchmark::State& state) {
  const int files = static_cast<int>(state.range(0));
  const TovrinWarpSharedManifest& manifest = onlyManifest(largeDomain(files)).manifest();
  const std::string folder = folderPath(files / 200);
  for (auto _ : state) {
    std::size_t found = 0;
    for (const TovrinWarpSharedEntry& entry : manifest.entries) {
      found += entryParentPath(entry.relativePath, manifest) == folder ? 1 : 0;
    }
    benchmark::DoNotOptimize(found);
  }
}

void lookUpItem(benchmark::State& state) {
  const int files = static_cast<int>(state.range(0));
  Domain& domain = largeDomain(files);
  std::vector<std::string> identifiers;
  for (int file = 0; file < files; file += files / 1000) {
    identifiers.push_back(entryIdentifier(onlyManifest(domain).manifest().warpID, filePath(file)));
  }
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(makeItem(identifiers[next], domain.tree));
    next = (next + 1) % identifiers.size();
  }
}

void wholeDomain(benchmark::State& state) {
  Domain& domain = largeDomain(static_cast<int>(state.range(0)));
  std::size_t items = 0;
  for (auto _ : state) items += domain.list(NSFileProviderWorkingSetContainerItemIdentifier).size();
  state.SetItemsProcessed(static_cast<std::int64_t>(items));
}

/// As a face takes the working set over: every item with its version and whether it is uploaded.
void wholeDomainWithProperties(benchmark::State& state) {
  Domain& domain = largeDomain(static_cast<int>(state.range(0)));
  std::vector<TovrinWarpSharedCachedItemRecord> records(kJournalRecords);
  for (int record = 0; record < kJournalRecords; ++record) {
    records[static_cast<std::size_t>(record)].warpID = onlyManifest(domain).manifest().warpID;
    records[static_cast<std::size_t>(record)].relativePath = filePath(record);
    records[static_cast<std::size_t>(record)].cachedAt = domain.platform.clock.now();
  }
  if (!domain.journal->save(records)) return state.SkipWithError("cannot write the journal");
  std::size_t items = 0;
  for (auto _ : state) {
    for (const SharedItem& item : domain.list(NSFileProviderWorkingSetContainerItemIdentifier)) {
      benchmark::DoNotOptimize(item->itemVersion());
      benchmark::DoNotOptimize(item->isUploaded());
      ++items;
    }
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(items));
}

void anchorOf1000Warps(benchmark::State& state) {
  Domain& domain = manyWarps();
  for (auto _ : state) benchmark::DoNotOptimize(syncAnchor(domain.tree));
}

void listTopOf1000Warps(benchmark::State& state) {
  Domain& domain = manyWarps();
  for (auto _ : state) benchmark::DoNotOptimize(domain.list(kWarpedRootIdentifier));
}

void listFolderHolding100Of1000Warps(benchmark::State& state) {
  Domain& domain = manyWarps();
  const std::string container = absoluteDirectoryIdentifier("/Users/user 3/Documents");
  for (auto _ : state) benchmark::DoNotOptimize(domain.list(container));
}

void lookUpAmong1000Warps(benchmark::State& state) {
  Domain& domain = manyWarps();
  for (auto _ : state) benchmark::DoNotOptimize(makeItem("manifest:warp-999", domain.tree));
}

BENCHMARK(anchorOf1000Warps)->Unit(benchmark::kMicrosecond);
BENCHMARK(listTopOf1000Warps)->Unit(benchmark::kMicrosecond);
BENCHMARK(listFolderHolding100Of1000Warps)->Unit(benchmark::kMicrosecond);
BENCHMARK(lookUpAmong1000Warps)->Unit(benchmark::kMicrosecond);
BENCHMARK(listFolderOf100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(scanForFolderOf100)->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(listFolderOf100)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(scanForFolderOf100)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(lookUpItem)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(wholeDomain)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(wholeDomainWithProperties)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tovrin
