#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/result.h"
#include "tovrin-worker/descriptor.h"
#include "tovrin-worker/http_text.h"

namespace tovrin::worker {

/// What was said about an object when it was uploaded; kept as long as the worker runs.
struct ObjectMetadata {
  std::string contentType;
  Headers userMetadata;  ///< X-Sia-Meta-…
};

struct OpenObject {
  Descriptor file;
  std::int64_t size = 0;
  std::time_t lastModified = 0;
  std::string etag;  ///< with its quotes
  ObjectMetadata metadata;
};

/// Buckets are folders and objects are files in them. A key is a path below its bucket's folder, except that a piece
/// which no file can be called by (empty, "." or "..") or which begins with "%" gets a "%" in front: so two keys never
/// share a file and no key leaves its bucket. Thread-safe.
class ObjectStore {
 public:
  explicit ObjectStore(std::filesystem::path root) : root_(std::move(root)) {}

  enum class BucketOutcome : std::uint8_t { created, exists, badName, failed };
  BucketOutcome createBucket(std::string_view bucket);
  bool hasBucket(std::string_view bucket) const;

  std::filesystem::path objectPath(std::string_view bucket, std::string_view key) const;
  /// Nothing for a missing bucket as well as for a missing key.
  std::optional<OpenObject> open(std::string_view bucket, std::string_view key) const;
  bool remove(std::string_view bucket, std::string_view key);

  /// An object on its way in; without `commit` it leaves nothing behind.
  class Upload {
   public:
    Upload(Upload&& other) noexcept;
    ~Upload();
    bool write(std::string_view bytes);

   private:
    friend class ObjectStore;
    Upload(Descriptor file, std::filesystem::path path) : file_(std::move(file)), path_(std::move(path)) {}
    Descriptor file_;
    std::filesystem::path path_;
  };
  Result<Upload> beginUpload();
  /// The object's tag.
  Result<std::string> commit(Upload upload, std::string_view bucket, std::string_view key, ObjectMetadata metadata);

 private:
  std::filesystem::path root_;
  mutable std::mutex lock_;
  std::map<std::filesystem::path, ObjectMetadata> metadata_;  // guarded by lock_
  std::uint64_t uploads_ = 0;                                 // guarded by lock_
};

}  // namespace tovrin::worker
