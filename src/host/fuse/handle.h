#pragma once

#include <atomic>
#include <memory>

#include "host/directory.h"
#include "host/fuse/library.h"
#include "host/open_item.h"

/// What a file handle of the kernel stands for. The handle owns it from the answer to `open` to `release`.
namespace tovrin::host::fuse {

struct FileHandle {
  std::shared_ptr<OpenItem> item;
  std::atomic<bool> isWritten = false;         ///< through this handle, ever
  std::atomic<bool> isToBeHandedOver = false;  ///< written since it was flushed or synced last
};

struct FolderHandle {
  std::shared_ptr<const Directory> directory;
};

inline FileHandle& fileOf(const fuse_file_info* info) { return *reinterpret_cast<FileHandle*>(info->fh); }
inline FolderHandle& folderOf(const fuse_file_info* info) { return *reinterpret_cast<FolderHandle*>(info->fh); }

}  // namespace tovrin::host::fuse
