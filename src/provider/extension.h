#pragma once

#include <memory>

#include "foundation/tasks.h"
#include "local/cached_items.h"
#include "local/finder_badges.h"
#include "materialize/materialization_state.h"
#include "materialize/renterd_client.h"
#include "platform/platform.h"
#include "provider/replicated_extension.h"
#include "provider/tree.h"

namespace tovrin {

/// The extension: item lookup and enumeration on the caller's thread, fetches and edits each as a task. One instance
/// per domain. Nothing is read at construction. Destroying it cancels what still runs and waits for it; a completion
/// handler may hold the last reference.
class TovrinFileProviderExtension final : public NSFileProviderReplicatedExtension {
 public:
  TovrinFileProviderExtension() = delete;
  /// The services in `platform` outlive the extension.
  TovrinFileProviderExtension(NSFileProviderDomain domain, const Platform& platform);
  ~TovrinFileProviderExtension() override;

  void invalidate() override {}
  std::shared_ptr<NSProgress> itemForIdentifier(const NSFileProviderItemIdentifier& identifier,
                                                const ItemCompletion& completion) override;
  std::unique_ptr<NSFileProviderEnumerator> enumeratorForContainerItemIdentifier(
      const NSFileProviderItemIdentifier& containerItemIdentifier) override;
  std::shared_ptr<NSProgress> fetchContentsForItemWithIdentifier(
      const NSFileProviderItemIdentifier& itemIdentifier,
      const std::optional<NSFileProviderItemVersion>& requestedVersion, FetchCompletion completion) override;
  std::shared_ptr<NSProgress> createItemBasedOnTemplate(const NSFileProviderItem& itemTemplate,
                                                        NSFileProviderItemFields fields,
                                                        const std::optional<std::filesystem::path>& contents,
                                                        ModifyCompletion completion) override;
  std::shared_ptr<NSProgress> modifyItem(const std::shared_ptr<const NSFileProviderItem>& item,
                                         const NSFileProviderItemVersion& baseVersion,
                                         NSFileProviderItemFields changedFields,
                                         const std::optional<std::filesystem::path>& contents,
                                         ModifyCompletion completion) override;
  std::shared_ptr<NSProgress> deleteItemWithIdentifier(const NSFileProviderItemIdentifier& identifier,
                                                       const NSFileProviderItemVersion& baseVersion,
                                                       DeleteCompletion completion) override;

  const NSFileProviderDomain& domain() const { return domain_; }

 private:
  NSFileProviderDomain domain_;
  Platform platform_;
  std::shared_ptr<CachedItemsJournal> journal_;
  std::shared_ptr<TovrinFileProviderTree> tree_;
  FinderBadges badges_;
  MaterializationStatePublisher publisher_;
  TaskGroup tasks_;  // last: its tasks use everything above
};

}  // namespace tovrin
