#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <thread>
#include <tuple>

#include "foundation/encoding.h"
#include "materialize/errors.h"
#include "materialize/scripted_url_session.h"
#include "materialize/worker_fixture.h"

namespace tovrin {
namespace {

/// Keeps what arrives, until more has come than is wanted.
class KeepingSink final : public BodySink {
 public:
  Result<Verdict> receive(std::span<const std::byte> bytes) override {
    body.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return body.size() > wantedBytes ? Verdict::enough : Verdict::goOn;
  }

  std::size_t wantedBytes = std::numeric_limits<std::size_t>::max();
  std::string body;
};

class ObjectDownload : public WorkerFixture {
 protected:
  /// The object's bytes.
  Result<std::string> download(std::string_view key, std::optional<TovrinPayloadNamespace> namespace_ = {}) {
    return downloadFrom(snapshot(), key, namespace_);
  }
  Result<std::string> downloadFrom(const TovrinWarpRenterdConnectionSnapshot& worker_, std::string_view key,
                                   std::optional<TovrinPayloadNamespace> namespace_ = {}, std::stop_token stop = {}) {
    KeepingSink sink;
    TOVRIN_CHECK(client().downloadObject(worker_, {key, namespace_}, sink, std::move(stop)));
    return std::move(sink.body);
  }
};

TEST_F(ObjectDownload, handsTheWholeBodyOn) {
  const std::string bytes = patternedBytes(3'000'000);
  put("photos/a.bin", bytes);
  const auto object = download("photos/a.bin");
  ASSERT_TRUE(object);
  EXPECT_EQ(*object, bytes);
}

TEST_F(ObjectDownload, handsNothingOnOfAnEmptyObject) {
  put("empty", "");
  const auto object = download("empty");
  ASSERT_TRUE(object);
  EXPECT_EQ(*object, "");
}

TEST_F(ObjectDownload, asksForTheKeyPercentEncodedWithItsSlashes) {
  for (const std::string key : {"my photos/a #1.bin", "dates/12:30.txt", "12:30/x", "100%.txt", "naïve+plus;semi",
                                "q?bucket=other", "dots/..a/.b"}) {
    put(key, "content of " + key);
    const auto object = download(key);
    ASSERT_TRUE(object) << key;
    EXPECT_EQ(*object, "content of " + key);
  }
  EXPECT_EQ(objectRequests().front(), "my%20photos/a%20%231.bin?bucket=tovrin");
}

TEST_F(ObjectDownload, looksInTheBucketOfTheNamespace) {
  put("k", "backup bytes", "tovrin");
  put("k", "warp bytes", "tovrin-warped");
  EXPECT_EQ(download("k").value(), "backup bytes");
  EXPECT_EQ(download("k", TovrinPayloadNamespace::backup).value(), "backup bytes");
  EXPECT_EQ(download("k", TovrinPayloadNamespace::warp).value(), "warp bytes");
}

TEST_F(ObjectDownload, logsInWithThePasswordAndNoUserName) {
  put("k", "x");
  ASSERT_TRUE(download("k"));
  const WorkerRequest request = worker.requests().back();
  ASSERT_NE(request.header("Authorization"), nullptr);
  EXPECT_EQ(*request.header("Authorization"), "Basic " + base64Encode(":loopback"));
  ASSERT_NE(request.header("Accept"), nullptr);
  EXPECT_EQ(*request.header("Accept"), "application/octet-stream");
  EXPECT_EQ(request.method, "GET");
}

TEST_F(ObjectDownload, sendsALoneColonForAnEmptyPassword) {
  std::ignore = downloadFrom({worker.address(), "", {}}, "k");
  ASSERT_NE(worker.requests().back().header("Authorization"), nullptr);
  EXPECT_EQ(*worker.requests().back().header("Authorization"), "Basic Og==");
}

TEST_F(ObjectDownload, allowsTwoMinutesOfSilence) {
  FailingURLSession session(NSError::url(URLErrorCode::timedOut));
  Platform platform{test.clock, test.directories, session, test.notifications};
  RenterdClient scripted(platform);
  KeepingSink sink;
  std::ignore = scripted.downloadObject(snapshot(), {"k", {}}, sink, {});
  ASSERT_EQ(session.requests.size(), 1U);
  EXPECT_EQ(session.requests[0].timeoutSeconds, 120);
}

TEST_F(ObjectDownload, takesAnyStatusBut2xxForAWorkerThatCannotBeReached) {
  put("k", "x");
  for (const std::string_view code : {"204", "299"}) {
    addFault("status times=1 code=" + std::string(code));
    EXPECT_TRUE(download("k")) << code;
  }
  for (const std::string_view code : {"304", "400", "401", "403", "404", "416", "500", "502", "503", "504"}) {
    addFault("status times=1 body=oops code=" + std::string(code));
    const auto object = download("k");
    ASSERT_FALSE(object) << code;
    EXPECT_TRUE(object.error().isSameInstance(notReachableError())) << code;
  }
}

TEST_F(ObjectDownload, ofAMissingKeyIsAWorkerThatCannotBeReached) {
  const auto object = download("nowhere");
  ASSERT_FALSE(object);
  EXPECT_TRUE(object.error().isSameInstance(notReachableError()));
}

TEST_F(ObjectDownload, withTheWrongPasswordIsAWorkerThatCannotBeReached) {
  put("k", "x");
  const auto object = downloadFrom({worker.address(), "wrong", {}}, "k");
  ASSERT_FALSE(object);
  EXPECT_TRUE(object.error().isSameInstance(notReachableError()));
}

TEST_F(ObjectDownload, fromAnAddressThatMakesNoURLSendsNothing) {
  for (const std::string_view address : {"", "/", "[::1", "127.0.0.1:notaport", "127.0.0.1:99999999"}) {
    const auto object = downloadFrom({std::string(address), "p", {}}, "k");
    ASSERT_FALSE(object) << address;
    EXPECT_TRUE(object.error().isSameInstance(notReachableError())) << address;
  }
  EXPECT_TRUE(worker.requests().empty());
}

TEST_F(ObjectDownload, passesOnThatTheBodyBrokeOff) {
  put("k", patternedBytes(100'000));
  for (const std::string_view after : {"0", "1", "99999"}) {
    addFault("cut times=1 after=" + std::string(after));
    const auto object = download("k");
    ASSERT_FALSE(object) << after;
    EXPECT_TRUE(object.error().is(URLErrorCode::networkConnectionLost)) << after;
  }
}

TEST_F(ObjectDownload, passesOnThatTheConnectionWasRefused) {
  worker.stop();
  const auto object = download("k");
  ASSERT_FALSE(object);
  EXPECT_EQ(object.error(), NSError::url(URLErrorCode::cannotConnectToHost));
}

TEST_F(ObjectDownload, isCutOffWhereTheSinkHasEnough) {
  put("k", "x");
  addFault("endless key=k");
  KeepingSink sink;
  sink.wantedBytes = 1000;
  ASSERT_TRUE(client().downloadObject(snapshot(), {"k", {}}, sink, {}));
  EXPECT_GT(sink.body.size(), 1000U);
  EXPECT_LE(sink.body.size(), 1'000'000U);
}

TEST_F(ObjectDownload, thatWasStoppedWasCancelledByTheUser) {
  put("k", "x");
  addFault("silent key=k");
  std::stop_source stop;
  std::jthread canceller([&] {
    EXPECT_TRUE(worker.waitForArrivals(1));
    stop.request_stop();
  });
  const auto object = downloadFrom(snapshot(), "k", {}, stop.get_token());
  ASSERT_FALSE(object);
  EXPECT_TRUE(object.error().is(CocoaErrorCode::userCancelled));
}

TEST_F(ObjectDownload, thatEndsAsCancelledWithoutOurDoingPassesThatOn) {
  FailingURLSession session(NSError::url(URLErrorCode::cancelled));
  Platform platform{test.clock, test.directories, session, test.notifications};
  KeepingSink sink;
  const auto object = RenterdClient(platform).downloadObject(snapshot(), {"k", {}}, sink, {});
  ASSERT_FALSE(object);
  EXPECT_TRUE(object.error().is(URLErrorCode::cancelled));
}

}  // namespace
}  // namespace tovrin
