#include "cli/fetch_queue.h"

#include <algorithm>
#include <cerrno>

#include "materialize/errors.h"

namespace tovrin::cli {

namespace {

constexpr std::size_t kAtOnce = 4;
/// One file may miss its object. So many, one after the other, miss their worker.
constexpr std::size_t kHopeless = 8;

/// A mount that ends cancels what it was asked for.
bool isMountGone(const NSError& error) {
  if (error.is(CocoaErrorCode::userCancelled)) return true;
  return error.domain() == NSPOSIXErrorDomain && (error.code() == ECONNREFUSED || error.code() == ECONNRESET);
}

bool isUnreachable(const NSError& error) {
  return error.domain() == notReachableError().domain() && error.code() == notReachableError().code();
}

}  // namespace

FetchQueue::FetchQueue(const host::ControlClient& mount, const std::vector<TreeFile>& files)
    : mount_(mount), files_(files), running_(std::min(kAtOnce, files.size())) {
  if (running_ == 0) done_.signal();
  for (std::size_t i = std::min(kAtOnce, files.size()); i > 0; --i) threads_.emplace_back([this] { run(); });
}

FetchQueue::~FetchQueue() {
  stop();
  threads_.clear();
}

FetchQueue::State FetchQueue::state() const {
  const std::lock_guard hold(lock_);
  return state_;
}

void FetchQueue::run() {
  while (const TreeFile* file = next()) finished(*file, mount_.fetch(file->identifier, stop_.get_token()));
  const std::lock_guard hold(lock_);
  if (--running_ == 0) done_.signal();
}

const TreeFile* FetchQueue::next() {
  const std::lock_guard hold(lock_);
  if (stop_.stop_requested() || next_ == files_.size()) return nullptr;
  const TreeFile* file = &files_[next_++];
  state_.going.insert(file);
  return file;
}

void FetchQueue::finished(const TreeFile& file, const Result<void>& result) {
  const std::lock_guard hold(lock_);
  state_.going.erase(&file);
  if (result) {
    ++state_.files;
    state_.bytes += file.bytes;
    unreachableInARow_ = 0;
    return;
  }
  if (stop_.stop_requested()) return;
  unreachableInARow_ = isUnreachable(result.error()) ? unreachableInARow_ + 1 : 0;
  if (isMountGone(result.error()) || unreachableInARow_ == kHopeless) {
    state_.end = result.error();
    stop();
    return;
  }
  ++state_.files;
  state_.bytes += file.bytes;
  state_.failed.push_back({&file, result.error()});
}

}  // namespace tovrin::cli
