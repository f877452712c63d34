#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/container_watch.h"
#include "host/control/mount_control.h"
#include "host/crawlers.h"
#include "host/delayed_calls.h"
#include "host/desktop_notifications.h"
#include "host/directory.h"
#include "host/domain.h"
#include "host/domain_size.h"
#include "host/fetches.h"
#include "host/item_state.h"
#include "host/kept_edits.h"
#include "host/kernel_cache.h"
#include "host/mount.h"
#include "host/nodes.h"
#include "host/open_item.h"
#include "host/open_rate.h"
#include "host/presentation.h"
#include "host/refresh.h"
#include "host/store/replica_store.h"
#include "host/troubles.h"

namespace tovrin::host {

/// A node as the kernel is told of it.
struct Shown {
  Node node;
  struct stat attributes;
};

/// A domain as a file system: everything that a mount does but speaking with the kernel. Folders, names and attributes
/// are answered from memory, never from the network; only `open` may wait, and it waits without a thread. Thread-safe.
class MountedDomain final : public MountControl {
 public:
  /// `domain` and `kernel` outlive this.
  MountedDomain(const MountRequest& request, Domain& domain, std::unique_ptr<ReplicaStore> store, KernelCache& kernel);
  /// Cancels what still waits, and lets hand-overs that are under way end.
  ~MountedDomain() override;

  /// From here on changes of the container are followed, and edits of earlier runs are handed over.
  void start(const std::filesystem::path& warpDirectory);

  /// Counts as a lookup, which `forget` takes back; nothing when there is no such name.
  std::optional<Shown> lookUp(NodeID folder, std::string_view name);
  Shown remember(NodeID folder, const Directory::Member& member);
  void forget(NodeID id, std::uint64_t lookups) { nodes_.forget(id, lookups); }
  std::optional<Node> node(NodeID id) const { return nodes_.find(id); }
  std::optional<struct stat> attributes(NodeID id) const;
  /// As it is at this moment; null for what is no folder.
  std::shared_ptr<const Directory> directory(NodeID id);
  bool isCurrent(const Directory& directory) const { return directories_.isCurrent(directory); }
  /// A listing has ended. The kernel may have kept it, and is told to forget it if the folder is another one by now.
  void listed(NodeID folder, const Directory& directory);
  /// Where a symbolic link leads.
  std::optional<std::string> linkTarget(NodeID id) const;

  struct Opener {
    pid_t process = 0;
    int flags = 0;  ///< those of open(2)
  };
  using Opened = std::function<void(const Result<std::shared_ptr<OpenItem>>&)>;
  /// Calls `opened` once: before it returns, or when the download has ended or was left.
  Fetches::Ticket open(NodeID id, const Opener& opener, Opened opened);
  /// The opener is gone, or does not want to wait any more.
  void leave(const Fetches::Ticket& ticket, const NSError& why) { fetches_.leave(ticket, why); }

  /// The file of the item's edit, when it has one.
  std::optional<std::filesystem::path> editOf(const NSFileProviderItemIdentifier& identifier) const;
  KeptEdits& edits() { return edits_; }
  DelayedCalls& later() { return later_; }
  ItemStatus itemStatus(const Node& node) const;
  std::int64_t totalBytes() const { return size_.bytes(); }
  std::int64_t totalFiles() const { return size_.files(); }
  StoreUsage usage() const { return store_->usage(); }
  std::int64_t roomForEdits() const { return store_->roomForEdits(); }

  MountStatus status() override;
  std::vector<EvictOutcome> evict(const std::vector<NSFileProviderItemIdentifier>& items) override;
  std::vector<EvictOutcome> evictAll() override;
  Result<void> fetch(const NSFileProviderItemIdentifier& identifier, std::stop_token stop) override;
  std::vector<MountStatus::KeptEdit> handOverEdits(std::stop_token stop) override;

 private:
  std::shared_ptr<OpenItem> share(const Node& node, const std::string& version, std::shared_ptr<LocalFile> contents);
  std::shared_ptr<OpenItem> shareEdit(const Node& node, const std::string& version,
                                      const std::shared_ptr<LocalFile>& edit);
  Result<std::shared_ptr<OpenItem>> openHere(const Node& node, const SharedItem& item, int flags);
  std::optional<NSError> reasonToRefuse(const TovrinFileProviderItem& item, const Opener& opener);
  void fetched(const Node& node, const SharedItem& item, const Result<FetchedCopy>& result, const Opened& opened);
  void handedOver(const NSFileProviderItemIdentifier& identifier, const Result<void>& result);
  void containerChanged(const ContainerWatch::Change& change);
  void attributesChanged(const NSFileProviderItemIdentifier& identifier);
  EvictOutcome evictOne(const NSFileProviderItemIdentifier& identifier);
  void evictBelow(const NSFileProviderItemIdentifier& folder, std::vector<EvictOutcome>& outcomes);
  std::vector<MountStatus::KeptEdit> keptEdits();

  const MountRequest request_;
  Domain& domain_;
  KernelCache& kernel_;
  const Presentation presentation_;
  Crawlers crawlers_;
  std::atomic<std::int64_t> refusedCrawlers_{0};
  OpenRate openRate_;
  std::unique_ptr<ReplicaStore> store_;
  std::unique_ptr<DesktopNotifications> desktop_;
  Troubles troubles_;
  DirectoryCache directories_;
  Nodes nodes_;
  DomainSize size_;
  DelayedCalls later_;
  KeptEdits edits_;
  Fetches fetches_;
  Refresh refresh_;
  NSFileProviderSyncAnchor anchor_;      ///< touched by the watch's thread only
  std::optional<ContainerWatch> watch_;  ///< last: its calls use everything above
};

}  // namespace tovrin::host
