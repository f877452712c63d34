#include <vector>

#include "tools/worker_fixture.h"

namespace tovrin {
namespace {

class WorkerConnections : public WorkerTest {};

TEST_F(WorkerConnections, serveSeveralRequestsEach) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "bytes"));
  RawClient client(worker.address());
  for (int i = 0; i < 5; ++i) {
    client.send(getText(target("a")));
    EXPECT_EQ(client.receive().body, "bytes");
    client.send(getText(target("missing")));
    EXPECT_EQ(client.receive().status, 404);
  }
  for (const WorkerRequest& request : worker.requests()) EXPECT_EQ(request.connection, 1u);
}

TEST_F(WorkerConnections, answerRequestsThatWereSentTogether) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "first"));
  ASSERT_TRUE(worker.putObject("tovrin", "b", "second"));
  RawClient client(worker.address());
  client.send(getText(target("a")) + getText(target("b")));
  EXPECT_EQ(client.receive().body, "first");
  EXPECT_EQ(client.receive().body, "second");
}

TEST_F(WorkerConnections, endWhenTheClientAsksForIt) {
  RawClient client(worker.address());
  client.send("GET /api/worker/accounts HTTP/1.1\r\nHost: x\r\nConnection: close\r\n" + authorization("pass") + "\r\n");
  EXPECT_EQ(client.receive().header("Connection"), "close");
  EXPECT_TRUE(client.endsCleanly());
}

TEST_F(WorkerConnections, endAfterSomethingThatIsNotHTTP) {
  for (const char* text :
       {"nonsense\r\n\r\n", "GET /x HTTP/9.9\r\n\r\n", "GET  HTTP/1.1\r\n\r\n",
        "GET /x HTTP/1.1\r\n: empty name\r\n\r\n", "GET /%zz HTTP/1.1\r\n\r\n", "GET /%4 HTTP/1.1\r\n\r\n"}) {
    RawClient client(worker.address());
    client.send(text);
    EXPECT_EQ(client.receive().status, 400) << text;
    EXPECT_TRUE(client.endsCleanly());
  }
}

TEST_F(WorkerConnections, endAfterAHeadWithoutEnd) {
  RawClient client(worker.address());
  client.send("GET /x HTTP/1.1\r\nX: " + std::string(2 << 20, 'x'));
  EXPECT_EQ(client.receive().status, 431);
}

TEST_F(WorkerConnections, stayWholeAfterARefusedUpload) {
  RawClient client(worker.address());
  client.send("PUT " + target("a") + " HTTP/1.1\r\nHost: x\r\nContent-Length: 300000\r\n\r\n" +
              std::string(300000, 'x'));
  const RawResponse response = client.receive();
  EXPECT_EQ(response.status, 401);
  EXPECT_EQ(response.header("Connection"), "close");
  EXPECT_TRUE(client.endsCleanly());
}

TEST_F(WorkerConnections, areServedManyAtATime) {
  constexpr std::size_t kClients = 100;
  const std::string bytes = sampleBytes(100'000);
  ASSERT_TRUE(worker.putObject("tovrin", "a", bytes));
  ASSERT_TRUE(worker.addFault("delay seconds=60"));
  std::vector<RawClient> clients;
  for (std::size_t i = 0; i < kClients; ++i) {
    clients.emplace_back(worker.address());
    clients.back().send(getText(target("a")));
  }
  ASSERT_TRUE(worker.waitForArrivals(kClients));
  worker.clearFaults();
  for (RawClient& client : clients) EXPECT_EQ(client.receive().body, bytes);
  EXPECT_EQ(worker.mostObjectRequestsAtOnce(), kClients);
}

TEST_F(WorkerConnections, endWithTheWorkerInTheMiddleOfAnAnswer) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "0123456789"));
  ASSERT_TRUE(worker.addFault("stall after=4"));
  RawClient held(worker.address()), idle(worker.address());
  held.send(getText(target("a")));
  EXPECT_EQ(held.receiveBeginning(4).body, "0123");
  worker.stop();
  EXPECT_TRUE(held.endsCleanly());
  EXPECT_TRUE(idle.endsCleanly());
  EXPECT_FALSE(RawClient(worker.address()).connected());
}

TEST_F(WorkerConnections, areAcceptedOnTheSameAddressAfterARestart) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "bytes"));
  const std::string address = worker.address();
  {
    RawClient still(address);
  }
  worker.stop();
  ASSERT_TRUE(worker.start());
  EXPECT_EQ(worker.address(), address);
  EXPECT_EQ(get(target("a")).body, "bytes");
}

TEST_F(WorkerConnections, leaveARecordOfEveryRequest) {
  ASSERT_TRUE(worker.putObject("tovrin", "a b", "bytes"));
  get(target("a%20b"), "Accept: application/octet-stream\r\n");
  ASSERT_TRUE(worker.waitForFinished(1));  // an answer is here before its line
  get("/api/worker/accounts?apikey=pass");
  ASSERT_TRUE(worker.waitForFinished(2));
  const auto requests = worker.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].target, "/api/worker/object/a%20b?bucket=tovrin");
  EXPECT_EQ(requests[0].status, 200);
  EXPECT_EQ(requests[0].bodyBytes, 5);
  ASSERT_TRUE(requests[0].header("accept"));
  EXPECT_EQ(*requests[0].header("accept"), "application/octet-stream");

  const std::string log = readFile(scratch / "log");
  EXPECT_TRUE(
      log.starts_with("GET /api/worker/object/a%20b?bucket=tovrin 200 5\nGET /api/worker/accounts?apikey=*** 200 "))
      << log;
  EXPECT_EQ(log.find("pass"), std::string::npos) << log;
  worker.clearRequests();
  EXPECT_TRUE(worker.requests().empty());
}

}  // namespace
}  // namespace tovrin
