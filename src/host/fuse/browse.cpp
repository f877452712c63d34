#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <span>

#include "host/file_names.h"
#include "host/fuse/entry.h"
#include "host/fuse/operations.h"
#include "host/fuse/session.h"

namespace tovrin::host::fuse {

void lookUp(fuse_req_t request, fuse_ino_t parent, const char* name) {
  MountedDomain& domain = domainOf(request);
  const std::optional<Shown> shown = domain.lookUp(parent, name);
  if (!shown) {
    fuse_reply_err(request, ENOENT);
    return;
  }
  const fuse_entry_param entry = entryOf(*shown);
  if (fuse_reply_entry(request, &entry) != 0) domain.forget(shown->node.id, 1);
}

void forget(fuse_req_t request, fuse_ino_t node, std::uint64_t lookups) {
  domainOf(request).forget(node, lookups);
  fuse_reply_none(request);
}

void forgetSeveral(fuse_req_t request, std::size_t count, fuse_forget_data* forgets) {
  MountedDomain& domain = domainOf(request);
  for (const fuse_forget_data& forgotten : std::span(forgets, count)) domain.forget(forgotten.ino, forgotten.nlookup);
  fuse_reply_none(request);
}

void getAttributes(fuse_req_t request, fuse_ino_t node, fuse_file_info*) {
  const std::optional<struct stat> attributes = domainOf(request).attributes(node);
  if (attributes) {
    fuse_reply_attr(request, &*attributes, kRemembered);
  } else {
    fuse_reply_err(request, ESTALE);
  }
}

void readLink(fuse_req_t request, fuse_ino_t node) {
  const std::optional<std::string> target = domainOf(request).linkTarget(node);
  if (!target) {
    fuse_reply_err(request, EINVAL);
  } else if (target->empty()) {
    fuse_reply_err(request, ENOENT);  // as for an empty path
  } else if (target->size() >= PATH_MAX) {
    fuse_reply_err(request, ENAMETOOLONG);  // the kernel would take the answer for a broken one
  } else {
    fuse_reply_readlink(request, target->c_str());
  }
}

/// The size is that of all files, and what is used is what the copies take here: `df` tells what a mount costs. What is
/// available is what can be written, which programs ask for before they save.
void statistics(fuse_req_t request, fuse_ino_t) {
  constexpr std::int64_t kBlock = 4096;
  const MountedDomain& domain = domainOf(request);
  const std::int64_t used = domain.usage().cachedBytes;
  const std::int64_t total = std::max(domain.totalBytes(), used);
  struct statvfs status{};
  status.f_bsize = status.f_frsize = kBlock;
  const auto blocks = [](std::int64_t bytes) { return static_cast<fsblkcnt_t>((bytes + kBlock - 1) / kBlock); };
  status.f_blocks = blocks(total);
  status.f_bfree = blocks(total) - blocks(used);
  status.f_bavail = blocks(domain.roomForEdits());
  status.f_files = static_cast<fsfilcnt_t>(domain.totalFiles());
  status.f_namemax = kLongestFileName;
  fuse_reply_statfs(request, &status);
}

}  // namespace tovrin::host::fuse
