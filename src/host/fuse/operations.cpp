#include "host/fuse/operations.h"

#include <cerrno>

namespace tovrin::host::fuse {

namespace {

/// Creating, deleting and renaming: programs have words for a read-only file system, and fall back on saving in place.
template <class... Arguments>
void refuse(fuse_req_t request, fuse_ino_t, Arguments...) {
  fuse_reply_err(request, EROFS);
}

void initialize(void*, fuse_conn_info* connection) {
  const auto want = [&](unsigned capability) { connection->want |= connection->capable & capability; };
  // Always, not only when the kernel guesses that attributes will be asked for: they cost nothing more here.
  want(FUSE_CAP_READDIRPLUS | FUSE_CAP_PARALLEL_DIROPS | FUSE_CAP_ATOMIC_O_TRUNC);
  want(FUSE_CAP_SPLICE_READ | FUSE_CAP_SPLICE_WRITE | FUSE_CAP_SPLICE_MOVE);
  // The pages of a node change by writes through the kernel alone; another version has another node.
  want(FUSE_CAP_EXPLICIT_INVAL_DATA);
  connection->want &= ~(FUSE_CAP_READDIRPLUS_AUTO | FUSE_CAP_AUTO_INVAL_DATA);
}

}  // namespace

fuse_lowlevel_ops operations() {
  fuse_lowlevel_ops operations{};
  operations.init = initialize;
  operations.lookup = lookUp;
  operations.forget = forget;
  operations.forget_multi = forgetSeveral;
  operations.getattr = getAttributes;
  operations.setattr = setAttributes;
  operations.access = checkAccess;
  operations.readlink = readLink;
  operations.statfs = statistics;
  operations.opendir = openFolder;
  operations.readdir = readFolder;
  operations.readdirplus = readFolderWithAttributes;
  operations.releasedir = releaseFolder;
  operations.open = openFile;
  operations.read = readFile;
  operations.lseek = seekFile;
  operations.release = releaseFile;
  operations.write_buf = writeFile;
  operations.fallocate = allocateFile;
  operations.flush = flushFile;
  operations.fsync = synchronizeFile;
  operations.getxattr = getExtendedAttribute;
  operations.listxattr = listExtendedAttributes;
  operations.setxattr = setExtendedAttribute;
  operations.removexattr = removeExtendedAttribute;
  operations.create = refuse<const char*, mode_t, fuse_file_info*>;
  operations.mknod = refuse<const char*, mode_t, dev_t>;
  operations.mkdir = refuse<const char*, mode_t>;
  operations.unlink = refuse<const char*>;
  operations.rmdir = refuse<const char*>;
  operations.rename = refuse<const char*, fuse_ino_t, const char*, unsigned>;
  operations.link = refuse<fuse_ino_t, const char*>;
  operations.symlink = [](fuse_req_t request, const char*, fuse_ino_t, const char*) { fuse_reply_err(request, EROFS); };
  return operations;
}

}  // namespace tovrin::host::fuse
