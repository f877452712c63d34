#pragma once

#include <curl/curl.h>

#include <stop_token>
#include <string>

#include "foundation/result.h"
#include "platform/linux/curl_transfer_pool.h"
#include "platform/url_session.h"

namespace tovrin {

/// Runs one GET on the calling thread. The slot may be used again afterwards, whatever the result. `noProxyHosts` is
/// libcurl's list of hosts that are reached directly.
Result<HTTPResponse> runTransfer(const CurlSlot& slot, const URLRequest& request, const std::string& noProxyHosts,
                                 BodySink& sink, std::stop_token stop);

}  // namespace tovrin
