#include "platform/posix/pending_transfer.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <string>
#include <string_view>
#include <thread>

namespace tovrin {
namespace {

/// Takes up to ten bytes; refuses an "x" and has no memory for a "!".
class TenBytes final : public BodySink {
 public:
  Result<Verdict> receive(std::span<const std::byte> bytes) override {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.contains('!')) throw std::bad_alloc();
    if (text.contains('x')) return failure(NSError::cocoa(CocoaErrorCode::fileWriteOutOfSpace));
    body += text;
    return body.size() > 10 ? Verdict::enough : Verdict::goOn;
  }

  std::string body;
};

struct PendingTransferTest : testing::Test {
  bool receive(std::string_view text) { return transfer.receive(std::as_bytes(std::span(text))); }

  const std::optional<HTTPResponse> found = HTTPResponse{200};
  const NSError cancelled = NSError::url(URLErrorCode::cancelled);
  TenBytes sink;
  PendingTransfer transfer{sink};
};

TEST_F(PendingTransferTest, givesTheResponseWhenTheBodyIsThere) {
  EXPECT_TRUE(receive("abc"));
  EXPECT_TRUE(receive("def"));
  transfer.finish(found, std::nullopt);
  const Result<HTTPResponse> result = transfer.wait();
  ASSERT_TRUE(result);
  EXPECT_EQ(result->statusCode, 200);
  EXPECT_EQ(sink.body, "abcdef");
}

TEST_F(PendingTransferTest, passesTheSystemsErrorOn) {
  EXPECT_TRUE(receive("abc"));
  transfer.finish(found, NSError::url(URLErrorCode::networkConnectionLost));
  EXPECT_EQ(transfer.wait().error(), NSError::url(URLErrorCode::networkConnectionLost));
}

TEST_F(PendingTransferTest, succeedsWithABodyThatItCutShortItself) {
  EXPECT_FALSE(receive("more than ten"));
  EXPECT_FALSE(receive("late"));
  transfer.finish(found, cancelled);
  EXPECT_TRUE(transfer.wait());
  EXPECT_EQ(sink.body, "more than ten");
}

TEST_F(PendingTransferTest, failsWithWhatTheSinkFailedWith) {
  EXPECT_FALSE(receive("x"));
  EXPECT_FALSE(receive("late"));
  transfer.finish(found, cancelled);
  EXPECT_EQ(transfer.wait().error(), NSError::cocoa(CocoaErrorCode::fileWriteOutOfSpace));
  EXPECT_EQ(sink.body, "");
}

TEST_F(PendingTransferTest, survivesASinkWithoutMemory) {
  EXPECT_FALSE(receive("!"));
  transfer.finish(found, cancelled);
  EXPECT_EQ(transfer.wait().error(), NSError::posix(ENOMEM));
}

TEST_F(PendingTransferTest, takesAnAnswerThatIsNotHTTPForABadOne) {
  transfer.finish(std::nullopt, std::nullopt);
  EXPECT_EQ(transfer.wait().error(), NSError::url(URLErrorCode::badServerResponse));
}

TEST_F(PendingTransferTest, leavesTheSinkAloneOnceItHasEnded) {
  transfer.finish(found, std::nullopt);
  EXPECT_FALSE(receive("late"));
  EXPECT_EQ(sink.body, "");
}

TEST_F(PendingTransferTest, waitsForTheThreadThatFinishesIt) {
  const std::jthread system([this] {
    receive("abc");
    transfer.finish(found, std::nullopt);
  });
  EXPECT_TRUE(transfer.wait());
  EXPECT_EQ(sink.body, "abc");
}

TEST(URLOrigin, isTheSameWhateverTheCaseAndWithItsUsualPort) {
  EXPECT_TRUE(isSameOrigin({"http", "host", 80}, {"HTTP", "Host", std::nullopt}));
  EXPECT_TRUE(isSameOrigin({"https", "host", std::nullopt}, {"https", "host", 443}));
  EXPECT_TRUE(isSameOrigin({"http", "::1", 9980}, {"http", "::1", 9980}));
}

TEST(URLOrigin, isAnotherOneWithAnotherHostPortOrScheme) {
  EXPECT_FALSE(isSameOrigin({"http", "host", 80}, {"http", "other", 80}));
  EXPECT_FALSE(isSameOrigin({"http", "host", 80}, {"http", "host", 81}));
  EXPECT_FALSE(isSameOrigin({"http", "host", std::nullopt}, {"https", "host", std::nullopt}));
  EXPECT_FALSE(isSameOrigin({"http", "host", 80}, {"https", "host", 80}));
}

}  // namespace
}  // namespace tovrin
