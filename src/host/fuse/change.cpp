#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/error_numbers.h"
#include "host/fuse/entry.h"
#include "host/fuse/handle.h"
#include "host/fuse/operations.h"
#include "host/fuse/permissions.h"
#include "host/fuse/session.h"

namespace tovrin::host::fuse {

namespace {

constexpr int kTimes = FUSE_SET_ATTR_MTIME | FUSE_SET_ATTR_MTIME_NOW;
constexpr int kAccessTimes = FUSE_SET_ATTR_ATIME | FUSE_SET_ATTR_ATIME_NOW | FUSE_SET_ATTR_CTIME;

int change(FileHandle& file, const std::function<int(int)>& write) {
  file.isWritten = file.isToBeHandedOver = true;
  return file.item->change(write);
}

void handOverAndReply(fuse_req_t request, const NSFileProviderItemIdentifier& identifier) {
  domainOf(request).edits().handOver(identifier, [request](const Result<void>& taken) {
    fuse_reply_err(request, taken ? 0 : errorNumber(taken.error(), Operation::closeEdit));
  });
}

bool isSame(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

/// Whether this would leave everything but the access time as it is shown.
bool changesNothing(const struct stat& shown, const struct stat& wanted, int which) {
  constexpr mode_t kPermissions = 07777;
  if ((which & FUSE_SET_ATTR_MODE) != 0 && ((shown.st_mode ^ wanted.st_mode) & kPermissions) != 0) return false;
  if ((which & FUSE_SET_ATTR_UID) != 0 && shown.st_uid != wanted.st_uid) return false;
  if ((which & FUSE_SET_ATTR_GID) != 0 && shown.st_gid != wanted.st_gid) return false;
  if ((which & FUSE_SET_ATTR_MTIME_NOW) != 0) return false;
  return (which & FUSE_SET_ATTR_MTIME) == 0 || isSame(shown.st_mtim, wanted.st_mtim);
}

void replyAttributes(fuse_req_t request, fuse_ino_t node) { getAttributes(request, node, nullptr); }

int truncate(FileHandle& file, off_t size) {
  return change(file, [&](int descriptor) { return ftruncate(descriptor, size) == 0 ? 0 : errno; });
}

/// truncate(2) of a path: as a program would that opens the file, changes it and closes it.
void truncateUnopened(fuse_req_t request, fuse_ino_t node, off_t size) {
  Session& session = sessionOf(request);
  MountedDomain& domain = session.domain();
  const std::uintptr_t number = session.pendingOpens().begin(request);
  const MountedDomain::Opener opener{fuse_req_ctx(request)->pid, O_WRONLY | (size == 0 ? O_TRUNC : 0)};
  const auto truncateOpened = [&session, &domain, request, node, size, number](const auto& opened) {
    session.pendingOpens().end(number);
    if (!opened) {
      fuse_reply_err(request, errorNumber(opened.error(), Operation::open));
      return;
    }
    FileHandle file;
    file.item = *opened;
    const int error = truncate(file, size);
    // Also when it failed: the edit that was begun for it is none.
    domain.edits().handOver(file.item->identifier(), [request, node, error](const Result<void>& taken) {
      if (error == 0 && taken) return replyAttributes(request, node);
      fuse_reply_err(request, error != 0 ? error : errorNumber(taken.error(), Operation::closeEdit));
    });
  };
  session.pendingOpens().waitsFor(number, domain.open(node, opener, truncateOpened));
}

/// What is set on a file with an edit is part of the save: the time is shown with it, the rest is not carried.
int setOnEdit(MountedDomain& domain, const Node& node, const struct stat& wanted, int which) {
  if ((which & kTimes) == 0) return 0;
  const auto local = domain.editOf(node.item->itemIdentifier());
  const timespec modified = (which & FUSE_SET_ATTR_MTIME_NOW) != 0 ? timespec{0, UTIME_NOW} : wanted.st_mtim;
  const timespec times[2] = {{0, UTIME_OMIT}, modified};
  return local && utimensat(AT_FDCWD, local->c_str(), times, 0) != 0 ? errno : 0;
}

}  // namespace

void writeFile(fuse_req_t request, fuse_ino_t, fuse_bufvec* bytes, off_t offset, fuse_file_info* info) {
  ssize_t written = 0;
  const int error = change(fileOf(info), [&](int descriptor) {
    fuse_bufvec to = FUSE_BUFVEC_INIT(fuse_buf_size(bytes));
    to.buf[0].flags = static_cast<fuse_buf_flags>(FUSE_BUF_IS_FD | FUSE_BUF_FD_SEEK);
    to.buf[0].fd = descriptor;
    to.buf[0].pos = offset;
    written = fuse_buf_copy(&to, bytes, FUSE_BUF_SPLICE_MOVE);
    return written < 0 ? static_cast<int>(-written) : 0;
  });
  if (error != 0) {
    fuse_reply_err(request, error);
  } else {
    fuse_reply_write(request, static_cast<std::size_t>(written));
  }
}

void allocateFile(fuse_req_t request, fuse_ino_t, int mode, off_t offset, off_t length, fuse_file_info* info) {
  fuse_reply_err(request, change(fileOf(info), [&](int descriptor) {
                   return fallocate(descriptor, mode, offset, length) == 0 ? 0 : errno;
                 }));
}

void flushFile(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  FileHandle& file = fileOf(info);
  file.isToBeHandedOver = false;
  if (file.isWritten) return handOverAndReply(request, file.item->identifier());
  fuse_reply_err(request, 0);
}

void synchronizeFile(fuse_req_t request, fuse_ino_t, int, fuse_file_info* info) {
  FileHandle& file = fileOf(info);
  const std::shared_ptr<LocalFile> contents = file.item->contents();
  file.isToBeHandedOver = false;
  if (!contents || !domainOf(request).edits().hasUnsaved(file.item->identifier())) {
    fuse_reply_err(request, 0);
  } else if (fsync(contents->descriptor()) != 0) {
    fuse_reply_err(request, errno);
  } else {
    handOverAndReply(request, file.item->identifier());
  }
}

void setAttributes(fuse_req_t request, fuse_ino_t node, struct stat* wanted, int which, fuse_file_info* info) {
  MountedDomain& domain = domainOf(request);
  const std::optional<Node> known = domain.node(node);
  const std::optional<struct stat> shown = domain.attributes(node);
  if (!known || !shown) {
    fuse_reply_err(request, ESTALE);
    return;
  }
  if ((which & FUSE_SET_ATTR_SIZE) != 0) {
    if (info == nullptr) {
      const int denied = openPermissionError(request, node, O_WRONLY);
      if (denied == 0) return truncateUnopened(request, node, wanted->st_size);
      fuse_reply_err(request, denied);
      return;
    }
    const int error = truncate(fileOf(info), wanted->st_size);
    if (error != 0) {
      fuse_reply_err(request, error);
      return;
    }
    return replyAttributes(request, node);
  }
  if ((which & ~kAccessTimes) != 0 && !changesNothing(*shown, *wanted, which)) {
    const bool isEdited = domain.editOf(known->item->itemIdentifier()).has_value();
    const int error = isEdited ? setOnEdit(domain, *known, *wanted, which) : EROFS;
    if (error != 0) {
      fuse_reply_err(request, error);
      return;
    }
  }
  replyAttributes(request, node);
}

}  // namespace tovrin::host::fuse
