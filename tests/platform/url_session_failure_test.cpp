#include <chrono>
#include <future>
#include <thread>

#include "platform/url_session.h"
#include "platform/url_session_fixture.h"
#include "support/raw_server.h"

namespace tovrin {
namespace {

// Servers below say nothing until told, so only how soon a silence is noticed depends on these.
constexpr double kShortTimeout = 0.3;

/// Sends what it is given after the request, then says nothing more.
RawServer::Script stallingAfter(std::string bytes) {
  return [bytes = std::move(bytes)](RawConnection& connection, int) {
    connection.readRequest();
    connection.send(bytes);
    connection.waitUntilClosed();
  };
}

/// Sends what it is given after the request and closes.
RawServer::Script closingAfter(std::string bytes) {
  return [bytes = std::move(bytes)](RawConnection& connection, int) {
    connection.readRequest();
    connection.send(bytes);
  };
}

TEST_F(URLSessionFixture, losesTheConnectionWhenTheBodyIsShorterThanDeclared) {
  const RawServer server(closingAfter("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly this"));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1005);
}

TEST_F(URLSessionFixture, losesTheConnectionWhenADeclaredBodyDoesNotBegin) {
  const RawServer server(closingAfter("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n"));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1005);
}

TEST_F(URLSessionFixture, losesTheConnectionWhenADeclaredBodyDoesNotBeginOnAKeptConnection) {
  const RawServer server([](RawConnection& connection, int) {
    connection.readRequest();
    connection.send(httpResponse(200, "whole"));
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n");
  });
  EXPECT_EQ(body(server.url()), "whole");
  const Result<ReceivedData> cut = download(request(server.url()));
  ASSERT_FALSE(cut);
  EXPECT_TRUE(cut.error().is(URLErrorCode::networkConnectionLost));
  EXPECT_EQ(server.connections(), 1);
}

TEST_F(URLSessionFixture, losesTheConnectionWhenAChunkedBodyDoesNotEnd) {
  const RawServer server(closingAfter("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n"));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1005);
}

TEST_F(URLSessionFixture, losesTheConnectionWhenTheServerClosesWithoutAWord) {
  const RawServer server(closingAfter(""));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1005);
}

TEST_F(URLSessionFixture, losesTheConnectionWhenItIsResetInsideTheBody) {
  const RawServer server([](RawConnection& connection, int) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc");
    connection.resetOnClose();
  });
  EXPECT_EQ(urlErrorCode(request(server.url())), -1005);
}

TEST_F(URLSessionFixture, cannotConnectWhereNobodyListens) {
  const LoopbackSocket nobody = LoopbackSocket::refuse();
  EXPECT_EQ(urlErrorCode(request("http://127.0.0.1:" + std::to_string(nobody.port()) + "/")), -1004);
}

TEST_F(URLSessionFixture, cannotFindAHostWithoutAnAddress) {
  EXPECT_EQ(urlErrorCode(request("http://worker.invalid/")), -1003);
}

TEST_F(URLSessionFixture, refusesAURLThatDoesNotParse) {
  for (const std::string url : {"", "http://", "http://127.0.0.1:99999/", "http://127.0.0.1:x/", "http://[::1/",
                                "http://a b/", "ftp://127.0.0.1/", "file:///etc/passwd", "://"})
    EXPECT_EQ(urlErrorCode(request(url)), -1000) << url;
  EXPECT_EQ(urlErrorCode(request(std::string("http://127.0.0.1/\0x", 19))), -1000);
}

TEST_F(URLSessionFixture, refusesAHeaderThatWouldBecomeTwo) {
  const RawServer server(answering([](const std::string&) { return httpResponse(200, ""); }));
  URLRequest smuggling = request(server.url());
  smuggling.headers = {{"Accept", "a\r\nX-Other: b"}};
  EXPECT_EQ(urlErrorCode(smuggling), -1000);
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(URLSessionFixture, callsAnAnswerThatIsNotHTTPBad) {
  const RawServer server(closingAfter("SSH-2.0-OpenSSH_9.2\r\n"));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1011);
}

TEST_F(URLSessionFixture, callsALengthThatIsNoNumberBad) {
  const RawServer server(closingAfter("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\nabc"));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1011);
}

TEST_F(URLSessionFixture, callsABodyThatIsNotCompressedAsSaidBad) {
  const RawServer server(
      answering([](const std::string&) { return httpResponse(200, "plain", "Content-Encoding: gzip\r\n"); }));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1011);
}

TEST_F(URLSessionFixture, doesNotFollowARedirectAwayFromHTTP) {
  for (const std::string target : {"file:///etc/passwd", "ftp://127.0.0.1/", "gopher://127.0.0.1/"}) {
    const RawServer server(
        answering([&](const std::string&) { return httpResponse(302, "", "Location: " + target + "\r\n"); }));
    EXPECT_EQ(urlErrorCode(request(server.url())), -1011) << target;
  }
}

TEST_F(URLSessionFixture, followsARedirectToHTTPSAndSaysThatItIsNotSpokenThere) {
  const RawServer plain([](RawConnection& connection, int) {
    connection.send("HTTP/1.1 400 Bad Request\r\n\r\n");
    connection.waitUntilClosed();
  });
  const RawServer server(answering(
      [&](const std::string&) { return httpResponse(302, "", "Location: https://" + plain.address() + "/\r\n"); }));
  EXPECT_EQ(urlErrorCode(request(server.url())), -1200);
  EXPECT_GT(plain.connections(), 0);
}

TEST_F(URLSessionFixture, timesOutWhenNobodyAnswers) {
  const RawServer server(stallingAfter(""));
  EXPECT_EQ(urlErrorCode(request(server.url(), kShortTimeout)), -1001);
}

TEST_F(URLSessionFixture, timesOutWhenAConnectionIsNeverAccepted) {
  // The kernel completes the connection; the program behind it sleeps.
  const LoopbackSocket listener = LoopbackSocket::listen();
  EXPECT_EQ(urlErrorCode(request("http://127.0.0.1:" + std::to_string(listener.port()) + "/", kShortTimeout)), -1001);
}

TEST_F(URLSessionFixture, timesOutInsideTheHeader) {
  const RawServer server(stallingAfter("HTTP/1.1 200 OK\r\nContent-Le"));
  EXPECT_EQ(urlErrorCode(request(server.url(), kShortTimeout)), -1001);
}

TEST_F(URLSessionFixture, timesOutInsideTheBody) {
  const RawServer server(stallingAfter("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc"));
  EXPECT_EQ(urlErrorCode(request(server.url(), kShortTimeout)), -1001);
}

TEST_F(URLSessionFixture, timesOutOnARedirectThatLeadsNowhere) {
  const RawServer silent(stallingAfter(""));
  const RawServer server(
      answering([&](const std::string&) { return httpResponse(302, "", "Location: " + silent.url() + "\r\n"); }));
  EXPECT_EQ(urlErrorCode(request(server.url(), kShortTimeout)), -1001);
}

TEST_F(URLSessionFixture, servesTheNextRequestAfterATimeout) {
  const RawServer server([](RawConnection& connection, int number) {
    if (number == 0) return connection.waitUntilClosed();
    connection.readRequest();
    connection.send(httpResponse(200, "awake"));
  });
  ASSERT_FALSE(data(request(server.url(), kShortTimeout)));
  EXPECT_EQ(body(server.url()), "awake");
}

/// Sends the bytes one by one, so far apart that all of them take much longer than the timeout.
RawServer::Script dripping(std::string bytes, std::chrono::milliseconds gap) {
  return [bytes = std::move(bytes), gap](RawConnection& connection, int) {
    connection.readRequest();
    for (const char byte : bytes) {
      connection.send({&byte, 1});
      std::this_thread::sleep_for(gap);
    }
  };
}

TEST_F(URLSessionFixture, letsASlowBodyTakeLongerThanTheTimeout) {
  const RawServer server([](RawConnection& connection, int number) {
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 20\r\n\r\n");
    dripping(std::string(20, 'x'), std::chrono::milliseconds(100))(connection, number);
  });
  EXPECT_TRUE(download(request(server.url(), 1.0)));
}

TEST_F(URLSessionFixture, letsASlowHeaderTakeLongerThanTheTimeout) {
  const RawServer server(dripping("HTTP/1.1 204 No\r\n\r\n", std::chrono::milliseconds(100)));
  EXPECT_TRUE(data(request(server.url(), 1.0)));
}

TEST_F(URLSessionFixture, isCancelledBeforeItBegins) {
  const RawServer server(stallingAfter(""));
  std::stop_source stop;
  stop.request_stop();
  const Result<ReceivedData> received = data(request(server.url()), stop.get_token());
  ASSERT_FALSE(received);
  EXPECT_TRUE(received.error().is(URLErrorCode::cancelled));
  EXPECT_EQ(server.connections(), 0);
}

/// Cancels a download once the server has sent `bytes`, from another thread.
class URLSessionCancellation : public URLSessionFixture, public ::testing::WithParamInterface<const char*> {};

TEST_P(URLSessionCancellation, endsAtOnceHoweverLongTheSilence) {
  std::promise<void> sent;
  const RawServer server([&](RawConnection& connection, int) {
    connection.readRequest();
    connection.send(GetParam());
    sent.set_value();
    connection.waitUntilClosed();
  });
  std::stop_source stop;
  const std::jthread canceller([&] {
    sent.get_future().wait();
    // libcurl wakes up by itself in the first moments of a connection; afterwards only the request to stop does it.
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    stop.request_stop();
  });
  const auto start = std::chrono::steady_clock::now();
  const Result<ReceivedData> downloaded = download(request(server.url()), stop.get_token());
  ASSERT_FALSE(downloaded);
  EXPECT_TRUE(downloaded.error().is(URLErrorCode::cancelled));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << "the timeout is a minute";
}

INSTANTIATE_TEST_SUITE_P(Silence, URLSessionCancellation,
                         ::testing::Values("", "HTTP/1.1 200 OK\r\nConte",
                                           "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc"));

/// Asks for the end of the transfer as soon as something arrives.
class StoppingSink final : public BodySink {
 public:
  Result<Verdict> receive(std::span<const std::byte>) override {
    stop.request_stop();
    return Verdict::goOn;
  }

  std::stop_source stop;
};

TEST_F(URLSessionFixture, isCancelledInTheMiddleOfAnEndlessBody) {
  const RawServer server([](RawConnection& connection, int) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\n\r\n");
    const std::string block(64 * 1024, 'x');
    while (connection.send(block)) {
    }
  });
  StoppingSink sink;
  const Result<HTTPResponse> response = session->receive(request(server.url()), sink, sink.stop.get_token());
  ASSERT_FALSE(response);
  EXPECT_TRUE(response.error().is(URLErrorCode::cancelled));
}

TEST_F(URLSessionFixture, cutsAnEndlessBodyOffWhenTheSinkHasEnough) {
  const RawServer server([](RawConnection& connection, int) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\n\r\n");
    const std::string block(64 * 1024, 'x');
    while (connection.send(block)) {
    }
  });
  const Result<ReceivedData> downloaded = downloadAtMost(1'000'000, request(server.url()));
  ASSERT_TRUE(downloaded);
  EXPECT_GT(downloaded->body.size(), 1'000'000U);
}

TEST_F(URLSessionFixture, passesOnWhyTheSinkFailed) {
  class FullDisk final : public BodySink {
    Result<Verdict> receive(std::span<const std::byte>) override {
      return failure(NSError::cocoa(CocoaErrorCode::fileWriteOutOfSpace));
    }
  } sink;
  const RawServer server(answering([](const std::string&) { return httpResponse(200, std::string(1'000'000, 'x')); }));
  const Result<HTTPResponse> response = session->receive(request(server.url()), sink, {});
  ASSERT_FALSE(response);
  EXPECT_TRUE(response.error().is(CocoaErrorCode::fileWriteOutOfSpace));
}

}  // namespace
}  // namespace tovrin
