#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include "host/store/replica_store.h"
#include "host/store/store_records.h"
#include "platform/posix/file_descriptor.h"

namespace tovrin::host {

/// What takes up disk besides the copies of the index. Outlives the store with the last file or reservation.
struct DiskUse {
  std::atomic<std::int64_t> reservedBytes{0};
  std::atomic<std::int64_t> unlinkedBytes{0};  ///< of copies that are gone and still open somewhere
};

/// A copy or an edit that is open. Shared by all who have it open.
class OpenFile final : public LocalFile {
 public:
  OpenFile(FileDescriptor file, std::filesystem::path path, std::shared_ptr<DiskUse> diskUse)
      : file_(std::move(file)), path_(std::move(path)), diskUse_(std::move(diskUse)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() override { diskUse_->unlinkedBytes -= unlinkedBytes_; }

  int descriptor() const override { return file_.get(); }
  const std::filesystem::path& path() const override { return path_; }

  /// Says that its name goes while it is open, so that its bytes stay on disk until it is closed. By one thread, once.
  void countAsUnlinked(std::int64_t bytes) {
    unlinkedBytes_ = bytes;
    diskUse_->unlinkedBytes += bytes;
  }

 private:
  FileDescriptor file_;
  std::filesystem::path path_;
  std::shared_ptr<DiskUse> diskUse_;
  std::int64_t unlinkedBytes_ = 0;
};

/// A file of the store as it is on disk.
struct FileOnDisk {
  FileMark mark{};
  std::int64_t allocatedBytes = 0;
};

/// Nothing, and errno set, for what cannot be examined or is no regular file.
std::optional<FileOnDisk> fileOnDisk(int descriptor);

}  // namespace tovrin::host
