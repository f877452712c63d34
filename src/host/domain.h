#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "local/cached_items.h"
#include "platform/platform.h"
#include "provider/extension.h"
#include "provider/item.h"

namespace tovrin::host {

/// The operating system's side of one domain: this machine's services and the extension, asked through its operations.
/// Thread-safe.
class Domain {
 public:
  /// `container` is the app-group container; nothing for an installation that has none.
  explicit Domain(const std::optional<std::filesystem::path>& container);
  /// Over services that outlive it.
  explicit Domain(const Platform& platform)
      : platform_(platform), extension_({"tovrin", "Tovrin"}, platform_), journal_(platform_) {}

  const Platform& platform() const { return platform_; }
  NSFileProviderReplicatedExtension& extension() { return extension_; }

  /// The item of an identifier, or null.
  SharedItem item(const NSFileProviderItemIdentifier& identifier);
  /// What the container's enumerator delivers, in its order.
  std::vector<SharedItem> children(const NSFileProviderItemIdentifier& container);
  NSFileProviderSyncAnchor anchor();
  /// The copy of an edit of this item that waits for its upload; nothing when none does, or when that cannot be told.
  std::optional<std::filesystem::path> pendingCopy(const TovrinFileProviderItem& item);
  /// Whether what items say of their uploads comes from the journal. One that is not there is an empty one.
  bool isJournalReadable() { return journal_.records().has_value(); }

 private:
  std::unique_ptr<Directories> directories_;  ///< these three are null when the services are another's
  std::unique_ptr<URLSession> urlSession_;
  std::unique_ptr<NotificationCenter> notifications_;
  Platform platform_;
  TovrinFileProviderExtension extension_;
  CachedItemsJournal journal_;
};

/// The item as the extension is handed it back: the one it gave, or for one that is gone its identifier alone.
std::shared_ptr<const NSFileProviderItem> itemToHandIn(const SharedItem& known,
                                                       const NSFileProviderItemIdentifier& identifier);

}  // namespace tovrin::host
