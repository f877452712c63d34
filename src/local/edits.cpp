#include "local/edits.h"

#include <stop_token>
#include <string_view>
#include <tuple>
#include <utility>

#include "foundation/caught.h"
#include "local/cached_item_records.h"
#include "local/edited_item_states.h"
#include "local/pending_copy.h"
#include "materialize/errors.h"
#include "provider/item.h"
#include "shared/mutation_lock.h"
#include "shared/warp_directory.h"

namespace tovrin {
namespace {

using ModifyCompletion = NSFileProviderReplicatedExtension::ModifyCompletion;
using Record = TovrinWarpSharedCachedItemRecord;

constexpr std::int64_t kTotalUnits = 100;

/// The item as one of ours, when it is a file of a Warp; else null.
SharedItem editableItem(const std::shared_ptr<const NSFileProviderItem>& item, TovrinFileProviderTree& tree) {
  if (!item) return nullptr;
  SharedItem ours = std::dynamic_pointer_cast<const TovrinFileProviderItem>(item);
  if (!ours) ours = makeItem(item->itemIdentifier(), tree);
  const bool isFile = ours && ours->warpID() && ours->entry() && ours->entry()->kind == TovrinWarpSharedEntryKind::file;
  return isFile ? ours : nullptr;
}

Result<void> checkNotStopped(const std::stop_token& stop) {
  if (stop.stop_requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
  return {};
}

/// One edit, from its start state to its one completion.
class Edit {
 public:
  Edit(const EditContext& context, SharedItem original, std::filesystem::path contents,
       std::shared_ptr<NSProgress> progress, ModifyCompletion completion)
      : context_(context),
        original_(std::move(original)),
        item_{*original_->warpID(), original_->entry()->relativePath},
        contents_(std::move(contents)),
        progress_(std::move(progress)),
        completion_(std::move(completion)) {}

  void run(const std::stop_token& stop) {
    show([&] { return savingState(item_); });
    const Result<Accepted> outcome = recordedOutcome(stop);
    progress_->setCompletedUnitCount(kTotalUnits);
    if (outcome) {
      completion_(outcome->item, NSFileProviderItemNoFields, false, std::nullopt);
    } else {
      completion_(nullptr, NSFileProviderItemNoFields, false, outcome.error());
    }
  }

 private:
  struct Accepted {
    SharedItem item;
    bool isQueued = false;
  };

  /// Publishes a state; one that there is no memory for is left out.
  template <class MakeState>
  void show(MakeState&& makeState) noexcept {
    std::ignore = caught([&]() -> Result<void> {
      context_.publisher.publish(makeState());
      return {};
    });
  }

  /// Holds the mutation lock until the last state is written, so that states of two edits do not cross.
  Result<Accepted> recordedOutcome(const std::stop_token& stop) {
    const auto hold = caught([&] { return acquireMutationLock(context_.platform); });
    const Result<Accepted> outcome =
        hold ? caught([&] { return accept(stop); }) : Result<Accepted>(failure(hold.error()));
    if (!outcome) {
      show([&] { return updateFailedState(item_, outcome.error()); });
    } else if (outcome->isQueued) {
      show([&] { return queuedState(item_); });
    } else {
      show([&] { return unchangedState(item_); });
    }
    return outcome;
  }

  Result<Accepted> accept(const std::stop_token& stop) {
    TOVRIN_TRY(const SharedEntry stored, liveEntry());
    // A journal that cannot be read ends the attempt before a large file is copied in vain.
    TOVRIN_CHECK(context_.journal.records());
    TOVRIN_CHECK(checkNotStopped(stop));
    TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(context_.platform.directories));
    TOVRIN_TRY(PendingCopy copy, PendingCopy::make(warp, item_.relativePath, contents_, stop));
    const Date now = context_.platform.clock.now();
    Accepted accepted;
    accepted.item = original_->withEditedContents(copy.size(), now);
    accepted.isQueued = copy.size() != stored->size || copy.checksumSHA256() != stored->contentChecksumSHA256;
    TOVRIN_CHECK(checkNotStopped(stop));
    TOVRIN_CHECK(accepted.isQueued ? journalQueued(copy, now) : journalUnchanged(copy, now));
    return accepted;
  }

  /// The entry as the manifest has it now. An entry that is gone, or is no file any more, has nothing that the edit
  /// could be uploaded to: it is refused like one in a Warp that goes away, and the editor keeps it.
  Result<SharedEntry> liveEntry() const {
    TOVRIN_TRY(const auto tombstones, context_.tree->indexes().tombstones());
    const Result<SharedManifest> manifest = context_.tree->store().load(item_.warpID);
    if (!manifest || !*manifest) return failure(restoringError());
    const TovrinWarpSharedManifest& record = (*manifest)->manifest();
    const bool isLive =
        !tombstones->matches(record.warpID, record.manifestKey) && context_.tree->indexes().isManifestLive(record);
    const TovrinWarpSharedEntry* entry = isLive ? (*manifest)->entryAt(item_.relativePath) : nullptr;
    if (entry == nullptr || entry->kind != TovrinWarpSharedEntryKind::file) return failure(restoringError());
    return shareEntry(*manifest, *entry);
  }

  Result<void> journalUnchanged(const PendingCopy& copy, Date now) {
    return context_.journal.replaceRecord(item_.warpID, item_.relativePath, [&](const Record* previous) {
      Record record = successor(previous, copy, now);
      record.pendingWritebackFilePath = std::nullopt;
      record.pendingWritebackSize = std::nullopt;
      record.pendingWritebackChecksumSHA256 = std::nullopt;
      return record;
    });
  }

  Result<void> journalQueued(PendingCopy& copy, Date now) {
    copy.handOver();
    const Result<void> journalled = caught([&] {
      return context_.journal.replaceRecord(item_.warpID, item_.relativePath, [&](const Record* previous) {
        Record record = successor(previous, copy, now);
        record.modifiedAt = now;
        record.pendingWritebackFilePath = copy.path().string();
        record.pendingWritebackSize = copy.size();
        record.pendingWritebackChecksumSHA256 = copy.checksumSHA256();
        return record;
      });
    });
    // A save can fail after the new journal is in place, and then the main application goes looking for the copy.
    if (!journalled && !journalMayName(copy.path())) copy.takeBack();
    return journalled;
  }

  bool journalMayName(const std::filesystem::path& path) const {
    const auto records = caught([&] { return context_.journal.records(); });
    return !records || (*records)->namesPendingCopy(path.native());
  }

  Record successor(const Record* previous, const PendingCopy& copy, Date now) const {
    Record record = previous != nullptr ? *previous : Record{};
    record.warpID = item_.warpID;
    record.relativePath = item_.relativePath;
    record.size = copy.size();
    record.cachedAt = now;
    return record;
  }

  const EditContext context_;
  const SharedItem original_;
  const EditedItem item_;
  const std::filesystem::path contents_;
  const std::shared_ptr<NSProgress> progress_;
  const ModifyCompletion completion_;
};

/// Starts the task. On failure nothing runs and the completion is the caller's to call.
Result<void> startEdit(const EditContext& context, const std::shared_ptr<const NSFileProviderItem>& item,
                       const std::optional<std::filesystem::path>& contents,
                       const std::shared_ptr<NSProgress>& progress, const ModifyCompletion& completion) {
  if (!contents) return failure(readOnlyError());
  SharedItem original = editableItem(item, *context.tree);
  if (!original) return failure(readOnlyError());
  auto edit = std::make_shared<Edit>(context, std::move(original), *contents, progress, completion);
  startCancellable(context.tasks, *progress, [edit](const std::stop_token& stop) { edit->run(stop); });
  return {};
}

}  // namespace

std::shared_ptr<NSProgress> modifyItem(const EditContext& context,
                                       const std::shared_ptr<const NSFileProviderItem>& item,
                                       const std::optional<std::filesystem::path>& contents,
                                       NSFileProviderReplicatedExtension::ModifyCompletion completion) {
  auto progress = NSProgress::withTotalUnitCount(kTotalUnits);
  const Result<void> started = caught([&] { return startEdit(context, item, contents, progress, completion); });
  if (!started) {
    progress->setCompletedUnitCount(kTotalUnits);
    completion(nullptr, NSFileProviderItemNoFields, false, started.error());
  }
  return progress;
}

}  // namespace tovrin
