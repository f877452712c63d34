
#include "tools/worker_fixture.h"
#include "tovrin-worker/fault.h"

namespace tovrin {
namespace {

/// A worker with one object of ten bytes, under the key "a".
class WorkerFaults : public WorkerTest {
 protected:
  void SetUp() override {
    WorkerTest::SetUp();
    ASSERT_TRUE(worker.putObject("tovrin", "a", "0123456789"));
  }
  RawResponse getWith(std::string_view fault) {
    EXPECT_TRUE(worker.addFault(fault));
    return get(target("a"));
  }
};

TEST_F(WorkerFaults, cutTheBodyWithItsFullLengthDeclared) {
  ASSERT_TRUE(worker.addFault("cut after=3"));
  RawClient client(worker.address());
  client.send(getText(target("a")));
  const RawResponse response = client.receive();
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.header("Content-Length"), "10");
  EXPECT_EQ(response.header("Connection"), "(none)");
  EXPECT_EQ(response.body, "012");
  EXPECT_FALSE(response.complete);
  EXPECT_TRUE(client.endsCleanly());
}

TEST_F(WorkerFaults, cutTheBodyBeforeItsFirstByte) {
  const RawResponse response = getWith("cut after=0");
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.header("Content-Length"), "10");
  EXPECT_EQ(response.body, "");
  EXPECT_FALSE(response.complete);
}

TEST_F(WorkerFaults, delayTheHeaderUntilTheyAreCleared) {
  ASSERT_TRUE(worker.addFault("delay seconds=60"));
  RawClient client(worker.address());
  client.send(getText(target("a")));
  ASSERT_TRUE(worker.waitForArrivals(1));
  EXPECT_TRUE(client.staysSilent(0));
  worker.clearFaults();
  EXPECT_EQ(client.receive().body, "0123456789");
}

TEST_F(WorkerFaults, delayTheHeaderForTheirTime) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(getWith("delay seconds=0.05").body, "0123456789");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
}

TEST_F(WorkerFaults, stallInsideTheBody) {
  ASSERT_TRUE(worker.addFault("stall after=4"));
  RawClient client(worker.address());
  client.send(getText(target("a")));
  const RawResponse beginning = client.receiveBeginning(4);
  EXPECT_EQ(beginning.header("Content-Length"), "10");
  EXPECT_EQ(beginning.body, "0123");
  EXPECT_TRUE(client.staysSilent(0));
  worker.clearFaults();
  EXPECT_EQ(client.receiveBytes(6), "456789");
}

TEST_F(WorkerFaults, stallRightAfterTheHeaderForTheirTime) {
  EXPECT_EQ(getWith("stall after=0 seconds=0.01").body, "0123456789");
}

TEST_F(WorkerFaults, letAStalledRequestEndWithItsClient) {
  ASSERT_TRUE(worker.addFault("stall after=4"));
  {
    RawClient client(worker.address());
    client.send(getText(target("a")));
    EXPECT_EQ(client.receiveBeginning(4).body, "0123");
  }
  ASSERT_TRUE(worker.waitForFinished(1));
  EXPECT_EQ(worker.requests()[0].bodyBytes, 4);
}

TEST_F(WorkerFaults, neverAnswer) {
  ASSERT_TRUE(worker.addFault("silent"));
  RawClient client(worker.address());
  client.send(getText("/api/worker/accounts"));
  ASSERT_TRUE(worker.waitForArrivals(1));
  EXPECT_TRUE(client.staysSilent(0));
  worker.clearFaults();
  EXPECT_EQ(client.receive().status, 0);
  EXPECT_EQ(worker.requests()[0].status, 0);
}

TEST_F(WorkerFaults, dropTheConnectionWithoutAnAnswer) { EXPECT_EQ(getWith("silent seconds=0").status, 0); }

TEST_F(WorkerFaults, answerWithAnotherStatus) {
  const RawResponse plain = getWith("status code=503 times=1");
  EXPECT_EQ(plain.status, 503);
  EXPECT_EQ(plain.header("Content-Type"), "text/plain; charset=utf-8");
  EXPECT_EQ(plain.body, "Service Unavailable\n");
  const RawResponse page = getWith(R"(status code=404 type=text/html body="<h1>not here</h1>" times=1)");
  EXPECT_EQ(page.status, 404);
  EXPECT_EQ(page.header("Content-Type"), "text/html");
  EXPECT_EQ(page.body, "<h1>not here</h1>\n");
  EXPECT_EQ(get(target("a")).status, 200);
}

TEST_F(WorkerFaults, redirect) {
  const RawResponse response = getWith("redirect to=http://127.0.0.1:1/x?y=z code=307");
  EXPECT_EQ(response.status, 307);
  EXPECT_EQ(response.header("Location"), "http://127.0.0.1:1/x?y=z");
}

TEST_F(WorkerFaults, makeTheObjectShorterOrLonger) {
  const RawResponse shorter = getWith("resize bytes=4 times=1");
  EXPECT_EQ(shorter.header("Content-Length"), "4");
  EXPECT_EQ(shorter.body, "0123");
  const RawResponse longer = getWith("resize bytes=12 times=1");
  EXPECT_EQ(longer.header("Content-Length"), "12");
  EXPECT_EQ(longer.body, std::string("0123456789\0\0", 12));
}

TEST_F(WorkerFaults, declareAnotherLengthThanTheyKeep) {
  const RawResponse more = getWith("declare bytes=99 times=1");
  EXPECT_EQ(more.header("Content-Length"), "99");
  EXPECT_EQ(more.body, "0123456789");
  EXPECT_FALSE(more.complete);
  RawClient client(worker.address());
  ASSERT_TRUE(worker.addFault("declare bytes=3 times=1"));
  client.send(getText(target("a")));
  EXPECT_EQ(client.receive().body, "012");
}

TEST_F(WorkerFaults, sendWithoutEnd) {
  ASSERT_TRUE(worker.addFault("endless"));
  {
    RawClient client(worker.address());
    client.send(getText(target("a")));
    const RawResponse response = client.receiveBeginning(5'000'000);
    EXPECT_EQ(response.header("Transfer-Encoding"), "chunked");
    EXPECT_EQ(response.header("Content-Length"), "(none)");
    EXPECT_EQ(response.body.size(), 5'000'000u);
  }
  ASSERT_TRUE(worker.waitForFinished(1));
}

TEST_F(WorkerFaults, turnOneBit) {
  EXPECT_EQ(getWith("flip at=0 times=1").body, "1123456789");
  EXPECT_EQ(getWith("flip at=9 times=1").body, "0123456788");
  EXPECT_EQ(getWith("flip at=10 times=1").body, "0123456789");
}

TEST_F(WorkerFaults, closeTheConnectionBetweenRequests) {
  ASSERT_TRUE(worker.addFault("close times=1"));
  RawClient client(worker.address());
  client.send(getText(target("a")));
  const RawResponse response = client.receive();
  EXPECT_TRUE(response.complete);
  EXPECT_EQ(response.header("Connection"), "(none)");
  EXPECT_TRUE(client.endsCleanly());
}

TEST_F(WorkerFaults, sendAnEmptyContentType) {
  const RawResponse response = getWith(R"(content-type value="")");
  EXPECT_NE(response.head.find("\r\nContent-Type: \r\n"), std::string::npos) << response.head;
  EXPECT_EQ(response.body, "0123456789");
}

TEST_F(WorkerFaults, addHeaders) {
  ASSERT_TRUE(worker.addFault("header name=X-Sia-Meta-Colour value=\"dark blue\""));
  const RawResponse response = getWith("header name=X-Other value=1");
  EXPECT_EQ(response.header("X-Sia-Meta-Colour"), "dark blue");
  EXPECT_EQ(response.header("X-Other"), "1");
}

TEST_F(WorkerFaults, frameAnObjectInChunks) {
  const std::string bytes = sampleBytes(200'000);
  ASSERT_TRUE(worker.putObject("tovrin", "big", bytes));
  ASSERT_TRUE(worker.addFault("chunked key=big"));
  RawClient client(worker.address());
  client.send(getText(target("big")) + getText(target("a")));
  const RawResponse response = client.receive();
  EXPECT_EQ(response.header("Transfer-Encoding"), "chunked");
  EXPECT_EQ(response.body, bytes);
  EXPECT_EQ(client.receive().body, "0123456789");
}

TEST_F(WorkerFaults, hitOnlyKeysWithTheirPrefix) {
  ASSERT_TRUE(worker.putObject("tovrin", "photos/a b", "x"));
  ASSERT_TRUE(worker.addFault(R"(status code=500 key="photos/a ")"));
  EXPECT_EQ(get(target("photos/a%20b")).status, 500);
  EXPECT_EQ(get(target("a")).status, 200);
  EXPECT_EQ(get("/api/worker/accounts").status, 200);
}

TEST_F(WorkerFaults, hitOnlyTheirRoute) {
  ASSERT_TRUE(worker.addFault("status code=500 route=accounts"));
  EXPECT_EQ(get("/api/worker/accounts").status, 500);
  EXPECT_EQ(get(target("a")).status, 200);
}

TEST_F(WorkerFaults, hitOnlySoManyRequests) {
  ASSERT_TRUE(worker.addFault("status code=500 times=2"));
  EXPECT_EQ(get(target("a")).status, 500);
  EXPECT_EQ(get(target("a")).status, 500);
  EXPECT_EQ(get(target("a")).status, 200);
}

TEST_F(WorkerFaults, applyTogether) {
  ASSERT_TRUE(worker.addFault("delay seconds=0.01"));
  ASSERT_TRUE(worker.addFault("status code=502 body=\"bad gateway\""));
  EXPECT_EQ(getWith("cut after=3").body, "bad");
}

TEST_F(WorkerFaults, areSetAndClearedWhileTheWorkerRuns) {
  EXPECT_EQ(send("POST", "/control/faults", "status code=500\ncut after=1 key=b\n").status, 200);
  EXPECT_EQ(get("/control/faults").body, "status code=500\ncut after=1 key=b\n");
  EXPECT_EQ(get(target("a")).status, 500);
  EXPECT_EQ(send("DELETE", "/control/faults").status, 200);
  EXPECT_EQ(get("/control/faults").body, "");
  EXPECT_EQ(get(target("a")).status, 200);
  EXPECT_EQ(request(worker.address(), "DELETE", "/control/faults", authorization("wrong")).status, 401);
}

TEST_F(WorkerFaults, areTakenAllOrNotAtAll) {
  const RawResponse response = send("POST", "/control/faults", "status code=500\nnonsense\n");
  EXPECT_EQ(response.status, 400);
  EXPECT_NE(response.body.find("there is no kind \"nonsense\""), std::string::npos) << response.body;
  EXPECT_EQ(get(target("a")).status, 200);
}

TEST(WorkerFaultLines, thatAreWrongSayWhy) {
  const auto reason = [](std::string_view line) {
    const auto fault = worker::parseFault(line);
    return fault ? "accepted" : fault.error().localizedDescription();
  };
  EXPECT_EQ(reason(""), "The fault \"\" is not understood: there is no kind.");
  EXPECT_EQ(reason("cut"), "The fault \"cut\" is not understood: cut needs after.");
  EXPECT_EQ(reason("cut after=x"), "The fault \"cut after=x\" is not understood: \"x\" is no value for after.");
  EXPECT_EQ(reason("cut after=-1"), "The fault \"cut after=-1\" is not understood: \"-1\" is no value for after.");
  EXPECT_EQ(reason("cut later=1"), "The fault \"cut later=1\" is not understood: cut does not take \"later\".");
  EXPECT_EQ(reason("cut after"), "The fault \"cut after\" is not understood: \"after\" has no value.");
  EXPECT_EQ(reason("close times=x"), "The fault \"close times=x\" is not understood: times needs a number.");
  EXPECT_EQ(reason("close =1"), "The fault \"close =1\" is not understood: close does not take \"\".");
  EXPECT_EQ(reason("close route=x"),
            "The fault \"close route=x\" is not understood: the routes are object, accounts and buckets.");
  EXPECT_EQ(reason("status code=99"),
            "The fault \"status code=99\" is not understood: a status code lies between 200 and 599.");
  EXPECT_EQ(reason("status code=404 body=\"x"),
            "The fault \"status code=404 body=\"x\" is not understood: a double quote is not closed.");
}

}  // namespace
}  // namespace tovrin
