#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/url_session.h"
#include "support/scratch_folder.h"

namespace tovrin {

/// A session of its own for each test, and a folder for its downloads.
class URLSessionFixture : public ::testing::Test {
 protected:
  /// Long enough for a loaded machine; a transfer that should fail by itself never waits for it.
  static constexpr double kPatience = 60;

  static URLRequest request(std::string url, double timeoutSeconds = kPatience) {
    return {.url = std::move(url), .headers = {}, .timeoutSeconds = timeoutSeconds};
  }

  Result<DownloadedFile> download(const URLRequest& request, std::stop_token stop = {}) {
    return session->download(request, {.directory = folder.path(), .byteLimit = std::nullopt}, std::move(stop));
  }
  Result<DownloadedFile> downloadAtMost(std::int64_t byteLimit, const URLRequest& request) {
    return session->download(request, {.directory = folder.path(), .byteLimit = byteLimit}, {});
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
    const Result<DownloadedFile> downloaded = download(request);
    EXPECT_EQ(countFiles(folder.path()), 0U);
    const Result<ReceivedData> received = data(request);
    if (downloaded || received) {
      ADD_FAILURE() << "the transfer succeeded";
      return 0;
    }
    EXPECT_EQ(downloaded.error(), received.error());
    EXPECT_EQ(received.error().domain(), NSURLErrorDomain);
    return received.error().code();
  }

  ScratchFolder folder;
  std::unique_ptr<URLSession> session = makeURLSession();
};

}  // namespace tovrin
