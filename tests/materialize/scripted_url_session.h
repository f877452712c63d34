#pragma once

#include <utility>
#include <vector>

#include "foundation/result.h"
#include "platform/url_session.h"

namespace tovrin {

/// Ends every transfer with one error and remembers what was asked: for endings that no server on loopback can bring
/// about.
class FailingURLSession final : public URLSession {
 public:
  explicit FailingURLSession(NSError error) : error_(std::move(error)) {}

  Result<DownloadedFile> download(const URLRequest& request, const DownloadOptions& options, std::stop_token) override {
    requests.push_back(request);
    downloads.push_back(options);
    return failure(error_);
  }
  Result<ReceivedData> data(const URLRequest& request, std::stop_token) override {
    requests.push_back(request);
    return failure(error_);
  }

  std::vector<URLRequest> requests;
  std::vector<DownloadOptions> downloads;

 private:
  NSError error_;
};

}  // namespace tovrin
