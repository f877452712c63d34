#include <string>
#include <thread>
#include <tuple>

#include "foundation/encoding.h"
#include "materialize/errors.h"
#include "materialize/scripted_url_session.h"
#include "materialize/worker_fixture.h"

namespace tovrin {
namespace {

class ObjectDownload : public WorkerFixture {
 protected:
  Result<std::filesystem::path> download(std::string_view key, std::optional<TovrinPayloadNamespace> namespace_ = {},
                                         std::optional<std::int64_t> byteLimit = {}) {
    return client().downloadObject(snapshot(), {key, namespace_, folder(), byteLimit}, {});
  }
  std::filesystem::path folder() const { return test.directories.temporary; }
};

TEST_F(ObjectDownload, deliversTheWholeBodyInAFileOfTheCallers) {
  const std::string bytes = patternedBytes(3'000'000);
  put("photos/a.bin", bytes);
  const auto file = download("photos/a.bin");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->parent_path(), folder());
  EXPECT_EQ(readFile(*file), bytes);
}

TEST_F(ObjectDownload, deliversAnEmptyObjectAsAnEmptyFile) {
  put("empty", "");
  const auto file = download("empty");
  ASSERT_TRUE(file);
  EXPECT_EQ(readFile(*file), "");
}

TEST_F(ObjectDownload, asksForTheKeyPercentEncodedWithItsSlashes) {
  for (const std::string key : {"my photos/a #1.bin", "dates/12:30.txt", "12:30/x", "100%.txt", "naïve+plus;semi",
                                "q?bucket=other", "dots/..a/.b"}) {
    put(key, "content of " + key);
    const auto file = download(key);
    ASSERT_TRUE(file) << key;
    EXPECT_EQ(readFile(*file), "content of " + key);
  }
  EXPECT_EQ(objectRequests().front(), "my%20photos/a%20%231.bin?bucket=tovrin");
}

TEST_F(ObjectDownload, looksInTheBucketOfTheNamespace) {
  put("k", "backup bytes", "tovrin");
  put("k", "warp bytes", "tovrin-warped");
  EXPECT_EQ(readFile(download("k").value()), "backup bytes");
  EXPECT_EQ(readFile(download("k", TovrinPayloadNamespace::backup).value()), "backup bytes");
  EXPECT_EQ(readFile(download("k", TovrinPayloadNamespace::warp).value()), "warp bytes");
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
  std::ignore = client().downloadObject({worker.address(), "", {}}, {"k", {}, folder(), {}}, {});
  ASSERT_NE(worker.requests().back().header("Authorization"), nullptr);
  EXPECT_EQ(*worker.requests().back().header("Authorization"), "Basic Og==");
}

TEST_F(ObjectDownload, allowsTwoMinutesOfSilence) {
  FailingURLSession session(NSError::url(URLErrorCode::timedOut));
  Platform platform{test.clock, test.directories, session, test.notifications};
  RenterdClient scripted(platform);
  std::ignore = scripted.downloadObject(snapshot(), {"k", {}, folder(), 7}, {});
  ASSERT_EQ(session.requests.size(), 1U);
  EXPECT_EQ(session.requests[0].timeoutSeconds, 120);
  EXPECT_EQ(session.downloads[0].byteLimit, 7);
}

TEST_F(ObjectDownload, takesAnyStatusBut2xxForAWorkerThatCannotBeReached) {
  put("k", "x");
  for (const std::string_view code : {"204", "299"}) {
    addFault("status times=1 code=" + std::string(code));
    EXPECT_TRUE(download("k")) << code;
  }
  std::filesystem::remove_all(folder());
  std::filesystem::create_directories(folder());
  for (const std::string_view code : {"304", "400", "401", "403", "404", "416", "500", "502", "503", "504"}) {
    addFault("status times=1 body=oops code=" + std::string(code));
    const auto file = download("k");
    ASSERT_FALSE(file) << code;
    EXPECT_TRUE(file.error().isSameInstance(notReachableError())) << code;
  }
  EXPECT_EQ(countFiles(folder()), 0U) << "the bodies of error answers stayed behind";
}

TEST_F(ObjectDownload, ofAMissingKeyIsAWorkerThatCannotBeReached) {
  const auto file = download("nowhere");
  ASSERT_FALSE(file);
  EXPECT_TRUE(file.error().isSameInstance(notReachableError()));
}

TEST_F(ObjectDownload, withTheWrongPasswordIsAWorkerThatCannotBeReached) {
  put("k", "x");
  const auto file = client().downloadObject({worker.address(), "wrong", {}}, {"k", {}, folder(), {}}, {});
  ASSERT_FALSE(file);
  EXPECT_TRUE(file.error().isSameInstance(notReachableError()));
}

TEST_F(ObjectDownload, fromAnAddressThatMakesNoURLSendsNothing) {
  for (const std::string_view address : {"", "/", "[::1", "127.0.0.1:notaport", "127.0.0.1:99999999"}) {
    const auto file = client().downloadObject({std::string(address), "p", {}}, {"k", {}, folder(), {}}, {});
    ASSERT_FALSE(file) << address;
    EXPECT_TRUE(file.error().isSameInstance(notReachableError())) << address;
  }
  EXPECT_TRUE(worker.requests().empty());
}

TEST_F(ObjectDownload, passesOnThatTheBodyBrokeOff) {
  put("k", patternedBytes(100'000));
  for (const std::string_view after : {"0", "1", "99999"}) {
    addFault("cut times=1 after=" + std::string(after));
    const auto file = download("k");
    ASSERT_FALSE(file) << after;
    EXPECT_TRUE(file.error().is(URLErrorCode::networkConnectionLost)) << after;
  }
  EXPECT_EQ(countFiles(folder()), 0U);
}

TEST_F(ObjectDownload, passesOnThatTheConnectionWasRefused) {
  worker.stop();
  const auto file = download("k");
  ASSERT_FALSE(file);
  EXPECT_EQ(file.error(), NSError::url(URLErrorCode::cannotConnectToHost));
}

TEST_F(ObjectDownload, cutsOffWhatCannotBeRight) {
  put("k", "x");
  addFault("endless key=k");
  const auto file = download("k", {}, 1000);
  ASSERT_TRUE(file);
  EXPECT_GE(std::filesystem::file_size(*file), 1000U);
  EXPECT_LE(std::filesystem::file_size(*file), 1'000'000U);
}

TEST_F(ObjectDownload, thatWasStoppedWasCancelledByTheUser) {
  put("k", "x");
  addFault("silent key=k");
  std::stop_source stop;
  std::jthread canceller([&] {
    EXPECT_TRUE(worker.waitForArrivals(1));
    stop.request_stop();
  });
  const auto file = client().downloadObject(snapshot(), {"k", {}, folder(), {}}, stop.get_token());
  ASSERT_FALSE(file);
  EXPECT_TRUE(file.error().is(CocoaErrorCode::userCancelled));
  EXPECT_EQ(countFiles(folder()), 0U);
}

TEST_F(ObjectDownload, thatEndsAsCancelledWithoutOurDoingPassesThatOn) {
  FailingURLSession session(NSError::url(URLErrorCode::cancelled));
  Platform platform{test.clock, test.directories, session, test.notifications};
  const auto file = RenterdClient(platform).downloadObject(snapshot(), {"k", {}, folder(), {}}, {});
  ASSERT_FALSE(file);
  EXPECT_TRUE(file.error().is(URLErrorCode::cancelled));
}

}  // namespace
}  // namespace tovrin
