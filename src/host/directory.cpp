#include "host/directory.h"

#include "host/file_names.h"

namespace tovrin::host {

namespace {

/// Bounds what the cache holds; one folder may be larger than this and is then kept alone.
constexpr std::size_t kMostMembers = 200'000;

}  // namespace

std::shared_ptr<const Directory> Directory::read(Domain& domain, const NSFileProviderItemIdentifier& folder,
                                                 std::uint64_t generation) {
  std::vector<SharedItem> items = domain.children(folder);
  std::vector<FolderMember> named;
  named.reserve(items.size());
  for (const SharedItem& item : items) named.push_back({item->itemIdentifier(), item->filename()});
  std::vector<std::string> names = fileNames(named);
  std::vector<Member> members;
  members.reserve(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) members.push_back({std::move(items[i]), std::move(names[i])});
  return std::shared_ptr<const Directory>(new Directory(std::move(members), generation));
}

Directory::Directory(std::vector<Member> members, std::uint64_t generation)
    : generation_(generation), members_(std::move(members)) {
  byName_.reserve(members_.size());
  for (std::uint32_t i = 0; i < members_.size(); ++i) byName_.emplace(members_[i].name, i);
}

const Directory::Member* Directory::find(std::string_view name) const {
  const auto found = byName_.find(name);
  return found == byName_.end() ? nullptr : &members_[found->second];
}

std::shared_ptr<const Directory> DirectoryCache::directory(const NSFileProviderItemIdentifier& folder) {
  std::uint64_t generation = 0;
  {
    const std::scoped_lock hold(lock_);
    if (const auto found = kept_.find(folder); found != kept_.end()) {
      lastUsedFirst_.splice(lastUsedFirst_.begin(), lastUsedFirst_, found->second.position);
      return found->second.directory;
    }
    generation = generation_;
  }
  std::shared_ptr<const Directory> directory = Directory::read(domain_, folder, generation);
  const std::scoped_lock hold(lock_);
  if (generation == generation_ && !kept_.contains(folder)) keep(folder, directory);
  return directory;
}

void DirectoryCache::keep(const NSFileProviderItemIdentifier& folder,
                          const std::shared_ptr<const Directory>& directory) {
  members_ += directory->members().size();
  while (members_ > kMostMembers && !lastUsedFirst_.empty()) {
    const auto oldest = kept_.find(lastUsedFirst_.back());
    members_ -= oldest->second.directory->members().size();
    kept_.erase(oldest);
    lastUsedFirst_.pop_back();
  }
  lastUsedFirst_.push_front(folder);
  kept_.emplace(folder, Kept{directory, lastUsedFirst_.begin()});
}

void DirectoryCache::clear() {
  std::unordered_map<NSFileProviderItemIdentifier, Kept> dropped;
  const std::scoped_lock hold(lock_);
  ++generation_;
  members_ = 0;
  lastUsedFirst_.clear();
  dropped.swap(kept_);
}

bool DirectoryCache::isCurrent(const Directory& directory) const {
  const std::scoped_lock hold(lock_);
  return directory.generation() == generation_;
}

}  // namespace tovrin::host
