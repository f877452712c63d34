#pragma once

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "platform/url_session.h"

namespace tovrin {

/// Keeps what arrives, until more has come than is wanted.
class KeepingSink final : public BodySink {
 public:
  explicit KeepingSink(std::size_t wantedBytes) : wantedBytes_(wantedBytes) {}

  Result<Verdict> receive(std::span<const std::byte> bytes) override {
    body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return body.size() > wantedBytes_ ? Verdict::enough : Verdict::goOn;
  }

  std::string body;

 private:
  std::size_t wantedBytes_;
};

/// A session of its own for each test.
class URLSessionFixture : public ::testing::Test {
 protected:
  /// Long enough for a loaded machine; a transfer that should fail by itself never waits for it.
  static constexpr double kPatience = 60;

  static URLRequest request(std::string url, double timeoutSeconds = kPatience) {
    return {.url = std::move(url), .headers = {}, .timeoutSeconds = timeoutSeconds};
  }

  /// Everything that comes, whatever `data` would hold.
  Result<ReceivedData> download(const URLRequest& request, std::stop_token stop = {}) {
    return downloadAtMost(std::numeric_limits<std::size_t>::max(), request, std::move(stop));
  }
  Result<ReceivedData> downloadAtMost(std::size_t wantedBytes, const URLRequest& request, std::stop_token stop = {}) {
    KeepingSink sink(wantedBytes);
    TOVRIN_TRY(const HTTPResponse response, session->receive(request, sink, std::move(stop)));
    return ReceivedData{response, std::move(sink.body)};
  }
  Result<ReceivedData> data(const URLRequest& request, std::stop_token stop = {}) {
    return session->data(request, std::move(stop));
  }
  /// The body of a response that must come; its status is not looked at.
  std::string body(const std::string& url) {
    Result<ReceivedData> received = data(request(url));
    EXPECT_TRUE(received) << received.error().localizedDescription();
    return received ? received->body : "";
  }

  /// What both forms of a request fail with; a success, two different errors or a file left behind fail the test.
  std::int64_t urlErrorCode(const URLRequest& request) {
    const Result<ReceivedData> downloaded = download(request);
    const Result<ReceivedData> received = data(request);
    if (downloaded || received) {
      ADD_FAILURE() << "the transfer succeeded";
      return 0;
    }
    EXPECT_EQ(downloaded.error(), received.error());
    EXPECT_EQ(received.error().domain(), NSURLErrorDomain);
    return received.error().code();
  }

  std::unique_ptr<URLSession> session = makeURLSession();
};

}  // namespace tovrin
