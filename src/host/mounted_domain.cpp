#include "host/mounted_domain.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "host/log.h"
#include "platform/directories.h"

namespace tovrin::host {

namespace {

/// Opens of files that are not here, by one program in a minute, after which the user is told once.
constexpr std::size_t kUsualOpensPerMinute = 300;

std::string versionOf(const TovrinFileProviderItem& item) { return item.itemVersion().contentVersion; }

}  // namespace

MountedDomain::MountedDomain(const MountRequest& request, Domain& domain, std::unique_ptr<ReplicaStore> store,
                             KernelCache& kernel)
    : request_(request),
      domain_(domain),
      kernel_(kernel),
      presentation_(request),
      crawlers_(request.moreCrawlers),
      openRate_(domain.platform().clock, kUsualOpensPerMinute),
      store_(std::move(store)),
      desktop_(request.notifyErrors ? std::make_unique<DesktopNotifications>(domain.platform().clock) : nullptr),
      troubles_(desktop_.get()),
      directories_(domain),
      nodes_(domain.item(NSFileProviderItemIdentifier(NSFileProviderRootContainerItemIdentifier))),
      size_(domain),
      edits_(domain, *store_, later_,
             [this](const NSFileProviderItemIdentifier& identifier, const Result<void>& result) {
               handedOver(identifier, result);
             }),
      fetches_(domain, *store_, {request.maxFetches, request.offline}),
      refresh_(domain, directories_, nodes_, *store_, edits_, kernel) {}

MountedDomain::~MountedDomain() {
  watch_.reset();
  later_.stop();
}

void MountedDomain::start(const std::filesystem::path& warpDirectory) {
  edits_.resume();
  watch_.emplace(warpDirectory, [this](const ContainerWatch::Change& change) { containerChanged(change); });
}

void MountedDomain::containerChanged(const ContainerWatch::Change& change) {
  if (change.items) {
    const NSFileProviderSyncAnchor anchor = domain_.anchor();
    if (!change.isGuess || anchor != anchor_) {
      anchor_ = anchor;
      refresh_.items();
      size_.count();
    }
  }
  // Stored edits show in both: the journal lets go of them, and the manifest has their new version.
  refresh_.storedEdits();
}

std::optional<Shown> MountedDomain::lookUp(NodeID folder, std::string_view name) {
  for (;;) {
    const std::shared_ptr<const Directory> listed = directory(folder);
    const Directory::Member* member = listed ? listed->find(name) : nullptr;
    if (member == nullptr) return {};
    Shown shown = remember(folder, *member);
    if (isCurrent(*listed)) return shown;
    forget(shown.node.id, 1);  // a refresh that runs may have passed this node before it was there
  }
}

Shown MountedDomain::remember(NodeID folder, const Directory::Member& member) {
  Node node = nodes_.remember(folder, member.name, member.item);
  const struct stat attributes =
      presentation_.attributes(*member.item, node.inode, store_->find(member.item->itemIdentifier()));
  return {std::move(node), attributes};
}

std::optional<struct stat> MountedDomain::attributes(NodeID id) const {
  const std::optional<Node> node = nodes_.find(id);
  if (!node) return {};
  return presentation_.attributes(*node->item, node->inode, store_->find(node->item->itemIdentifier()));
}

std::shared_ptr<const Directory> MountedDomain::directory(NodeID id) {
  const std::optional<Node> node = nodes_.find(id);
  return node && isFolder(*node->item) ? directories_.directory(node->item->itemIdentifier()) : nullptr;
}

void MountedDomain::listed(NodeID folder, const Directory& directory) {
  if (isCurrent(directory)) return;
  later_.after(std::chrono::milliseconds(0), [this, folder] { kernel_.contentsChanged(folder); });
}

std::optional<std::string> MountedDomain::linkTarget(NodeID id) const {
  const std::optional<Node> node = nodes_.find(id);
  if (!node || !isSymbolicLink(*node->item)) return {};
  return std::string(node->item->entry()->rare->symlinkTarget.value_or(""));
}

std::shared_ptr<OpenItem> MountedDomain::shareEdit(const Node& node, const std::string& version,
                                                   const std::shared_ptr<LocalFile>& edit) {
  std::shared_ptr<OpenItem> file = share(node, version, edit);
  file->showEdit(edit);
  return file;
}

std::shared_ptr<OpenItem> MountedDomain::share(const Node& node, const std::string& version,
                                               std::shared_ptr<LocalFile> contents) {
  std::shared_ptr<OpenItem> file;
  const auto shareOrMake = [&](Node& known) {
    file = known.file.lock();
    if (file) return;
    file = std::make_shared<OpenItem>(node.item, version, std::move(contents), edits_);
    known.file = file;
  };
  Node unknown = node;  // forgotten meanwhile: then nobody else has it open
  if (!nodes_.update(node.id, shareOrMake)) shareOrMake(unknown);
  return file;
}

/// What can be opened without a download: an edit, what others have open, a copy, and nothing for a file that is to be
/// emptied. Null when it takes a download.
Result<std::shared_ptr<OpenItem>> MountedDomain::openHere(const Node& node, const SharedItem& item, int flags) {
  const NSFileProviderItemIdentifier& identifier = node.item->itemIdentifier();
  if (const auto local = store_->find(identifier); local && local->edit) {
    if (std::shared_ptr<LocalFile> edit = store_->openEdit(identifier)) {
      return shareEdit(node, local->version, edit);
    }
  }
  if (!item || !isSameVersion(*item, *node.item)) {
    // The kernel looks the name up again and then asks for the item that is there now.
    directories_.clear();
    return failure(NSError::posix(ESTALE));
  }
  if (const auto pending = domain_.pendingCopy(*item)) {
    TOVRIN_TRY(const std::shared_ptr<LocalFile> edit, edits_.takeUp(item, *pending));
    kernel_.attributesChanged(node.id);  // before its size is used
    return shareEdit(node, versionOf(*item), edit);
  }
  if (std::shared_ptr<OpenItem> file = node.file.lock()) return file;
  const std::string version = versionOf(*item);
  if ((flags & O_TRUNC) != 0) return share(node, version, nullptr);
  std::shared_ptr<LocalFile> copy = store_->openCopy(identifier, version);
  return copy ? share(node, version, std::move(copy)) : nullptr;
}

std::optional<NSError> MountedDomain::reasonToRefuse(const TovrinFileProviderItem& item, const Opener& opener) {
  const auto [program, isCrawler] = crawlers_.opener(opener.process, opener.flags);
  if (request_.crawlers == CrawlerMode::deny && isCrawler) {
    if (refusedCrawlers_++ == 0) {
      log::notice("{} may not open files that are not here; this is said once", program);
    }
    log::debug("{} may not open “{}”", program, item.filename());
    return NSError::posix(EACCES);
  }
  if (openRate_.countOpen(program)) {
    log::warning("{} has opened more than {} files in a minute that had to be downloaded", program,
                 kUsualOpensPerMinute);
    if (desktop_) {
      desktop_->error("rate " + program, program + " opens very many files",
                      "Each of them is downloaded. End the program if this is not what you want.");
    }
  }
  return {};
}

Fetches::Ticket MountedDomain::open(NodeID id, const Opener& opener, Opened opened) {
  const std::optional<Node> node = nodes_.find(id);
  if (!node) return opened(failure(NSError::posix(ESTALE))), Fetches::Ticket{};
  const SharedItem item = domain_.item(node->item->itemIdentifier());
  const Result<std::shared_ptr<OpenItem>> here = openHere(*node, item, opener.flags);
  if (!here) return opened(failure(here.error())), Fetches::Ticket{};
  if (*here) {
    if ((opener.flags & O_TRUNC) == 0) return opened(here), Fetches::Ticket{};
    const int error = (*here)->change([](int descriptor) { return ftruncate(descriptor, 0) == 0 ? 0 : errno; });
    opened(error == 0 ? here : failure(NSError::posix(error)));
    return {};
  }
  if (const std::optional<NSError> refused = reasonToRefuse(*item, opener)) {
    return opened(failure(*refused)), Fetches::Ticket{};
  }
  return fetches_.join(item, [this, node = *node, item, opened = std::move(opened)](const Result<FetchedCopy>& result) {
    fetched(node, item, result, opened);
  });
}

void MountedDomain::fetched(const Node& node, const SharedItem& item, const Result<FetchedCopy>& result,
                            const Opened& opened) {
  if (!result) {
    if (!result.error().is(CocoaErrorCode::userCancelled)) troubles_.openFailed(*item, result.error());
    return opened(failure(result.error()));
  }
  troubles_.cleared(item->itemIdentifier());
  kernel_.attributesChanged(node.id);  // before anybody who knows that it is here can ask for them
  if (result->version != versionOf(*item)) {
    attributesChanged(item->itemIdentifier());  // of the node that has this version
    directories_.clear();
    return opened(failure(NSError::posix(ESTALE)));
  }
  // Who emptied the file and saved it did not wait for this download.
  if (const std::shared_ptr<LocalFile> edit = store_->openEdit(item->itemIdentifier())) {
    return opened(shareEdit(node, result->version, edit));
  }
  opened(share(node, result->version, result->file));
}

/// Later: who changed something has others to answer first.
void MountedDomain::attributesChanged(const NSFileProviderItemIdentifier& identifier) {
  later_.after(std::chrono::milliseconds(0), [this, identifier] {
    if (const auto node = nodes_.find(std::string_view(identifier))) kernel_.attributesChanged(node->id);
  });
}

void MountedDomain::handedOver(const NSFileProviderItemIdentifier& identifier, const Result<void>& result) {
  const SharedItem item = domain_.item(identifier);
  if (result) {
    troubles_.cleared(identifier);
    if (item) log::info("the changes in “{}” were taken", item->filename());
  } else if (item) {
    troubles_.editRefused(*item, result.error());
  } else {
    log::error("changes in an item that is gone are kept: {}", result.error().localizedDescription());
  }
  attributesChanged(identifier);
}

std::optional<std::filesystem::path> MountedDomain::editOf(const NSFileProviderItemIdentifier& identifier) const {
  const auto local = store_->find(identifier);
  return local && local->edit ? std::optional(local->file) : std::nullopt;
}

ItemStatus MountedDomain::itemStatus(const Node& node) const {
  const NSFileProviderItemIdentifier& identifier = node.item->itemIdentifier();
  ItemStatus status{ItemState::remote, 0, {}, identifier};
  const auto local = store_->find(identifier);
  if (local && local->edit) {
    status.state = ItemState::edited;
    if (const auto refused = edits_.lastError(identifier)) {
      status.state = ItemState::issue;
      status.error = refused->localizedDescription();
    }
    return status;
  }
  if (const auto progress = fetches_.progress(identifier)) {
    status.state = ItemState::opening;
    status.fraction = progress->fraction;
  } else if (local && local->isCopy && local->version == versionOf(*node.item)) {
    status.state = ItemState::cached;
  } else if (auto sentence = troubles_.sentence(identifier)) {
    status.state = ItemState::issue;
    status.error = std::move(*sentence);
  }
  return status;
}

}  // namespace tovrin::host
