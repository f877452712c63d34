#pragma once

#import <FileProvider/FileProvider.h>

#include "platform/darwin/retained.h"
#include "provider/replicated_extension.h"

/// The system's observers as the core's.
namespace tovrin {

class EnumerationObserver final : public NSFileProviderEnumerationObserver {
 public:
  explicit EnumerationObserver(id<NSFileProviderEnumerationObserver> _Nonnull observer) : observer_(observer) {}

  void didEnumerateItems(std::span<const SharedItem> items) override;
  void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) override;

 private:
  Retained<id<NSFileProviderEnumerationObserver>> observer_;
};

class ChangeObserver final : public NSFileProviderChangeObserver {
 public:
  explicit ChangeObserver(id<NSFileProviderChangeObserver> _Nonnull observer) : observer_(observer) {}

  void didUpdateItems(std::span<const SharedItem> items) override;
  void didDeleteItemsWithIdentifiers(std::span<const NSFileProviderItemIdentifier> identifiers) override;
  void finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor& anchor, bool moreComing) override;

 private:
  Retained<id<NSFileProviderChangeObserver>> observer_;
};

}  // namespace tovrin
