#include <cerrno>
#include <memory>

#include "host/fuse/entry.h"
#include "host/fuse/handle.h"
#include "host/fuse/operations.h"
#include "host/fuse/session.h"

namespace tovrin::host::fuse {

namespace {

/// Before the first member come "." and "..".
constexpr off_t kDots = 2;

const char* dotName(off_t offset) { return offset == 0 ? "." : ".."; }

/// Fills `size` bytes with entries from `offset` on. `add` writes one into the rest of the buffer and returns how many
/// bytes it takes; it is not taken when that is more than there are.
template <class Add>
void replyEntries(fuse_req_t request, const FolderHandle& folder, std::size_t size, off_t offset, Add&& add) {
  // The kernel has room for far more than most folders fill.
  const auto buffer = std::make_unique_for_overwrite<char[]>(size);
  std::size_t filled = 0;
  const off_t end = kDots + static_cast<off_t>(folder.directory->members().size());
  for (off_t at = offset; at < end; ++at) {
    const std::size_t bytes = add(buffer.get() + filled, size - filled, at);
    if (bytes > size - filled) break;
    filled += bytes;
  }
  fuse_reply_buf(request, buffer.get(), filled);
}

const Directory::Member& memberAt(const FolderHandle& folder, off_t at) {
  return folder.directory->members()[static_cast<std::size_t>(at - kDots)];
}

struct stat dotAttributes(fuse_ino_t node) {
  struct stat attributes{};
  attributes.st_ino = node;
  attributes.st_mode = S_IFDIR;
  return attributes;
}

}  // namespace

void openFolder(fuse_req_t request, fuse_ino_t node, fuse_file_info* info) {
  std::shared_ptr<const Directory> directory = domainOf(request).directory(node);
  if (!directory) {
    fuse_reply_err(request, ESTALE);
    return;
  }
  auto handle = std::make_unique<FolderHandle>(std::move(directory));
  info->fh = reinterpret_cast<std::uint64_t>(handle.get());
  info->cache_readdir = 1;
  info->keep_cache = 1;
  if (fuse_reply_open(request, info) == 0) handle.release();  // the kernel's until it is released
}

void readFolder(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset, fuse_file_info* info) {
  const FolderHandle& folder = folderOf(info);
  replyEntries(request, folder, size, offset, [&](char* buffer, std::size_t room, off_t at) {
    if (at < kDots) {
      const struct stat attributes = dotAttributes(node);
      return fuse_add_direntry(request, buffer, room, dotName(at), &attributes, at + 1);
    }
    const Directory::Member& member = memberAt(folder, at);
    struct stat attributes{};
    attributes.st_ino = inodeNumber(member.item->itemIdentifier());
    attributes.st_mode = isFolder(*member.item) ? S_IFDIR : isSymbolicLink(*member.item) ? S_IFLNK : S_IFREG;
    return fuse_add_direntry(request, buffer, room, member.name.c_str(), &attributes, at + 1);
  });
}

void readFolderWithAttributes(fuse_req_t request, fuse_ino_t node, std::size_t size, off_t offset,
                              fuse_file_info* info) {
  MountedDomain& domain = domainOf(request);
  const FolderHandle& folder = folderOf(info);
  replyEntries(request, folder, size, offset, [&](char* buffer, std::size_t room, off_t at) {
    if (at < kDots) {
      fuse_entry_param entry{};  // no node: the kernel does not look these up
      entry.attr = dotAttributes(node);
      return fuse_add_direntry_plus(request, buffer, room, dotName(at), &entry, at + 1);
    }
    const Directory::Member& member = memberAt(folder, at);
    const Shown shown = domain.remember(node, member);
    fuse_entry_param entry = entryOf(shown);
    const bool isCurrent = domain.isCurrent(*folder.directory);
    if (!isCurrent) entry.ino = 0;  // a name of the past: it is listed, but whoever opens it looks it up anew
    const std::size_t bytes = fuse_add_direntry_plus(request, buffer, room, member.name.c_str(), &entry, at + 1);
    if (bytes > room || !isCurrent) domain.forget(shown.node.id, 1);
    return bytes;
  });
}

void releaseFolder(fuse_req_t request, fuse_ino_t node, fuse_file_info* info) {
  const std::unique_ptr<FolderHandle> handle(&folderOf(info));
  domainOf(request).listed(node, *handle->directory);
  fuse_reply_err(request, 0);
}

}  // namespace tovrin::host::fuse
