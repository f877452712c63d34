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

  Result<HTTPResponse> receive(const URLRequest& request, BodySink&, std::stop_token) override {
    requests.push_back(request);
    return failure(error_);
  }

  std::vector<URLRequest> requests;

 private:
  NSError error_;
};

}  // namespace tovrin
