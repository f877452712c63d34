#include "materialize/growing_file_hash.h"

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

#include "foundation/caught.h"

namespace tovrin {
namespace {

constexpr std::int64_t kChunkBytes = 1048576;
constexpr std::int64_t kToTheEnd = std::numeric_limits<std::int64_t>::max();

bool isSameFile(const FileIdentity& a, const FileIdentity& b) { return a.device == b.device && a.inode == b.inode; }

}  // namespace

// A file that stays below a chunk is hashed when it is whole: a thread would cost more than it saves.
void GrowingFileHash::standsUpTo(const std::filesystem::path& file, std::int64_t end) {
  if (end - announced_ < kChunkBytes) return;
  announced_ = end;
  {
    const std::lock_guard hold(lock_);
    standing_ = end;
  }
  grown_.notify_one();
  if (follower_.joinable() || handle_) return;
  // Whatever is in the way, memory for a thread included, is in the way again at the end, and reported there.
  std::ignore = caught([&]() -> Result<void> {
    TOVRIN_CHECK(open(file));
    follower_ = std::jthread([this](const std::stop_token& stop) { follow(stop); });
    return {};
  });
}

Result<std::string> GrowingFileHash::finish(const std::filesystem::path& file, const std::stop_token& stop) {
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(file));
  if (follower_.joinable() && isSameFile(attributes.identity, identity_)) {
    TOVRIN_CHECK(endFollowing(stop));
  } else {
    follower_ = {};  // what it has read is of another file
    TOVRIN_CHECK(open(file));
  }
  TOVRIN_CHECK(hashUpTo(kToTheEnd, stop));
  return hash_->finalizeHex();
}

Result<void> GrowingFileHash::open(const std::filesystem::path& file) {
  TOVRIN_TRY(FileHandle handle, FileHandle::forReading(file));
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(file));
  // Not filled with zeros, which would cost more than a small file's hash.
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<std::byte[]>(kChunkBytes);
  handle_ = std::move(handle);
  identity_ = attributes.identity;
  hash_.emplace();
  hashed_ = 0;
  return {};
}

void GrowingFileHash::follow(const std::stop_token& stop) {
  std::int64_t end = 0;
  do {
    {
      std::unique_lock hold(lock_);
      if (!grown_.wait(hold, stop, [this] { return standing_ > hashed_; })) return;
      end = standing_;
    }
    followed_ = caught([&] { return hashUpTo(end, stop); });
  } while (hashed_ == end);
}

Result<void> GrowingFileHash::endFollowing(const std::stop_token& stop) {
  const std::stop_callback passOn(stop, [this] { follower_.request_stop(); });
  {
    const std::lock_guard hold(lock_);
    standing_ = kToTheEnd;
  }
  grown_.notify_one();
  follower_.join();
  return followed_;
}

Result<void> GrowingFileHash::hashUpTo(std::int64_t end, const std::stop_token& stop) {
  while (hashed_ < end) {
    if (stop.stop_requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    const auto wanted = static_cast<std::size_t>(std::min(end - hashed_, kChunkBytes));
    TOVRIN_TRY(const std::size_t count, handle_->read(std::span(buffer_.get(), wanted)));
    if (count == 0) return {};
    hash_->update(std::span<const std::byte>(buffer_.get(), count));
    hashed_ += static_cast<std::int64_t>(count);
  }
  return {};
}

}  // namespace tovrin
