#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/domain.h"

namespace tovrin::host {

/// A folder as it was at one moment: its items with the names under which they are shown, in Finder order. Immutable,
/// so a listing that is under way sees one state from its first to its last name.
class Directory {
 public:
  struct Member {
    SharedItem item;
    std::string name;
  };

  /// `generation` says of which state of the domain it is, see `DirectoryCache::isCurrent`.
  static std::shared_ptr<const Directory> read(Domain& domain, const NSFileProviderItemIdentifier& folder,
                                               std::uint64_t generation);

  std::uint64_t generation() const { return generation_; }
  const std::vector<Member>& members() const { return members_; }
  /// By name, byte for byte; null when there is none.
  const Member* find(std::string_view name) const;

 private:
  Directory(std::vector<Member> members, std::uint64_t generation);

  const std::uint64_t generation_;
  std::vector<Member> members_;
  std::unordered_map<std::string_view, std::uint32_t> byName_;
};

/// The folders that were looked at last, so that looking up their names one by one does not list them again and again.
/// Thread-safe.
class DirectoryCache {
 public:
  explicit DirectoryCache(Domain& domain) : domain_(domain) {}

  std::shared_ptr<const Directory> directory(const NSFileProviderItemIdentifier& folder);
  /// The domain has changed: what is asked for from here on is read again.
  void clear();
  /// Whether the domain has not changed since this was read. Who tells the kernel of a folder asks afterwards: what was
  /// true only before a change must not stay remembered after it.
  bool isCurrent(const Directory& directory) const;

 private:
  struct Kept {
    std::shared_ptr<const Directory> directory;
    std::list<NSFileProviderItemIdentifier>::iterator position;
  };
  void keep(const NSFileProviderItemIdentifier& folder, const std::shared_ptr<const Directory>& directory);

  Domain& domain_;
  mutable std::mutex lock_;
  std::uint64_t generation_ = 0;
  std::size_t members_ = 0;
  std::list<NSFileProviderItemIdentifier> lastUsedFirst_;
  std::unordered_map<NSFileProviderItemIdentifier, Kept> kept_;
};

}  // namespace tovrin::host
