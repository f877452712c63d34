#include "cli/session.h"

#include <tuple>

#include "cli/answer.h"
#include "platform/file_system.h"

namespace tovrin::cli {

namespace {

class CollectedChanges final : public NSFileProviderChangeObserver {
 public:
  void didUpdateItems(std::span<const SharedItem> items) override {
    if (!changes_.updated) changes_.updated.emplace();
    changes_.updated->insert(changes_.updated->end(), items.begin(), items.end());
  }
  void didDeleteItemsWithIdentifiers(std::span<const NSFileProviderItemIdentifier>) override {}
  void finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor& anchor, bool moreComing) override {
    changes_.anchor = anchor;
    changes_.moreComing = moreComing;
  }

  Session::Changes changes_;
};

}  // namespace

Session::Session(const std::string& container)
    : Domain(container.empty() ? std::nullopt : std::optional<std::filesystem::path>(container)) {}

Session::Changes Session::changes(const NSFileProviderItemIdentifier& container,
                                  const NSFileProviderSyncAnchor& anchor) {
  CollectedChanges observer;
  extension().enumeratorForContainerItemIdentifier(container)->enumerateChanges(observer, anchor);
  return std::move(observer.changes_);
}

Result<Session::Fetched> Session::fetch(const NSFileProviderItemIdentifier& identifier,
                                        const InterruptWatch& interruption,
                                        const std::function<void(const NSProgress&)>& whileWaiting) {
  const auto answer = std::make_shared<Answer<Result<Fetched>>>();
  const auto progress = extension().fetchContentsForItemWithIdentifier(
      identifier, std::nullopt,
      [answer](const std::optional<std::filesystem::path>& file, const SharedItem& item,
               const std::optional<NSError>& error) {
        if (error) return answer->give(failure(*error));
        answer->give(Fetched{*file, item});
      });
  Result<Fetched> fetched = answer->wait(interruption, [&] { progress->cancel(); }, [&] { whileWaiting(*progress); });
  if (!fetched || !interruption.requested()) return fetched;
  std::ignore = removeItem(fetched->file);  // the user no longer wants it; a leftover is swept by the system
  return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
}

Result<SharedItem> Session::modify(const NSFileProviderItemIdentifier& identifier,
                                   const std::filesystem::path& contents, const InterruptWatch& interruption) {
  const SharedItem known = item(identifier);
  const auto answer = std::make_shared<Answer<Result<SharedItem>>>();
  const auto progress = extension().modifyItem(
      host::itemToHandIn(known, identifier), known ? known->itemVersion() : NSFileProviderItemVersion(),
      NSFileProviderItemContents, contents,
      [answer](const SharedItem& item, NSFileProviderItemFields, bool, const std::optional<NSError>& error) {
        if (error) return answer->give(failure(*error));
        answer->give(item);
      });
  return answer->wait(interruption, [&] { progress->cancel(); }, [] {});
}

}  // namespace tovrin::cli
