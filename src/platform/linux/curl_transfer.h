#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <optional>
#include <span>
#include <stop_token>

#include "foundation/result.h"
#include "platform/linux/curl_transfer_pool.h"
#include "platform/url_session.h"

namespace tovrin {

/// Takes the body of one response, piece by piece, on the thread of the transfer.
class BodySink {
 public:
  enum class Verdict { goOn, enough };

  virtual ~BodySink() = default;
  /// An error ends the transfer and becomes its result; `enough` ends it too, as a success.
  virtual Result<Verdict> receive(std::span<const std::byte> bytes) = 0;
};

/// Runs one GET on the calling thread. The slot may be used again afterwards, whatever the result. `noProxyHosts` is
/// libcurl's list of hosts that are reached directly.
Result<HTTPResponse> runTransfer(const CurlSlot& slot, const URLRequest& request, const std::string& noProxyHosts,
                                 BodySink& sink, std::stop_token stop);

}  // namespace tovrin
