#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/result.h"
#include "tovrin-warp/stored_bytes.h"

namespace tovrin::warp {

/// Part of some stored bytes, to become one object.
struct ObjectSlice {
  const StoredBytes& bytes;
  std::int64_t offset = 0;
  std::int64_t length = 0;
};

/// Where objects go. Memory stays bounded whatever their size. For one thread.
class ObjectSink {
 public:
  virtual ~ObjectSink() = default;
  /// One that exists is no error.
  virtual Result<void> createBucket(std::string_view bucket) = 0;
  /// Replaces an object that is there; what fails half way leaves no object.
  virtual Result<void> put(std::string_view bucket, std::string_view key, const ObjectSlice& slice) = 0;
};

/// A folder that the loopback worker can serve.
std::unique_ptr<ObjectSink> makeFolderSink(std::filesystem::path root);

/// A running worker, at "http://host:port".
Result<std::unique_ptr<ObjectSink>> makeWorkerSink(std::string url, std::string password);

}  // namespace tovrin::warp
