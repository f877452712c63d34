#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "foundation/result.h"
#include "tovrin-worker/descriptor.h"

namespace tovrin::warp {

using worker::Descriptor;

/// One stretch of a file that holds data; what lies between stretches is a hole.
struct DataRun {
  std::int64_t offset = 0;
  std::int64_t length = 0;
};

/// The stretches of a file that its file system keeps on disk; one that covers everything for a file without holes.
Result<std::vector<DataRun>> findDataRuns(int file, std::int64_t size);

/// The bytes of some stretches of an open file, one after the other, read where they lie.
class StoredBytes {
 public:
  StoredBytes() = default;
  /// `file` stays open as long as this is used.
  StoredBytes(int file, std::vector<DataRun> runs);

  std::int64_t size() const { return size_; }
  const std::vector<DataRun>& runs() const { return runs_; }
  /// Fills the buffer; it must not reach beyond the end. A file that became shorter meanwhile is an error.
  Result<void> readAt(std::int64_t position, std::span<char> buffer) const;

 private:
  int file_ = -1;
  std::vector<DataRun> runs_;
  std::vector<std::int64_t> starts_;  // where each run starts in the stored bytes
  std::int64_t size_ = 0;
};

/// Calls `use(piece)` for the bytes from `position` on, in pieces of bounded size.
template <class Use>
Result<void> forEachPiece(const StoredBytes& bytes, std::int64_t position, std::int64_t length, Use use) {
  constexpr std::int64_t kPieceBytes = 1 << 18;
  std::vector<char> buffer(static_cast<std::size_t>(std::min(length, kPieceBytes)));
  while (length > 0) {
    const std::span<char> piece = std::span(buffer).first(static_cast<std::size_t>(std::min(length, kPieceBytes)));
    TOVRIN_CHECK(bytes.readAt(position, piece));
    TOVRIN_CHECK(use(std::string_view(piece.data(), piece.size())));
    position += static_cast<std::int64_t>(piece.size());
    length -= static_cast<std::int64_t>(piece.size());
  }
  return {};
}

/// A file without a name, gone with its descriptor.
class SpoolFile {
 public:
  static Result<SpoolFile> create();

  Result<void> append(std::string_view bytes);
  std::int64_t size() const { return size_; }
  StoredBytes bytes() const { return {file_.number(), {{0, size_}}}; }

 private:
  explicit SpoolFile(Descriptor file) : file_(std::move(file)) {}
  Descriptor file_;
  std::int64_t size_ = 0;
};

}  // namespace tovrin::warp
