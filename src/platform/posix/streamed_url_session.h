#pragma once

#include <cstddef>
#include <span>

#include "platform/url_session.h"

namespace tovrin {

/// Takes the body of one response, piece by piece, in order, on one thread at a time.
class BodySink {
 public:
  enum class Verdict { goOn, enough };

  virtual ~BodySink() = default;
  /// An error ends the transfer and becomes its result; `enough` ends it too, as a success.
  virtual Result<Verdict> receive(std::span<const std::byte> bytes) = 0;
};

/// A session over a single way to transfer: what to do with bodies is the same on every system.
class StreamedURLSession : public URLSession {
 public:
  Result<DownloadedFile> download(const URLRequest& request, const DownloadOptions& options,
                                  std::stop_token stop) final;
  Result<ReceivedData> data(const URLRequest& request, std::stop_token stop) final;

 protected:
  /// Returns when the sink will not be called any more.
  virtual Result<HTTPResponse> transfer(const URLRequest& request, BodySink& sink, std::stop_token stop) = 0;
};

}  // namespace tovrin
