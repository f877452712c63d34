#include "host/fuse/permissions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/fuse/operations.h"
#include "host/fuse/session.h"

namespace tovrin::host::fuse {

int permissionError(fuse_req_t request, fuse_ino_t node, int mask) {
  const std::optional<struct stat> shown = domainOf(request).attributes(node);
  if (!shown) return ESTALE;
  if ((mask & W_OK) != 0 && S_ISDIR(shown->st_mode)) return EROFS;
  constexpr unsigned kOwnerShift = 6;
  const auto missing = static_cast<unsigned>(mask) & ~(shown->st_mode >> kOwnerShift);
  if (fuse_req_ctx(request)->uid != 0) return (missing & (R_OK | W_OK | X_OK)) != 0 ? EACCES : 0;
  const bool nobodyMayExecute = S_ISREG(shown->st_mode) && (shown->st_mode & 0111) == 0;
  return (mask & X_OK) != 0 && nobodyMayExecute ? EACCES : 0;
}

int openPermissionError(fuse_req_t request, fuse_ino_t node, int flags) {
  if (sessionOf(request).kernelJudgesPermissions()) return 0;
  const int access = flags & O_ACCMODE;
  int mask = access == O_WRONLY ? W_OK : access == O_RDWR ? R_OK | W_OK : R_OK;
  if ((flags & O_TRUNC) != 0) mask |= W_OK;
  const int error = permissionError(request, node, mask);
  // A program is read by whoever may run it.
  return error != 0 && mask == R_OK && permissionError(request, node, X_OK) == 0 ? 0 : error;
}

void checkAccess(fuse_req_t request, fuse_ino_t node, int mask) {
  fuse_reply_err(request, permissionError(request, node, mask));
}

}  // namespace tovrin::host::fuse
