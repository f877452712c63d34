#include "platform/url_session.h"

#include <atomic>
#include <cstdlib>
#include <thread>

#include "platform/url_session_fixture.h"
#include "support/nginx.h"
#include "support/raw_server.h"

namespace tovrin {
namespace {

std::string someBytes(std::size_t count) {
  std::string bytes(count, '\0');
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(i * 31 + i / 251);
  return bytes;
}

/// Sets a variable of the environment for one test.
class Environment {
 public:
  Environment(const char* name, const std::string& value) : name_(name) {
    if (const char* previous = std::getenv(name); previous != nullptr) previous_ = previous;
    setenv(name, value.c_str(), 1);
  }
  ~Environment() {
    if (previous_)
      setenv(name_, previous_->c_str(), 1);
    else
      unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> previous_;
};

/// Against a real server.
class URLSessionWithServer : public URLSessionFixture {
 protected:
  URLRequest objectRequest(const std::string& key) {
    URLRequest request = this->request("http://" + server.address() + "/api/worker/object/" + key + "?bucket=tovrin");
    request.headers = {{"Authorization", server.authorization()}, {"Accept", "application/octet-stream"}};
    return request;
  }

  NginxServer server;
};

TEST_F(URLSessionWithServer, handsABodyOnAsItComes) {
  const std::string bytes = someBytes(3'000'000);
  server.putObject("tovrin", "photos/a.raw", bytes);
  const Result<ReceivedData> downloaded = download(objectRequest("photos/a.raw"));
  ASSERT_TRUE(downloaded) << downloaded.error().localizedDescription();
  EXPECT_EQ(downloaded->response.statusCode, 200);
  EXPECT_EQ(downloaded->body, bytes);
}

TEST_F(URLSessionWithServer, hasNothingToHandOnOfAnEmptyBody) {
  server.putObject("tovrin", "empty", "");
  const Result<ReceivedData> downloaded = download(objectRequest("empty"));
  ASSERT_TRUE(downloaded);
  EXPECT_EQ(downloaded->body, "");
}

TEST_F(URLSessionWithServer, takesAnErrorStatusForAResponse) {
  const Result<ReceivedData> missing = download(objectRequest("missing"));
  ASSERT_TRUE(missing);
  EXPECT_EQ(missing->response.statusCode, 404);
  EXPECT_GT(missing->body.size(), 0U);

  const Result<ReceivedData> refused = data(request("http://" + server.address() + "/api/worker/accounts"));
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->response.statusCode, 401);
  EXPECT_EQ(refused->body, "Unauthorized\n");
}

TEST_F(URLSessionWithServer, keepsTheConnectionForLaterRequests) {
  const std::string connection = body(server.connectionURL());
  server.putObject("tovrin", "a", someBytes(300'000));
  ASSERT_TRUE(download(objectRequest("a")));
  ASSERT_TRUE(download(objectRequest("missing")));
  EXPECT_EQ(body(server.connectionURL()), connection);
}

TEST_F(URLSessionWithServer, servesManyThreadsAtOnce) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 25;
  for (int thread = 0; thread < kThreads; ++thread)
    server.putObject("tovrin", std::to_string(thread), std::to_string(thread) + someBytes(50'000));

  std::atomic<int> right = 0;
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        for (int round = 0; round < kRounds; ++round) {
          const Result<ReceivedData> downloaded = download(objectRequest(std::to_string(thread)));
          right += downloaded && downloaded->body == std::to_string(thread) + someBytes(50'000);
        }
      });
    }
  }
  EXPECT_EQ(right, kThreads * kRounds);
}

TEST_F(URLSessionWithServer, sendsHeadersAsTheyAreGiven) {
  URLRequest reflected = request(server.reflectionURL());
  reflected.headers = {{"Authorization", "Basic Og=="}, {"Accept", "application/json"}};
  const Result<ReceivedData> received = data(reflected);
  ASSERT_TRUE(received);
  EXPECT_EQ(received->body, "/test/reflection\nBasic Og==\napplication/json\ngzip, deflate\n");
}

TEST_F(URLSessionWithServer, sendsDotSegmentsAndDoubleSlashesAsTheyAre) {
  const std::string target = "/a//b/./c/../d%2Fe%20f/+?bucket=tovrin&x=../y";
  const std::string reflected = body(server.reflectionURL(target));
  EXPECT_EQ(reflected.substr(0, reflected.find('\n')), "/test/reflection" + target);
}

TEST_F(URLSessionWithServer, decodesACompressedBody) {
  const std::string text(200'000, 'z');
  server.putObject("compressed", "a.txt", text);
  const Result<ReceivedData> downloaded = download(request(server.compressedURL("a.txt")));
  ASSERT_TRUE(downloaded);
  EXPECT_EQ(downloaded->body, text);
}

TEST_F(URLSessionWithServer, isCutOffByWhatTheSinkHasDecoded) {
  server.putObject("compressed", "zeros", std::string(50'000'000, '\0'));
  const Result<ReceivedData> downloaded = downloadAtMost(1'000'000, request(server.compressedURL("zeros")));
  ASSERT_TRUE(downloaded);
  EXPECT_GT(downloaded->body.size(), 1'000'000U);
  EXPECT_LT(downloaded->body.size(), 2'000'000U);
}

TEST_F(URLSessionWithServer, keepsTheConnectionWhenTheSinkTakesTheWholeBody) {
  const std::string bytes = someBytes(100'000);
  server.putObject("tovrin", "a", bytes);
  const std::string connection = body(server.connectionURL());
  const Result<ReceivedData> downloaded = downloadAtMost(100'000, objectRequest("a"));
  ASSERT_TRUE(downloaded);
  EXPECT_EQ(downloaded->body, bytes);
  EXPECT_EQ(body(server.connectionURL()), connection) << "a whole transfer keeps its connection";
}

TEST_F(URLSessionWithServer, succeedsWithABodyThatTheSinkCutsOff) {
  const std::string bytes = someBytes(10'000'000);
  server.putObject("tovrin", "a", bytes);
  const Result<ReceivedData> downloaded = downloadAtMost(100'000, objectRequest("a"));
  ASSERT_TRUE(downloaded);
  EXPECT_EQ(downloaded->response.statusCode, 200);
  const std::string received = downloaded->body;
  EXPECT_GT(received.size(), 100'000U);
  EXPECT_LT(received.size(), 1'000'000U);
  EXPECT_EQ(received, bytes.substr(0, received.size()));
  EXPECT_FALSE(body(server.connectionURL()).empty()) << "the next transfer is not hurt";
}

TEST_F(URLSessionWithServer, succeedsWhenTheSinkWantsNothing) {
  server.putObject("tovrin", "a", "x");
  const Result<ReceivedData> downloaded = downloadAtMost(0, objectRequest("a"));
  ASSERT_TRUE(downloaded);
  EXPECT_EQ(downloaded->body, "x");
}

TEST_F(URLSessionWithServer, followsARedirectAndKeepsTheAuthorizationOnTheSameServer) {
  URLRequest redirected = request(server.redirectURL(server.reflectionURL()));
  redirected.headers = {{"Authorization", "Basic Og=="}};
  const Result<ReceivedData> received = data(redirected);
  ASSERT_TRUE(received);
  EXPECT_EQ(received->response.statusCode, 200);
  EXPECT_EQ(received->body, "/test/reflection\nBasic Og==\n*/*\ngzip, deflate\n");
}

TEST_F(URLSessionWithServer, keepsTheAuthorizationFromAnotherPort) {
  const NginxServer other;
  URLRequest redirected = request(server.redirectURL(other.reflectionURL()));
  redirected.headers = {{"Authorization", "Basic Og=="}};
  const Result<ReceivedData> received = data(redirected);
  ASSERT_TRUE(received);
  EXPECT_EQ(received->body, "/test/reflection\n\n*/*\ngzip, deflate\n");
}

TEST_F(URLSessionWithServer, keepsTheAuthorizationFromAnotherHost) {
  const std::string sameServerOtherName =
      "http://localhost:" + server.reflectionURL().substr(sizeof "http://127.0.0.1:" - 1);
  URLRequest redirected = request(server.redirectURL(sameServerOtherName));
  redirected.headers = {{"Authorization", "Basic Og=="}};
  const Result<ReceivedData> received = data(redirected);
  ASSERT_TRUE(received) << received.error().localizedDescription();
  EXPECT_EQ(received->body, "/test/reflection\n\n*/*\ngzip, deflate\n");
}

TEST_F(URLSessionWithServer, reachesAServerOnThisMachineWithoutTheProxy) {
  const RawServer proxy(answering([](const std::string&) { return httpResponse(502, "from the proxy"); }));
  const Environment variable("http_proxy", proxy.url());
  session = makeURLSession();
  EXPECT_EQ(body(server.reflectionURL()), "/test/reflection\n\n*/*\ngzip, deflate\n");
  EXPECT_EQ(body("http://worker.invalid/"), "from the proxy");
}

TEST_F(URLSessionWithServer, leavesOutTheProxyForHostsThatTheEnvironmentNames) {
  const RawServer proxy(answering([](const std::string&) { return httpResponse(502, "from the proxy"); }));
  const Environment variable("http_proxy", proxy.url());
  const Environment exceptions("no_proxy", "127.1.2.3,worker.invalid");
  session = makeURLSession();
  EXPECT_FALSE(data(request("http://worker.invalid/")));
  EXPECT_EQ(body("http://other.invalid/"), "from the proxy");
}

TEST_F(URLSessionFixture, sendsNeitherCookiesNorExpectations) {
  std::string lastRequest;
  {
    const RawServer server(answering([&](const std::string& head) {
      lastRequest = head;
      return httpResponse(200, "", "Set-Cookie: a=b; Path=/\r\n");
    }));
    body(server.url());
    body(server.url());
  }
  EXPECT_TRUE(lastRequest.starts_with("GET / HTTP/1.1\r\n")) << lastRequest;
  EXPECT_EQ(lastRequest.find("Cookie"), std::string::npos);
  EXPECT_EQ(lastRequest.find("Expect"), std::string::npos);
}

TEST_F(URLSessionFixture, sendsAHeaderWithoutAValue) {
  std::string head;
  {
    const RawServer server(answering([&](const std::string& received) {
      head = received;
      return httpResponse(200, "");
    }));
    URLRequest withEmptyHeader = request(server.url());
    withEmptyHeader.headers = {{"X-Nothing", ""}};
    EXPECT_TRUE(data(withEmptyHeader));
  }
  EXPECT_NE(head.find("\r\nX-Nothing:\r\n"), std::string::npos) << head;
}

TEST_F(URLSessionFixture, takesAHeaderWithoutAValue) {
  const RawServer server(
      answering([](const std::string&) { return httpResponse(200, "body", "Content-Type: \r\nX-Sia-Meta-A:\r\n"); }));
  EXPECT_EQ(body(server.url()), "body");
}

TEST_F(URLSessionFixture, takesAChunkedBody) {
  const RawServer server(answering([](const std::string&) {
    return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
  }));
  EXPECT_EQ(body(server.url()), "abcde");
}

TEST_F(URLSessionFixture, stepsOverInterimResponses) {
  const RawServer server(answering([](const std::string&) {
    return "HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n" + httpResponse(206, "final");
  }));
  const Result<ReceivedData> received = data(request(server.url()));
  ASSERT_TRUE(received);
  EXPECT_EQ(received->response.statusCode, 206);
  EXPECT_EQ(received->body, "final");
}

TEST_F(URLSessionFixture, asksAgainWhenAKeptConnectionWasClosed) {
  const RawServer server([](RawConnection& connection, int number) {
    connection.readRequest();
    connection.send(httpResponse(200, std::to_string(number)));
  });
  EXPECT_EQ(body(server.url()), "0");
  EXPECT_EQ(body(server.url()), "1");
}

TEST_F(URLSessionFixture, followsTwentyRedirectsAndNoMore) {
  const auto countDown = answering([](const std::string& head) {
    const int left = std::atoi(head.c_str() + sizeof "GET /" - 1);
    if (left == 0) return httpResponse(200, "arrived");
    return httpResponse(left % 2 == 0 ? 302 : 307, "moved", "Location: /" + std::to_string(left - 1) + "\r\n");
  });
  const RawServer server(countDown);
  EXPECT_EQ(body(server.url("/20")), "arrived");
  EXPECT_EQ(urlErrorCode(request(server.url("/21"))), -1007);
}

TEST_F(URLSessionFixture, holdsSixteenMebibytesInMemoryAndNoMore) {
  constexpr std::size_t kLimit = 16 * 1024 * 1024;
  const RawServer server(answering([](const std::string& head) {
    return httpResponse(200, std::string(kLimit + (head.starts_with("GET /more") ? 1 : 0), 'x'));
  }));
  EXPECT_EQ(body(server.url("/fits")).size(), kLimit);
  const Result<ReceivedData> received = data(request(server.url("/more")));
  ASSERT_FALSE(received);
  EXPECT_TRUE(received.error().is(URLErrorCode::badServerResponse));
}

}  // namespace
}  // namespace tovrin
