#include "platform/posix/pending_transfer.h"

#include <strings.h>

#include "foundation/caught.h"

namespace tovrin {

namespace {

bool isSameName(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

int portOf(const URLOrigin& origin) { return origin.port.value_or(isSameName(origin.scheme, "https") ? 443 : 80); }

}  // namespace

bool PendingTransfer::receive(std::span<const std::byte> bytes) {
  const std::lock_guard hold(lock_);
  if (result_ || sinkError_ || isEnough_) return false;
  const Result<BodySink::Verdict> verdict = caught([&] { return sink_.receive(bytes); });
  if (!verdict) sinkError_ = verdict.error();
  isEnough_ = verdict && *verdict == BodySink::Verdict::enough;
  return verdict && !isEnough_;
}

void PendingTransfer::finish(const std::optional<HTTPResponse>& response, const std::optional<NSError>& error) {
  const std::lock_guard hold(lock_);
  result_ = resultOf(response, error);
  finished_.notify_all();
}

Result<HTTPResponse> PendingTransfer::wait() {
  std::unique_lock hold(lock_);
  finished_.wait(hold, [this] { return result_.has_value(); });
  return *result_;
}

Result<HTTPResponse> PendingTransfer::resultOf(const std::optional<HTTPResponse>& response,
                                               const std::optional<NSError>& error) const {
  if (sinkError_) return failure(*sinkError_);
  if (error && !isEnough_) return failure(*error);
  if (!response) return failure(NSError::url(URLErrorCode::badServerResponse));
  return *response;
}

bool isSameOrigin(const URLOrigin& a, const URLOrigin& b) {
  return isSameName(a.scheme, b.scheme) && isSameName(a.host, b.host) && portOf(a) == portOf(b);
}

}  // namespace tovrin
