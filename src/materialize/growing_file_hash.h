#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

#include "foundation/result.h"
#include "platform/file_system.h"
#include "platform/sha256.h"

namespace tovrin {

/// SHA-256 of a file, begun while the file is still written front to back: what stands already is read back from it on
/// a thread of its own, right behind the writer. What is hashed is what the file holds, and never more than one chunk
/// of it is in memory. For one file, and its writer's thread; nothing goes on when the object is gone.
class GrowingFileHash {
 public:
  /// The first `end` bytes of `file` will not change any more. To be told of every few bytes costs next to nothing.
  void standsUpTo(const std::filesystem::path& file, std::int64_t end);
  /// 64 lower-case hexadecimal digits, of the whole file as it is now, whatever its name was before. Nothing of another
  /// file than this one counts. NSCocoaErrorDomain 3072 when stopped.
  Result<std::string> finish(const std::filesystem::path& file, const std::stop_token& stop);

 private:
  Result<void> open(const std::filesystem::path& file);
  void follow(const std::stop_token& stop);
  /// Until `end`, or the end of the file.
  Result<void> hashUpTo(std::int64_t end, const std::stop_token& stop);
  Result<void> endFollowing(const std::stop_token& stop);

  std::int64_t announced_ = 0;  ///< the writer's own
  // While the follower runs they are its own, else the caller's.
  std::optional<FileHandle> handle_;
  FileIdentity identity_;
  std::unique_ptr<std::byte[]> buffer_;
  std::optional<SHA256> hash_;
  std::int64_t hashed_ = 0;
  Result<void> followed_;

  std::mutex lock_;  ///< guards what follows
  std::int64_t standing_ = 0;
  std::condition_variable_any grown_;
  std::jthread follower_;  // last: it uses the others
};

}  // namespace tovrin
