// What the domain answers, over Warps as large as they get. The clock stands still where nothing else is said, so the
// manifests are read once.

#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "provider/enumerator.h"
#include "provider/identifier.h"
#include "provider/item.h"
#include "provider/tree.h"
#include "support/large_warp.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"

namespace tovrin {
namespace {

constexpr int kWarps = 1000;
constexpr int kFilesOfEach = 1000;
constexpr int kJournalRecords = 20'000;

/// A domain that was read once.
struct Domain {
  Domain() = default;
  /// One Warp of this many files.
  explicit Domain(int files) : warp(files) {
    warp.install(platform);
    reload();
  }

  std::vector<SharedItem> list(std::string_view container) { return childItems(std::string(container), tree); }
  /// Reads again what changed, as the first question after 0.75 seconds does.
  void reload() {
    // Later than what is written here: files that were modified just before they are read are read again every time.
    platform.clock.setNow(systemClock().now() + (later += 3600));
    benchmark::DoNotOptimize(tree.cachedManifests());
  }
  std::string folderOf100(int folder) const { return entryIdentifier(warp.warpID(), warp.folderPath(folder)); }

  LargeWarp warp{0};
  TestPlatform platform;
  std::shared_ptr<CachedItemsJournal> journal = std::make_shared<CachedItemsJournal>(platform.platform());
  TovrinFileProviderTree tree{platform.platform(), journal};
  double later = 0;
};

/// Kept from one round to the next.
Domain& largeDomain(int files) {
  static std::map<int, std::unique_ptr<Domain>> domains;
  std::unique_ptr<Domain>& domain = domains[files];
  if (domain == nullptr) domain = std::make_unique<Domain>(files);
  return *domain;
}

Domain& manyWarps() {
  static const std::unique_ptr<Domain> kept = [] {
    auto domain = std::make_unique<Domain>();
    for (int warp = 0; warp < kWarps; ++warp) LargeWarp(kFilesOfEach, warp).install(domain->platform);
    domain->reload();
    return domain;
  }();
  return *kept;
}

/// Everything once more from the beginning: the anchor of the reloads.
template <Domain& (*domain)()>
void readAll(benchmark::State& state) {
  Domain& read = domain();
  for (auto _ : state) {
    TovrinFileProviderTree tree(read.platform.platform(), read.journal);
    benchmark::DoNotOptimize(tree.cachedManifests());
  }
}

template <Domain& (*domain)()>
void reloadUnchanged(benchmark::State& state) {
  Domain& unchanged = domain();
  for (auto _ : state) unchanged.reload();
}

Domain& oneWarpOfAMillion() { return largeDomain(1'000'000); }

void reloadOneOf1000Changed(benchmark::State& state) {
  Domain& domain = manyWarps();
  for (auto _ : state) {
    state.PauseTiming();
    LargeWarp(kFilesOfEach, kWarps / 2).install(domain.platform);
    state.ResumeTiming();
    domain.reload();
  }
}

void listFolderOf100(benchmark::State& state) {
  const int files = static_cast<int>(state.range(0));
  Domain& domain = largeDomain(files);
  const std::string container = domain.folderOf100(files / 200);
  for (auto _ : state) benchmark::DoNotOptimize(domain.list(container));
}

/// The anchor of `listFolderOf100`: the same folder found by looking at the parent of every entry.
void scanForFolderOf100(benchmark::State& state) {
  const int files = static_cast<int>(state.range(0));
  Domain& domain = largeDomain(files);
  const TovrinWarpSharedManifest& manifest = domain.tree.cachedManifests().front()->manifest();
  const std::string folder = domain.warp.folderPath(files / 200);
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
    identifiers.push_back(entryIdentifier(domain.warp.warpID(), domain.warp.filePath(file)));
  }
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(makeItem(identifiers[next], domain.tree));
    next = (next + 1) % identifiers.size();
  }
}

bool rememberFiles(Domain& domain) {
  std::vector<TovrinWarpSharedCachedItemRecord> records(kJournalRecords);
  for (int record = 0; record < kJournalRecords; ++record) {
    records[static_cast<std::size_t>(record)].warpID = domain.warp.warpID();
    records[static_cast<std::size_t>(record)].relativePath = domain.warp.filePath(record);
    records[static_cast<std::size_t>(record)].cachedAt = domain.platform.clock.now();
  }
  return domain.journal->save(records).has_value();
}

/// As a face takes the working set over: every item with its version and whether it is uploaded.
void wholeDomain(benchmark::State& state) {
  Domain& domain = largeDomain(static_cast<int>(state.range(0)));
  if (!rememberFiles(domain)) return state.SkipWithError("cannot write the journal");
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

/// What each item of `wholeDomain` would have to wait for if it read the journal by itself.
void readJournal(benchmark::State& state) {
  Domain& domain = largeDomain(static_cast<int>(state.range(0)));
  if (!rememberFiles(domain)) return state.SkipWithError("cannot write the journal");
  for (auto _ : state) benchmark::DoNotOptimize(CachedItemsJournal(domain.platform.platform()).load());
  state.SetItemsProcessed(state.iterations());
}

void anchorOf1000Warps(benchmark::State& state) {
  Domain& domain = manyWarps();
  for (auto _ : state) benchmark::DoNotOptimize(syncAnchor(domain.tree));
}

void listFolderHolding1000Warps(benchmark::State& state) {
  Domain& domain = manyWarps();
  const std::string container = absoluteDirectoryIdentifier("/Users/ann");
  for (auto _ : state) benchmark::DoNotOptimize(domain.list(container));
}

void lookUpAmong1000Warps(benchmark::State& state) {
  Domain& domain = manyWarps();
  const std::string identifier = manifestIdentifier(LargeWarp(kFilesOfEach, kWarps / 2).warpID());
  for (auto _ : state) benchmark::DoNotOptimize(makeItem(identifier, domain.tree));
}

// Real time: reading uses several threads.
BENCHMARK(readAll<oneWarpOfAMillion>)->Name("readOneWarpOfAMillion")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(reloadUnchanged<oneWarpOfAMillion>)->Name("reloadOneWarpOfAMillion")->UseRealTime();
BENCHMARK(readAll<manyWarps>)->Name("read1000Warps")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(reloadUnchanged<manyWarps>)->Name("reload1000Warps")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(reloadOneOf1000Changed)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(anchorOf1000Warps)->Unit(benchmark::kMicrosecond);
BENCHMARK(listFolderHolding1000Warps)->Unit(benchmark::kMicrosecond);
BENCHMARK(lookUpAmong1000Warps)->Unit(benchmark::kMicrosecond);
BENCHMARK(listFolderOf100)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(scanForFolderOf100)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(lookUpItem)->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);
BENCHMARK(wholeDomain)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(readJournal)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tovrin
