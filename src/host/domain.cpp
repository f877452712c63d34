#include "host/domain.h"

#include "local/cached_item_records.h"
#include "platform/directories.h"

namespace tovrin::host {

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

/// An item of which nothing but the identifier is known: the extension looks up the rest.
class ItemByIdentifier final : public NSFileProviderItem {
 public:
  explicit ItemByIdentifier(NSFileProviderItemIdentifier identifier) : identifier_(std::move(identifier)) {}
  const NSFileProviderItemIdentifier& itemIdentifier() const override { return identifier_; }

 private:
  NSFileProviderItemIdentifier identifier_;
};

}  // namespace

Domain::Domain(const std::optional<std::filesystem::path>& container)
    : directories_(makeDirectories(container)),
      urlSession_(makeURLSession()),
      notifications_(makeDistributedNotificationCenter()),
      platform_{systemClock(), *directories_, *urlSession_, *notifications_},
      extension_({"tovrin", "Tovrin"}, platform_),
      journal_(platform_) {}

SharedItem Domain::item(const NSFileProviderItemIdentifier& identifier) {
  SharedItem found;
  extension_.itemForIdentifier(identifier,
                               [&](const SharedItem& item, const std::optional<NSError>&) { found = item; });
  return found;
}

std::vector<SharedItem> Domain::children(const NSFileProviderItemIdentifier& container) {
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

NSFileProviderSyncAnchor Domain::anchor() {
  NSFileProviderSyncAnchor current;
  extension_
      .enumeratorForContainerItemIdentifier(NSFileProviderItemIdentifier(NSFileProviderRootContainerItemIdentifier))
      ->currentSyncAnchor([&](const NSFileProviderSyncAnchor& anchor) { current = anchor; });
  return current;
}

std::optional<std::filesystem::path> Domain::pendingCopy(const TovrinFileProviderItem& item) {
  if (!item.entry() || item.isUploaded()) return {};
  const auto records = journal_.records();
  const auto* record = records ? (*records)->find(item.warpID().value_or(""), item.entry()->relativePath) : nullptr;
  if (record == nullptr || !record->pendingWritebackFilePath) return {};
  return *record->pendingWritebackFilePath;
}

std::shared_ptr<const NSFileProviderItem> itemToHandIn(const SharedItem& known,
                                                       const NSFileProviderItemIdentifier& identifier) {
  if (known) return known;
  return std::make_shared<ItemByIdentifier>(identifier);
}

}  // namespace tovrin::host
