#include "materialize/fetch_contents.h"

#include <algorithm>
#include <optional>
#include <stop_token>
#include <tuple>
#include <utility>
#include <variant>

#include "foundation/caught.h"
#include "materialize/errors.h"
#include "materialize/fetch_destination.h"
#include "materialize/open_states.h"
#include "materialize/payload_reconstruction.h"
#include "materialize/renterd_client.h"
#include "materialize/symbolic_link.h"
#include "materialize/temporary_file.h"
#include "platform/file_system.h"
#include "provider/identifier.h"
#include "provider/item.h"
#include "shared/warp_directory.h"

namespace tovrin {
namespace {

using FetchCompletion = NSFileProviderReplicatedExtension::FetchCompletion;

constexpr std::int64_t kTotalUnits = 100;
constexpr std::int64_t kUnitsInPlace = 99;

/// A file or symbolic link of a Warp, with the manifest that it points into.
struct FetchableEntry {
  SharedManifest manifest;
  const TovrinWarpSharedEntry* entry = nullptr;
};

struct Delivery {
  std::optional<std::filesystem::path> file;
  SharedItem item;
};

Result<FetchableEntry> resolve(TovrinFileProviderTree& tree, const NSFileProviderItemIdentifier& text) {
  const auto identifier = TovrinFileProviderIdentifier::parse(text);
  if (!identifier) return failure(notOnDemandError());
  const auto* named = std::get_if<TovrinFileProviderIdentifier::Entry>(&identifier->value);
  if (named == nullptr) return failure(notOnDemandError());
  SharedManifest manifest = tree.manifestForWarpID(named->warpID);
  if (!manifest) return failure(notOnDemandError());
  const TovrinWarpSharedEntry* entry = manifest->entryAt(named->relativePath);
  if (entry == nullptr || entry->kind == TovrinWarpSharedEntryKind::directory) return failure(notOnDemandError());
  return FetchableEntry{std::move(manifest), entry};
}

bool hasPayload(const TovrinWarpSharedEntry& entry) { return !entry.payloadParts.empty() || entry.payloadKey; }

/// The entry whose payload is downloaded. A hard link may leave its content to its primary, which may be a link itself;
/// links that lead nowhere, or in a circle, leave the entry to its own lack of a payload.
const TovrinWarpSharedEntry& payloadOf(const TovrinWarpSharedEntry& entry, const IndexedManifest& manifest) {
  constexpr int kLongestChain = 40;
  const TovrinWarpSharedEntry* payload = &entry;
  for (int links = 0; payload != nullptr && links < kLongestChain; ++links) {
    if (hasPayload(*payload)) return *payload;
    payload = manifest.hardLinkPrimary(*payload);
  }
  return entry;
}

/// One fetch, from its start state to its one completion.
class Fetch {
 public:
  Fetch(const FetchContext& context, FetchableEntry fetchable, std::shared_ptr<NSProgress> progress,
        FetchCompletion completion)
      : context_(context),
        fetchable_(std::move(fetchable)),
        item_{fetchable_.manifest->manifest().warpID, entry().relativePath},
        progress_(std::move(progress)),
        completion_(std::move(completion)) {}

  void run(const std::stop_token& stop) {
    const Result<Delivery> delivery = caught([&] { return materialize(stop); });
    if (delivery) {
      show([&] { return openedState(item_); });
      progress_->setCompletedUnitCount(kTotalUnits);
      completion_(delivery->file, delivery->item, std::nullopt);
    } else {
      show([&] { return failedState(item_, delivery.error()); });
      progress_->setCompletedUnitCount(kTotalUnits);
      completion_(std::nullopt, nullptr, delivery.error());
    }
    // By the tree, which this holds: the completion may have let go of everything else.
    context_.tree->journal()->prepareNextSave();
  }

 private:
  const TovrinWarpSharedEntry& entry() const { return *fetchable_.entry; }

  template <class MakeState>
  void show(MakeState&& makeState) noexcept {
    // A state that there is no memory for is left out; the file matters more.
    std::ignore = caught([&]() -> Result<void> {
      context_.publisher.publish(makeState());
      return {};
    });
  }

  Result<Delivery> materialize(const std::stop_token& stop) {
    show([&] { return openingState(item_, 0.0); });
    TOVRIN_TRY(std::filesystem::path path, chooseDestination(context_.platform.directories, entry().relativePath));
    TemporaryFile destination(std::move(path));
    if (entry().kind == TovrinWarpSharedEntryKind::symlink) {
      TOVRIN_CHECK(makeSymlink(destination.path(), entry().rare->symlinkTarget));
    } else {
      TOVRIN_CHECK(download(destination.path(), stop));
    }
    progress_->setCompletedUnitCount(kUnitsInPlace);
    Delivery delivery{destination.path(), makeEntryItem(entry(), fetchable_.manifest, *context_.tree)};
    TOVRIN_CHECK(recordCachedItem(destination.path()));
    destination.keep();
    return delivery;
  }

  Result<void> download(const std::filesystem::path& destination, const std::stop_token& stop) {
    TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(context_.platform.directories));
    TOVRIN_TRY(const TovrinWarpRenterdConnectionSnapshot snapshot, readConnectionSnapshot(warp.path()));
    RenterdClient client(context_.platform);
    TOVRIN_CHECK(client.waitUntilReady(
        snapshot,
        [this](RenterdClient::WaitPhase phase, std::int64_t readyAccounts) {
          show([&] { return waitingState(item_, phase, readyAccounts); });
        },
        stop));
    const ReconstructionRequest request{.entry = entry(),
                                        .payload = payloadOf(entry(), *fetchable_.manifest),
                                        .destination = destination,
                                        .temporaryDirectory = context_.platform.directories.temporaryDirectory()};
    return reconstruct(client, snapshot, request, [this](double fraction) { reportPart(fraction); }, stop);
  }

  void reportPart(double fraction) {
    const double units = std::min(fraction * kUnitsInPlace, static_cast<double>(kUnitsInPlace));
    progress_->setCompletedUnitCount(static_cast<std::int64_t>(units));
    show([&] { return openingState(item_, fraction); });
  }

  /// A download never forgets an edit: what an earlier record says about one stays.
  Result<void> recordCachedItem(const std::filesystem::path& file) {
    TOVRIN_TRY(const FileAttributes attributes, fileAttributes(file));
    const Date now = context_.platform.clock.now();
    return context_.journal.replaceRecord(
        item_.warpID, item_.relativePath, [&](const TovrinWarpSharedCachedItemRecord* previous) {
          TovrinWarpSharedCachedItemRecord record =
              previous != nullptr ? *previous : TovrinWarpSharedCachedItemRecord{};
          record.warpID = item_.warpID;
          record.relativePath = item_.relativePath;
          record.size = attributes.identity.size;
          record.cachedAt = now;
          record.materializedModificationTimeNanoseconds = attributes.identity.modificationTimeNanoseconds;
          record.materializedStatusChangeTimeNanoseconds = attributes.identity.statusChangeTimeNanoseconds;
          record.materializedBirthTimeNanoseconds = attributes.birthTimeNanoseconds;
          return record;
        });
  }

  const FetchContext context_;
  const FetchableEntry fetchable_;
  const OpenedItem item_;
  const std::shared_ptr<NSProgress> progress_;
  const FetchCompletion completion_;
};

/// Starts the task. On failure nothing runs and the completion is the caller's to call.
Result<void> startFetch(const FetchContext& context, const NSFileProviderItemIdentifier& itemIdentifier,
                        const std::shared_ptr<NSProgress>& progress, const FetchCompletion& completion) {
  TOVRIN_TRY(FetchableEntry fetchable, resolve(*context.tree, itemIdentifier));
  auto fetch = std::make_shared<Fetch>(context, std::move(fetchable), progress, completion);
  startCancellable(context.tasks, *progress, [fetch](const std::stop_token& stop) { fetch->run(stop); });
  return {};
}

}  // namespace

std::shared_ptr<NSProgress> fetchContents(const FetchContext& context,
                                          const NSFileProviderItemIdentifier& itemIdentifier,
                                          FetchCompletion completion) {
  auto progress = NSProgress::withTotalUnitCount(kTotalUnits);
  const Result<void> started = caught([&] { return startFetch(context, itemIdentifier, progress, completion); });
  if (!started) {
    completion(std::nullopt, nullptr, started.error());
    progress->setCompletedUnitCount(kTotalUnits);
  }
  return progress;
}

}  // namespace tovrin
