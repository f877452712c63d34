#include "host/presentation.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>

#include "platform/posix/timestamps.h"
#include "platform/sha256.h"
#include "provider/identifier.h"

namespace tovrin::host {

namespace {

constexpr std::int64_t kBlockBytes = 512;
constexpr std::int64_t kPreferredBytes = 1 << 20;
constexpr std::int64_t kFolderBytes = 4096;
constexpr mode_t kWriteBits = 0222;

timespec timeOf(const std::optional<Date>& date) {
  if (!date || !date->isFinite() || std::abs(date->secondsSince1970) > 9e9) return {};
  return systemTimeOf(static_cast<std::int64_t>(date->secondsSince1970 * 1e9));
}

std::int64_t fileBytes(const TovrinFileProviderItem& item) {
  if (isFolder(item)) return kFolderBytes;
  if (isSymbolicLink(item)) return static_cast<std::int64_t>(item.entry()->rare->symlinkTarget.value_or("").size());
  return item.documentSize().value_or(0);
}

}  // namespace

std::string filenameOf(const SharedItem& item, const NSFileProviderItemIdentifier& identifier) {
  if (item) return item->filename();
  const auto parsed = TovrinFileProviderIdentifier::parse(identifier);
  const auto* entry = parsed ? std::get_if<TovrinFileProviderIdentifier::Entry>(&parsed->value) : nullptr;
  return entry != nullptr ? std::filesystem::path(entry->relativePath).filename().string() : identifier;
}

std::uint64_t inodeNumber(std::string_view identifier) {
  const std::string digest = sha256Hex(identifier);
  std::uint64_t number = 0;
  std::from_chars(digest.data(), digest.data() + std::min<std::size_t>(digest.size(), 16), number, 16);
  return std::max<std::uint64_t>(number, 2);  // 0 means "no file" to many tools, 1 is the root
}

bool isSameVersion(const TovrinFileProviderItem& a, const TovrinFileProviderItem& b) {
  return a.documentSize() == b.documentSize() && a.contentModificationDate() == b.contentModificationDate() &&
         a.filename() == b.filename();
}

Presentation::Presentation(const MountRequest& request)
    : user_(request.userID.value_or(getuid())),
      group_(request.groupID.value_or(getgid())),
      showsManifestOwner_(request.owner == OwnerMode::manifest),
      umask_(request.umask) {}

mode_t Presentation::mode(const TovrinFileProviderItem& item) const {
  if (isSymbolicLink(item)) return S_IFLNK | 0777;
  const mode_t permissions = item.entry() ? item.entry()->posixPermissions & 07777 : 0555;
  // Programs ask whether they may write into a folder before they save by making a new file, and then save in place.
  if (isFolder(item)) return S_IFDIR | (permissions & ~(kWriteBits | umask_));
  return S_IFREG | (permissions & ~umask_);
}

struct stat Presentation::attributes(const TovrinFileProviderItem& item, std::uint64_t inode,
                                     const std::optional<ReplicaStore::Local>& local) const {
  struct stat status{};
  status.st_ino = inode;
  status.st_mode = mode(item);
  status.st_nlink = 1;
  const SharedEntry& entry = item.entry();
  const bool showsEntryOwner = showsManifestOwner_ && entry;
  status.st_uid = showsEntryOwner ? entry->ownerUserID : user_;
  status.st_gid = showsEntryOwner ? entry->ownerGroupID : group_;
  status.st_size = fileBytes(item);
  status.st_blksize = kPreferredBytes;
  status.st_mtim = entry ? systemTimeOf(entry->modificationTimeNanoseconds) : timeOf(item.contentModificationDate());
  status.st_ctim =
      entry && entry->statusChangeTimeNanoseconds ? systemTimeOf(*entry->statusChangeTimeNanoseconds) : status.st_mtim;
  if (local && local->isCopy) status.st_blocks = local->allocatedBytes / kBlockBytes;
  if (struct stat edited{}; local && local->edit && stat(local->file.c_str(), &edited) == 0) {
    status.st_size = edited.st_size;
    status.st_mtim = edited.st_mtim;
    status.st_ctim = edited.st_ctim;
    status.st_blocks = edited.st_blocks;
  }
  if (S_ISREG(status.st_mode) && status.st_size > 0) status.st_blocks = std::max<blkcnt_t>(status.st_blocks, 1);
  status.st_atim = status.st_mtim;
  return status;
}

}  // namespace tovrin::host
