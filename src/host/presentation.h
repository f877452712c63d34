#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "host/mount.h"
#include "host/store/replica_store.h"
#include "provider/item.h"

namespace tovrin::host {

/// The item's name; of one that is gone, which is null, what its identifier tells.
std::string filenameOf(const SharedItem& item, const NSFileProviderItemIdentifier& identifier);

/// The same number for the same identifier in every mount, so that tools that remember inodes work across remounts.
std::uint64_t inodeNumber(std::string_view identifier);

/// Whether two items of one identifier have the same contents, as far as items tell: what their item versions are made
/// from.
bool isSameVersion(const TovrinFileProviderItem& a, const TovrinFileProviderItem& b);

/// How items look as files: whose they are and what they permit. Immutable.
class Presentation {
 public:
  explicit Presentation(const MountRequest& request);

  /// `local` is what the store has of the item. A file that is not here has one block, never none: archivers take a
  /// file without blocks for one hole and do not read it.
  struct stat attributes(const TovrinFileProviderItem& item, std::uint64_t inode,
                         const std::optional<ReplicaStore::Local>& local) const;

 private:
  mode_t mode(const TovrinFileProviderItem& item) const;

  uid_t user_;
  gid_t group_;
  bool showsManifestOwner_;
  mode_t umask_;
};

}  // namespace tovrin::host
