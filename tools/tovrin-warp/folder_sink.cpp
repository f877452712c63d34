#include <fmt/format.h>

#include <cerrno>

#include "tovrin-warp/object_sink.h"
#include "tovrin-worker/object_store.h"

namespace tovrin::warp {
namespace {

class FolderSink final : public ObjectSink {
 public:
  explicit FolderSink(std::filesystem::path root) : store_(std::move(root)) {}

  Result<void> createBucket(std::string_view bucket) override {
    const auto outcome = store_.createBucket(bucket);
    using Outcome = worker::ObjectStore::BucketOutcome;
    if (outcome == Outcome::created || outcome == Outcome::exists) return {};
    return failure(NSError::posix(EIO, fmt::format("The folder of the bucket \"{}\" could not be made.", bucket)));
  }

  Result<void> put(std::string_view bucket, std::string_view key, const ObjectSlice& slice) override {
    TOVRIN_TRY(auto upload, store_.beginUpload());
    TOVRIN_CHECK(forEachPiece(slice.bytes, slice.offset, slice.length, [&](std::string_view piece) -> Result<void> {
      if (!upload.write(piece)) return failure(NSError::posix(errno));
      return {};
    }));
    TOVRIN_TRY([[maybe_unused]] const std::string etag, store_.commit(std::move(upload), bucket, key, {}));
    return {};
  }

 private:
  worker::ObjectStore store_;
};

}  // namespace

std::unique_ptr<ObjectSink> makeFolderSink(std::filesystem::path root) {
  return std::make_unique<FolderSink>(std::move(root));
}

}  // namespace tovrin::warp
