#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
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

struct DownloadedFile {
  HTTPResponse response;
  std::filesystem::path file;  ///< the caller moves or removes it
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

  struct DownloadOptions {
    std::filesystem::path directory;  ///< where the temporary file is made
    /// A body of more bytes than this cannot be right: the transfer is cut off there and what has arrived is delivered.
    std::optional<std::int64_t> byteLimit;
  };
  /// Streams the body to a fresh file. On an error nothing is left behind.
  virtual Result<DownloadedFile> download(const URLRequest& request, const DownloadOptions& options,
                                          std::stop_token stop) = 0;
  /// Holds the body in memory, at most 16 MiB of it; a longer body fails with -1011.
  virtual Result<ReceivedData> data(const URLRequest& request, std::stop_token stop) = 0;
};

/// A session that keeps connections open between requests.
std::unique_ptr<URLSession> makeURLSession();

}  // namespace tovrin
