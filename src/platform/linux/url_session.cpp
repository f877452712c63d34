#include "platform/url_session.h"

#include <curl/curl.h>

#include <cstdlib>
#include <string_view>

#include "platform/linux/curl_transfer.h"
#include "platform/linux/curl_transfer_pool.h"

namespace tovrin {

namespace {

/// A worker on this machine is reached directly, whatever proxy the environment names.
std::string hostsReachedDirectly() {
  const char* configured = std::getenv("no_proxy");
  if (configured == nullptr) configured = std::getenv("NO_PROXY");
  const std::string_view others = configured == nullptr ? "" : configured;
  if (others == "*") return "*";
  return "localhost,127.0.0.0/8,::1," + std::string(others);
}

class CurlURLSession final : public URLSession {
 public:
  Result<HTTPResponse> receive(const URLRequest& request, BodySink& sink, std::stop_token stop) override {
    std::unique_ptr<CurlSlot> slot = pool_.take();
    if (slot == nullptr) return failure(NSError::url(URLErrorCode::unknown));
    Result<HTTPResponse> response = runTransfer(*slot, request, noProxyHosts_, sink, std::move(stop));
    pool_.giveBack(std::move(slot));
    return response;
  }

 private:
  const std::string noProxyHosts_ = hostsReachedDirectly();
  CurlTransferPool pool_;
};

}  // namespace

std::unique_ptr<URLSession> makeURLSession() {
  // Once per process, and before any thread uses libcurl; never undone, as other sessions may live on.
  [[maybe_unused]] static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
  return std::make_unique<CurlURLSession>();
}

}  // namespace tovrin
