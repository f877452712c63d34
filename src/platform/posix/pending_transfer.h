#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "platform/url_session.h"

namespace tovrin {

/// A transfer that the system runs on threads of its own, as the thread sees it that waits for the end.
class PendingTransfer {
 public:
  /// `sink` is not called any more once `wait` has returned.
  explicit PendingTransfer(BodySink& sink) : sink_(sink) {}

  /// False when no more is wanted: then the transfer is to be cancelled, and what still arrives is dropped.
  bool receive(std::span<const std::byte> bytes);

  /// The end of the transfer, said once. A body that was cut short on purpose succeeds with its response although the
  /// system calls it cancelled. No response and no error is an answer that is not HTTP.
  void finish(const std::optional<HTTPResponse>& response, const std::optional<NSError>& error);

  Result<HTTPResponse> wait();

 private:
  Result<HTTPResponse> resultOf(const std::optional<HTTPResponse>& response, const std::optional<NSError>& error) const;

  BodySink& sink_;
  std::mutex lock_;  ///< guards what follows; held while the sink takes bytes
  std::optional<NSError> sinkError_;
  bool isEnough_ = false;
  std::optional<Result<HTTPResponse>> result_;
  std::condition_variable finished_;
};

/// Where a URL leads to, as far as a password may follow it.
struct URLOrigin {
  std::string scheme;
  std::string host;
  std::optional<int> port;
};

/// Names without regard to case; a missing port is the scheme's usual one.
bool isSameOrigin(const URLOrigin& a, const URLOrigin& b);

}  // namespace tovrin
