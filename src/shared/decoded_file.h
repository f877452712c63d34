#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace tovrin {

/// Whether a file that was read when `identity` was its identity may still change without its identity telling: its
/// last modification is less than two seconds before the reading, and clock ticks are coarse.
bool mayStillChangeUnseen(const FileIdentity& identity, Date readAt);

/// The decoded value of one file, or why it does not decode; decoded again only when the file is another one than
/// before. Thread-safe: concurrent users wait for one decoding.
template <class Value>
class DecodedFile {
 public:
  using Shared = std::shared_ptr<const Value>;

  /// The file's value by `decode(const std::string& bytes) -> Result<Value>`. A missing file is NSCocoaErrorDomain 260.
  template <class Decode>
  Result<Shared> load(const std::filesystem::path& path, const Clock& clock, Decode&& decode) {
    const std::lock_guard hold(lock_);
    if (isUnchanged(path)) return *kept_;
    kept_.reset();
    const Date readAt = clock.now();
    TOVRIN_TRY(const FileContents contents, readWholeFile(path));
    Result<Value> value = decode(contents.bytes);
    Result<Shared> shared = value ? Result<Shared>(std::make_shared<const Value>(*std::move(value)))
                                  : Result<Shared>(failure(std::move(value).error()));
    keep(path, contents.identity, readAt, shared);
    return shared;
  }

  /// What `load` would return without decoding; nothing when it would decode.
  std::optional<Result<Shared>> unchanged(const std::filesystem::path& path) {
    const std::lock_guard hold(lock_);
    return isUnchanged(path) ? kept_ : std::nullopt;
  }

  /// Takes a value that the caller has just written to the file.
  void remember(const std::filesystem::path& path, const FileIdentity& identity, const Clock& clock, Value value) {
    const std::lock_guard hold(lock_);
    kept_.reset();
    keep(path, identity, clock.now(), std::make_shared<const Value>(std::move(value)));
  }

 private:
  bool isUnchanged(const std::filesystem::path& path) const {
    if (!kept_ || path != path_) return false;
    const auto attributes = fileAttributes(path);
    return attributes && attributes->identity == identity_;
  }

  void keep(const std::filesystem::path& path, const FileIdentity& identity, Date at, Result<Shared> value) {
    if (mayStillChangeUnseen(identity, at)) return;
    path_ = path;
    identity_ = identity;
    kept_ = std::move(value);
  }

  std::mutex lock_;
  std::filesystem::path path_;
  FileIdentity identity_;
  std::optional<Result<Shared>> kept_;
};

}  // namespace tovrin
