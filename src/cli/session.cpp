#include "cli/session.h"

#include <tuple>

#include "cli/answer.h"
#include "platform/directories.h"
#include "platform/file_system.h"

namespace tovrin::cli {

namespace {

class CollectedItems final : public NSFileProviderEnumerationObserver {
 public:
  void didEnumerateItems(std::span<const SharedItem> items) override {
    items_.insert(items_.end(), items.begin(), items.end());
  }
  void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) override { nextPage_ = nextPage; }

  std::vector<SharedItem> items_;
  std::optional<NSFileProviderPage> nextPage_;
};

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

/// An item of which nothing but the identifier is known: the extension looks up the rest.
class ItemByIdentifier final : public NSFileProviderItem {
 public:
  explicit ItemByIdentifier(NSFileProviderItemIdentifier identifier) : identifier_(std::move(identifier)) {}
  const NSFileProviderItemIdentifier& itemIdentifier() const override { return identifier_; }

 private:
  NSFileProviderItemIdentifier identifier_;
};

}  // namespace

Session::Session(const std::string& container)
    : directories_(makeDirectories(container.empty() ? std::nullopt : std::optional<std::filesystem::path>(container))),
      urlSession_(makeURLSession()),
      notifications_(makeDistributedNotificationCenter()),
      platform_{systemClock(), *directories_, *urlSession_, *notifications_},
      extension_({"tovrin", "Tovrin"}, platform_) {}

SharedItem Session::item(const NSFileProviderItemIdentifier& identifier) {
  SharedItem found;
  extension_.itemForIdentifier(identifier,
                               [&](const SharedItem& item, const std::optional<NSError>&) { found = item; });
  return found;
}

std::vector<SharedItem> Session::children(const NSFileProviderItemIdentifier& container) {
  const auto enumerator = extension_.enumeratorForContainerItemIdentifier(container);
  CollectedItems observer;
  NSFileProviderPage page;
  do {
    observer.nextPage_.reset();
    enumerator->enumerateItems(observer, page);
    page = observer.nextPage_.value_or(NSFileProviderPage());
  } while (observer.nextPage_);
  return std::move(observer.items_);
}

NSFileProviderSyncAnchor Session::anchor() {
  NSFileProviderSyncAnchor current;
  extension_
      .enumeratorForContainerItemIdentifier(NSFileProviderItemIdentifier(NSFileProviderRootContainerItemIdentifier))
      ->currentSyncAnchor([&](const NSFileProviderSyncAnchor& anchor) { current = anchor; });
  return current;
}

Session::Changes Session::changes(const NSFileProviderItemIdentifier& container,
                                  const NSFileProviderSyncAnchor& anchor) {
  CollectedChanges observer;
  extension_.enumeratorForContainerItemIdentifier(container)->enumerateChanges(observer, anchor);
  return std::move(observer.changes_);
}

Result<Session::Fetched> Session::fetch(const NSFileProviderItemIdentifier& identifier,
                                        const InterruptWatch& interruption,
                                        const std::function<void(const NSProgress&)>& whileWaiting) {
  const auto answer = std::make_shared<Answer<Result<Fetched>>>();
  const auto progress = extension_.fetchContentsForItemWithIdentifier(
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
  std::shared_ptr<const NSFileProviderItem> handedIn = std::make_shared<ItemByIdentifier>(identifier);
  NSFileProviderItemVersion baseVersion;
  if (const SharedItem known = item(identifier)) {
    baseVersion = known->itemVersion();
    handedIn = known;
  }
  const auto answer = std::make_shared<Answer<Result<SharedItem>>>();
  const auto progress = extension_.modifyItem(
      handedIn, baseVersion, NSFileProviderItemContents, contents,
      [answer](const SharedItem& item, NSFileProviderItemFields, bool, const std::optional<NSError>& error) {
        if (error) return answer->give(failure(*error));
        answer->give(item);
      });
  return answer->wait(interruption, [&] { progress->cancel(); }, [] {});
}

}  // namespace tovrin::cli
