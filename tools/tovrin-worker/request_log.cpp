#include "tovrin-worker/request_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

namespace tovrin::worker {
namespace {

constexpr std::size_t kMostRequestsKept = 20'000;

}  // namespace

Result<void> RequestLog::openFile(const std::filesystem::path& path, std::string secret) {
  const std::lock_guard guard(lock_);
  file_.reset(std::fopen(path.c_str(), "ae"));
  if (!file_) return failure(NSError::posix(errno, fmt::format("The log \"{}\" could not be opened.", path.native())));
  secret_ = std::move(secret);
  return {};
}

WorkerRequest* RequestLog::find(std::size_t request) {
  return request < forgotten_ ? nullptr : &requests_[request - forgotten_];
}

std::size_t RequestLog::begin(const RequestHead& head, std::uint64_t connection) {
  const std::lock_guard guard(lock_);
  requests_.push_back(
      {.method = head.method, .target = head.target, .headers = head.headers, .connection = connection});
  if (requests_.size() > kMostRequestsKept) {
    requests_.pop_front();
    ++forgotten_;
  }
  changed_.notify_all();
  return forgotten_ + requests_.size() - 1;
}

void RequestLog::headerSent(std::size_t request, int status) {
  const std::lock_guard guard(lock_);
  if (WorkerRequest* entry = find(request)) entry->status = status;
}

void RequestLog::finish(std::size_t request, std::int64_t bodyBytes) {
  const std::lock_guard guard(lock_);
  WorkerRequest* entry = find(request);
  if (!entry) return;
  entry->bodyBytes = bodyBytes;
  entry->finished = true;
  changed_.notify_all();
  if (!file_) return;
  std::string target = entry->target;
  if (const auto at = secret_.empty() ? std::string::npos : target.find(secret_); at != std::string::npos) {
    target.replace(at, std::string::npos, "***");
  }
  std::ranges::replace_if(target, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
  fmt::print(file_.get(), "{} {} {} {}\n", entry->method, target, entry->status, bodyBytes);
  std::fflush(file_.get());
}

std::vector<WorkerRequest> RequestLog::requests() const {
  const std::lock_guard guard(lock_);
  return {requests_.begin(), requests_.end()};
}

void RequestLog::clear() {
  const std::lock_guard guard(lock_);
  forgotten_ += requests_.size();
  requests_.clear();
}

bool RequestLog::waitForArrivals(std::size_t count, std::chrono::milliseconds patience) const {
  std::unique_lock guard(lock_);
  return changed_.wait_for(guard, patience, [&] { return requests_.size() >= count; });
}

bool RequestLog::waitForFinished(std::size_t count, std::chrono::milliseconds patience) const {
  std::unique_lock guard(lock_);
  return changed_.wait_for(guard, patience, [&] {
    return std::ranges::count_if(requests_, &WorkerRequest::finished) >= static_cast<std::ptrdiff_t>(count);
  });
}

}  // namespace tovrin::worker
