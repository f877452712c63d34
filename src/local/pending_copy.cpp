#include "local/pending_copy.h"

#include <system_error>
#include <tuple>
#include <utility>

#include "foundation/path.h"
#include "foundation/uuid.h"
#include "materialize/errors.h"
#include "materialize/file_checksum.h"
#include "platform/file_system.h"

namespace tovrin {
namespace {

constexpr std::size_t kLongestFileName = 255;

std::string freshName(std::string_view relativePath) {
  std::string name = makeUUIDString() + ".";
  const std::string_view extension = pathExtension(relativePath);
  // An entry's own name may be as long as a file name can be, and its extension nearly so.
  const bool isUsable = !extension.empty() && name.size() + extension.size() <= kLongestFileName;
  return name.append(isUsable ? extension : "warp");
}

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
  PendingCopy copy(standardizedPath((warp.pendingWriteback() / freshName(relativePath)).string()));
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
