#include <cstddef>
#include <utility>

#include "platform/url_session.h"

namespace tovrin {

namespace {

constexpr std::size_t kLargestDataBytes = 16 * 1024 * 1024;

class MemorySink final : public BodySink {
 public:
  Result<Verdict> receive(std::span<const std::byte> bytes) override {
    if (bytes.size() > kLargestDataBytes - body_.size()) return failure(NSError::url(URLErrorCode::badServerResponse));
    body_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return Verdict::goOn;
  }

  std::string takeBody() { return std::move(body_); }

 private:
  std::string body_;
};

}  // namespace

Result<ReceivedData> URLSession::data(const URLRequest& request, std::stop_token stop) {
  MemorySink sink;
  TOVRIN_TRY(const HTTPResponse response, receive(request, sink, std::move(stop)));
  return ReceivedData{response, sink.takeBody()};
}

}  // namespace tovrin
