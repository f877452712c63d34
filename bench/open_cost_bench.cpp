// What an open costs besides its bytes: fetches of 4 KiB files from a worker in this process, over real files and the
// real clock, with an empty and with a full journal and badge file.

#include <benchmark/benchmark.h>

#include <future>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/tasks.h"
#include "local/cached_items.h"
#include "local/finder_badges.h"
#include "materialize/fetch_contents.h"
#include "materialize/materialization_state.h"
#include "materialize/renterd_client.h"
#include "platform/clock.h"
#include "platform/notification_center.h"
#include "platform/url_session.h"
#include "provider/identifier.h"
#include "provider/tree.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"
#include "tovrin-worker/loopback_worker.h"

namespace tovrin {
namespace {

constexpr int kFiles = 64;  ///< opened in turn: few, so that journal and badge file keep their size
constexpr const char* kFolder = "/Users/ann/Pictures/";

std::string fileName(int file) { return "IMG_" + std::to_string(file) + ".jpeg"; }
std::string filePath(int file) { return kFolder + fileName(file); }
std::string contentsOf(int file) { return std::string(4096, static_cast<char>('A' + file % 26)); }
std::string objectKey(int file) { return "photos/" + fileName(file); }

/// Takes an object and keeps nothing of it.
class Drain final : public BodySink {
 public:
  Result<Verdict> receive(std::span<const std::byte>) override { return Verdict::goOn; }
};

/// A domain of one Warp, and where everything that opens leave behind is kept.
class Opens {
 public:
  /// With so many records and badge paths of files that are not opened here.
  explicit Opens(int known) {
    if (!worker_.start()) return;
    ManifestSpec warp{.originalFolderPath = "/Users/ann/Pictures"};
    for (int file = 0; file < kFiles; ++file) {
      warp.entries.push_back(fileEntry(filePath(file), contentsOf(file), objectKey(file)));
      if (!worker_.putObject("tovrin", objectKey(file), contentsOf(file))) return;
    }
    installManifest(test_, warp);
    installConnection(test_, worker_.address(), worker_.password());
    isReady_ = remember(known);
  }

  bool isReady() const { return isReady_; }

  bool open(int file) {
    std::promise<bool> opened;
    const FetchContext context{platform_, tree_, *journal_, publisher_, tasks_};
    fetchContents(context, entryIdentifier("W1", filePath(file)),
                  [&opened](const auto& delivered, const auto&, const auto&) {
                    if (delivered) std::filesystem::remove(*delivered);
                    opened.set_value(delivered.has_value());
                  });
    return opened.get_future().get();
  }

  /// The anchor: no more than the worker is asked for an open.
  bool download(int file) {
    const TovrinWarpRenterdConnectionSnapshot snapshot{worker_.address(), worker_.password(), {}};
    RenterdClient client(platform_);
    if (!client.probeAccounts(snapshot, {})) return false;
    Drain drain;
    const std::string key = objectKey(file);
    return client.downloadObject(snapshot, {key, std::nullopt}, drain, {}).has_value();
  }

 private:
  bool remember(int known) {
    std::vector<TovrinWarpSharedCachedItemRecord> records(static_cast<std::size_t>(known));
    std::map<std::string, TovrinWarpSharedFinderBadgeState> badges;
    for (int file = 0; file < known; ++file) {
      TovrinWarpSharedCachedItemRecord& record = records[static_cast<std::size_t>(file)];
      record.warpID = "0B5C3A52-6C11-4A8E-9E0B-7D2D1B9C4F10";
      record.relativePath = "/Users/ann/Documents/" + fileName(file);
      record.size = 2'000'000 + file;
      record.cachedAt = clock_.now();
      record.materializedModificationTimeNanoseconds = 1'700'000'000'123'456'789;
      record.materializedStatusChangeTimeNanoseconds = 1'700'000'000'123'456'789;
      record.materializedBirthTimeNanoseconds = 1'700'000'000'123'456'789;
      badges.emplace(record.relativePath, TovrinWarpSharedFinderBadgeState::cached);
    }
    if (known > 0) badges_.publish(badges, {});
    return known == 0 || journal_->save(std::move(records)).has_value();
  }

  TestPlatform test_;
  LoopbackWorker worker_{[this] {
    LoopbackWorkerOptions options;
    options.root = test_.scratch / "objects";
    return options;
  }()};
  Clock& clock_ = systemClock();
  std::unique_ptr<NotificationCenter> notifications_ = makeDistributedNotificationCenter();
  Platform platform_{clock_, test_.directories, *test_.urlSession, *notifications_};
  std::shared_ptr<CachedItemsJournal> journal_ = std::make_shared<CachedItemsJournal>(platform_);
  std::shared_ptr<TovrinFileProviderTree> tree_ = std::make_shared<TovrinFileProviderTree>(platform_, journal_);
  FinderBadges badges_{platform_};
  MaterializationStatePublisher publisher_{platform_, badges_};
  bool isReady_ = false;
  TaskGroup tasks_;
};

template <bool (Opens::*work)(int)>
void one(benchmark::State& state) {
  Opens opens(static_cast<int>(state.range(0)));
  if (!opens.isReady()) return state.SkipWithError("cannot prepare the files");
  int file = 0;
  for (auto _ : state) {
    if (!(opens.*work)(file)) return state.SkipWithError("a file does not open");
    file = (file + 1) % kFiles;
  }
}

/// As a search over everything does: each open begins where the one before has just ended.
BENCHMARK(one<&Opens::download>)->Name("downloadAlone")->Arg(0)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(one<&Opens::open>)->Name("open")->Arg(0)->Arg(20'000)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tovrin
