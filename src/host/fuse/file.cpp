#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "host/error_numbers.h"
#include "host/fuse/handle.h"
#include "host/fuse/operations.h"
#include "host/fuse/permissions.h"
#include "host/fuse/session.h"

namespace tovrin::host::fuse {

namespace {

void replyOpened(fuse_req_t request, fuse_file_info info, const Result<std::shared_ptr<OpenItem>>& opened) {
  if (!opened) {
    fuse_reply_err(request, errorNumber(opened.error(), Operation::open));
    return;
  }
  auto handle = std::make_unique<FileHandle>();
  handle->item = *opened;
  handle->isWritten = handle->isToBeHandedOver = (info.flags & O_TRUNC) != 0;
  info.fh = reinterpret_cast<std::uint64_t>(handle.get());
  // A node has one version for ever, but an edit may have been written through another node.
  info.keep_cache = domainOf(request).editOf(handle->item->identifier()) ? 0 : 1;
  info.noflush = (info.flags & O_ACCMODE) == O_RDONLY ? 1 : 0;
  if (fuse_reply_open(&*request, &info) == 0) handle.release();  // the kernel's until it is released
}

}  // namespace

void openFile(fuse_req_t request, fuse_ino_t node, fuse_file_info* info) {
  if (const int error = openPermissionError(request, node, info->flags); error != 0) {
    fuse_reply_err(request, error);
    return;
  }
  Session& session = sessionOf(request);
  const std::uintptr_t number = session.pendingOpens().begin(request);
  const MountedDomain::Opener opener{fuse_req_ctx(request)->pid, info->flags};
  const Fetches::Ticket ticket =
      session.domain().open(node, opener, [&session, request, number, info = *info](const auto& opened) {
        session.pendingOpens().end(number);
        replyOpened(request, info, opened);
      });
  session.pendingOpens().waitsFor(number, ticket);
}

void readFile(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info) {
  const std::shared_ptr<LocalFile> contents = fileOf(info).item->contents();
  if (!contents) {
    fuse_reply_buf(request, nullptr, 0);
    return;
  }
  fuse_bufvec bytes = FUSE_BUFVEC_INIT(size);
  bytes.buf[0].flags = static_cast<fuse_buf_flags>(FUSE_BUF_IS_FD | FUSE_BUF_FD_SEEK);
  bytes.buf[0].fd = contents->descriptor();
  bytes.buf[0].pos = offset;
  fuse_reply_data(request, &bytes, FUSE_BUF_SPLICE_MOVE);
}

void seekFile(fuse_req_t request, fuse_ino_t, off_t offset, int whence, fuse_file_info* info) {
  const std::shared_ptr<LocalFile> contents = fileOf(info).item->contents();
  const off_t found = contents ? lseek(contents->descriptor(), offset, whence) : -1;
  if (found >= 0) {
    fuse_reply_lseek(request, found);
  } else {
    fuse_reply_err(request, contents ? errno : ENXIO);
  }
}

void releaseFile(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  const std::unique_ptr<FileHandle> handle(&fileOf(info));
  // Pages of a mapping are written after the last close: nobody is there any more to be told of a refusal.
  if (handle->isToBeHandedOver)
    domainOf(request).edits().handOver(handle->item->identifier(), [](const Result<void>&) {});
  fuse_reply_err(request, 0);
}

}  // namespace tovrin::host::fuse
