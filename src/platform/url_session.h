#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "foundation/result.h"

namespace tovrin {

struct URLRequest {
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;
  /// Inactivity: the transfer fails with NSURLErrorDomain -1001 when nothing arrives for so long, never because it is
  /// slow.
  double timeoutSeconds = 60;
};

struct HTTPResponse {
  std::int64_t statusCode = 0;
};

/// Takes the body of one response, piece by piece, in order, on one thread at a time.
class BodySink {
 public:
  enum class Verdict { goOn, enough };

  virtual ~BodySink() = default;
  /// An error ends the transfer and becomes its result; `enough` ends it too, as a success.
  virtual Result<Verdict> receive(std::span<const std::byte> bytes) = 0;
};

struct ReceivedData {
  HTTPResponse response;
  std::string body;
};

/// GET over HTTP or HTTPS. Any status is a response; transport errors are of NSURLErrorDomain (-999 when `stop` was
/// requested). A URL that does not parse fails with -1000 before anything is sent. At most 20 redirects are followed,
/// and the Authorization header is not sent to another host, port or scheme. Safe to use from any thread; calls block
/// their own thread only.
class URLSession {
 public:
  virtual ~URLSession() = default;

  /// Hands the body on as it comes. Returns when the sink will not be called any more.
  virtual Result<HTTPResponse> receive(const URLRequest& request, BodySink& sink, std::stop_token stop) = 0;
  /// Holds the body in memory, at most 16 MiB of it; a longer body fails with -1011.
  Result<ReceivedData> data(const URLRequest& request, std::stop_token stop);
};

/// A session that keeps connections open between requests.
std::unique_ptr<URLSession> makeURLSession();

}  // namespace tovrin
