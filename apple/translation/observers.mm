#include "apple/translation/observers.h"

#include "apple/translation/items.h"
#include "platform/darwin/values.h"

namespace tovrin {

void EnumerationObserver::didEnumerateItems(std::span<const SharedItem> items) {
  [observer_.get() didEnumerateItems:toNSArray(items)];
}

void EnumerationObserver::finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) {
  [observer_.get() finishEnumeratingUpToPage:nextPage ? toNSData(*nextPage) : nil];
}

void ChangeObserver::didUpdateItems(std::span<const SharedItem> items) {
  [observer_.get() didUpdateItems:toNSArray(items)];
}

void ChangeObserver::didDeleteItemsWithIdentifiers(std::span<const NSFileProviderItemIdentifier> identifiers) {
  NSMutableArray< ::NSFileProviderItemIdentifier>* deleted = [NSMutableArray arrayWithCapacity:identifiers.size()];
  for (const NSFileProviderItemIdentifier& identifier : identifiers) [deleted addObject:toNSString(identifier)];
  [observer_.get() didDeleteItemsWithIdentifiers:deleted];
}

void ChangeObserver::finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor& anchor, bool moreComing) {
  [observer_.get() finishEnumeratingChangesUpToSyncAnchor:toNSData(anchor) moreComing:moreComing];
}

}  // namespace tovrin
