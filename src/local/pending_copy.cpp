#include "local/pending_copy.h"

#include <system_error>
#include <tuple>
#include <utility>

#include "foundation/path.h"
#include "foundation/uuid.h"
#include "materialize/errors.h"
#include "materialize/fetch_destination.h"
#include "materialize/file_checksum.h"
#include "platform/file_system.h"

namespace tovrin {
namespace {

Result<void> checkMetadata(const std::filesystem::path& contents) {
  std::error_code error;
  std::ignore = std::filesystem::status(contents, error);
  if (error) return failure(metadataReadError(contents.string(), error.value()));
  return {};
}

}  // namespace

Result<PendingCopy> PendingCopy::make(const WarpDirectory& warp, std::string_view relativePath,
                                      const std::filesystem::path& contents, const std::stop_token& stop) {
  TOVRIN_CHECK(checkMetadata(contents));
  TOVRIN_CHECK(createDirectories(warp.pendingWriteback()));
  const std::string name = makeUUIDString() + "." + deliveredExtension(relativePath);
  PendingCopy copy(standardizedPath((warp.pendingWriteback() / name).string()));
  std::ignore = removeItem(copy.path_);  // the name is fresh: what could be there is nobody's
  TOVRIN_CHECK(copyItem(contents, copy.path_, Durability::durable));
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(copy.path_));
  copy.size_ = attributes.identity.size;
  TOVRIN_TRY(copy.checksumSHA256_, sha256HexOfFile(copy.path_, stop));
  return copy;
}

PendingCopy::PendingCopy(PendingCopy&& other) noexcept
    : path_(std::move(other.path_)),
      size_(other.size_),
      checksumSHA256_(std::move(other.checksumSHA256_)),
      isOurs_(std::exchange(other.isOurs_, false)) {}

PendingCopy::~PendingCopy() {
  if (!isOurs_) return;
  std::error_code ignored;  // an orphan is harmless, and there may be no memory for more
  std::filesystem::remove(path_, ignored);
}

}  // namespace tovrin
