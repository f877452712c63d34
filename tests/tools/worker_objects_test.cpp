#include <sys/stat.h>

#include <vector>

#include "tools/worker_fixture.h"

namespace tovrin {
namespace {

class WorkerObjects : public WorkerTest {};

TEST_F(WorkerObjects, carryExactlyTheHeadersOfAWorkerInTheirOrder) {
  ASSERT_TRUE(worker.putObject("tovrin", "a.bin", "twelve bytes"));
  const RawResponse response = get(target("a.bin"));
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, "twelve bytes");
  std::vector<std::string> names;
  for (std::size_t at = response.head.find("\r\n"); at + 4 < response.head.size();
       at = response.head.find("\r\n", at + 2)) {
    names.push_back(response.head.substr(at + 2, response.head.find(':', at) - at - 2));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Accept-Ranges", "Content-Length", "Content-Type", "Etag", "Last-Modified",
                                             "Date"}));
  EXPECT_EQ(response.header("Content-Length"), "12");
  EXPECT_EQ(response.header("Etag").size(), 34u);
  EXPECT_TRUE(response.header("Last-Modified").ends_with(" GMT"));
}

TEST_F(WorkerObjects, withoutBytesAreSentWithLengthZero) {
  ASSERT_TRUE(worker.putObject("tovrin", "empty", ""));
  const RawResponse response = get(target("empty"));
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.header("Content-Length"), "0");
  EXPECT_TRUE(response.complete);
}

TEST_F(WorkerObjects, areFoundUnderKeysThatAreDecodedOnce) {
  ASSERT_TRUE(worker.putObject("tovrin", "a/b c#d+e%41", "right"));
  EXPECT_EQ(get(target("a/b%20c%23d+e%2541")).body, "right");
  EXPECT_EQ(get(target("a%2Fb%20c%23d%2Be%2541")).body, "right");
  EXPECT_EQ(get(target("a/b%20c%23d%20e%2541")).status, 404);
  EXPECT_EQ(get(target("a/b%20c%23d+eA")).status, 404);
}

TEST_F(WorkerObjects, keepNonASCIIKeysByteForByte) {
  ASSERT_TRUE(worker.putObject("tovrin", "caf\xC3\xA9", "composed"));
  EXPECT_EQ(get(target("caf%C3%A9")).body, "composed");
  EXPECT_EQ(get(target("cafe%CC%81")).status, 404);
}

TEST_F(WorkerObjects, takeDotSegmentsAndDoubleSlashesLiterally) {
  writeFile(scratch / "objects/secret", "outside of every bucket");
  ASSERT_TRUE(worker.putObject("tovrin", "a/b", "plain"));
  ASSERT_TRUE(worker.putObject("tovrin", "a//b", "double"));
  ASSERT_TRUE(worker.putObject("tovrin", "a/./b", "dot"));
  ASSERT_TRUE(worker.putObject("tovrin", "a/../b", "up"));
  ASSERT_TRUE(worker.putObject("tovrin", "a/%/b", "percent"));
  EXPECT_EQ(get(target("a/b")).body, "plain");
  EXPECT_EQ(get(target("a//b")).body, "double");
  EXPECT_EQ(get(target("a/./b")).body, "dot");
  EXPECT_EQ(get(target("a/../b")).body, "up");
  EXPECT_EQ(get(target("a/%25/b")).body, "percent");
  EXPECT_EQ(get(target("../secret")).status, 404);
  EXPECT_EQ(get(target("a/b/")).status, 404);
  EXPECT_EQ(get("/api/worker/object/secret?bucket=..").status, 404);
  EXPECT_EQ(get("/api/worker/object/secret?bucket=.").status, 404);
}

TEST_F(WorkerObjects, thatAreMissingAndBucketsThatAreMissingLookAlike) {
  const RawResponse noKey = get(target("nothing"));
  const RawResponse noBucket = get(target("nothing", "elsewhere"));
  EXPECT_EQ(noKey.status, 404);
  EXPECT_TRUE(noKey.body.ends_with("object not found\n")) << noKey.body;
  EXPECT_EQ(noKey.header("Content-Type"), "text/plain; charset=utf-8");
  EXPECT_EQ(noKey.header("X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(noBucket.status, 404);
  EXPECT_EQ(noBucket.body, noKey.body);
}

TEST_F(WorkerObjects, needABucketParameter) {
  for (const char* path :
       {"/api/worker/object/a", "/api/worker/object/a?bucket=", "/api/worker/object/a?other=tovrin"}) {
    const RawResponse response = get(path);
    EXPECT_EQ(response.status, 400) << path;
    EXPECT_EQ(response.body, "'bucket' parameter is required\n");
  }
}

TEST_F(WorkerObjects, areServedToAnyUserWithTheRightPassword) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "bytes"));
  EXPECT_EQ(request(worker.address(), "GET", target("a"), authorization("pass", "somebody")).status, 200);
  for (const std::string& headers : {std::string(), authorization("wrong"), std::string("Authorization: Basic !\r\n"),
                                     std::string("Authorization: Bearer pass\r\n")}) {
    const RawResponse response = request(worker.address(), "GET", target("a"), headers);
    EXPECT_EQ(response.status, 401) << headers;
    EXPECT_EQ(response.body, "Unauthorized\n");
    EXPECT_EQ(response.header("WWW-Authenticate"), "(none)");
  }
  EXPECT_EQ(request(worker.address(), "GET", "/nowhere", authorization("wrong")).status, 401);
  EXPECT_EQ(get("/nowhere").status, 404);
}

TEST_F(WorkerObjects, refuseUnknownMethodsWithTheListOfKnownOnes) {
  const RawResponse response = send("PATCH", target("a"));
  EXPECT_EQ(response.status, 405);
  EXPECT_EQ(response.header("Allow"), "DELETE, GET, HEAD, PUT");
  EXPECT_EQ(send("POST", "/api/worker/accounts").header("Allow"), "GET");
}

TEST_F(WorkerObjects, answerHEADWithTheHeadersOfGETAndNoBody) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "bytes"));
  RawClient client(worker.address());
  client.send("HEAD " + target("a") + " HTTP/1.1\r\nHost: x\r\n" + authorization("pass") + "\r\n");
  const RawResponse head = client.receive(true);
  EXPECT_EQ(head.status, 200);
  EXPECT_EQ(head.header("Content-Length"), "5");
  client.send(getText(target("a")));
  EXPECT_EQ(client.receive().body, "bytes");
  client.send("HEAD " + target("a") + " HTTP/1.1\r\nHost: x\r\n\r\n" + getText(target("a")));
  EXPECT_EQ(client.receive(true).status, 401);
  EXPECT_EQ(client.receive().body, "bytes");
  EXPECT_EQ(send("HEAD", target("none")).status, 404);
}

TEST_F(WorkerObjects, giveARangeWhenBothEndsLieInside) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "0123456789"));
  const RawResponse response = get(target("a"), "Range: bytes=2-5\r\n");
  EXPECT_EQ(response.status, 206);
  EXPECT_EQ(response.header("Content-Range"), "bytes 2-5/10");
  EXPECT_EQ(response.header("Content-Length"), "4");
  EXPECT_EQ(response.body, "2345");
}

TEST_F(WorkerObjects, refuseEveryOtherRange) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "0123456789"));
  ASSERT_TRUE(worker.putObject("tovrin", "empty", ""));
  for (const char* range :
       {"bytes=2-", "bytes=-3", "bytes=2-10", "bytes=5-2", "bytes=0-1,3-4", "bytes=", "lines=0-1"}) {
    EXPECT_EQ(get(target("a"), std::string("Range: ") + range + "\r\n").status, 400) << range;
  }
  EXPECT_EQ(get(target("empty"), "Range: bytes=0-0\r\n").status, 400);
}

TEST_F(WorkerObjects, areNotSentAgainWhenTheirTagOrDateIsKnown) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "bytes"));
  const RawResponse first = get(target("a"));
  const RawResponse second = get(target("a"), "If-None-Match: " + first.header("Etag") + "\r\n");
  EXPECT_EQ(second.status, 304);
  EXPECT_EQ(second.header("Etag"), first.header("Etag"));
  EXPECT_EQ(get(target("a"), "If-Modified-Since: " + first.header("Last-Modified") + "\r\n").status, 304);
  EXPECT_EQ(get(target("a"), "If-Modified-Since: Sat, 01 Jan 2000 00:00:00 GMT\r\n").status, 200);
  EXPECT_EQ(get(target("a"), "If-None-Match: \"other\"\r\n").status, 200);
}

TEST_F(WorkerObjects, thatAreUploadedComeBackByteForByte) {
  const std::string bytes = sampleBytes(3'000'000);
  const RawResponse stored = send("PUT", target("deep/down/a"), bytes);
  EXPECT_EQ(stored.status, 200);
  EXPECT_EQ(stored.body, "");
  const RawResponse response = get(target("deep/down/a"));
  EXPECT_EQ(response.body, bytes);
  EXPECT_EQ(response.header("Etag"), stored.header("Etag"));
  EXPECT_EQ(readFile(worker.objectPath("tovrin", "deep/down/a")), bytes);
}

TEST_F(WorkerObjects, areReplacedByAnotherUpload) {
  ASSERT_EQ(send("PUT", target("a"), "first").status, 200);
  ASSERT_EQ(send("PUT", target("a"), "second").status, 200);
  EXPECT_EQ(get(target("a")).body, "second");
}

TEST_F(WorkerObjects, areAcceptedInChunksAndAfterAQuestion) {
  RawClient client(worker.address());
  client.send("PUT " + target("a") + " HTTP/1.1\r\nHost: x\r\n" + authorization("pass") +
              "Transfer-Encoding: chunked\r\nExpect: 100-continue\r\n\r\n");
  EXPECT_EQ(client.receive(true).status, 100);
  client.send("5\r\nhello\r\n7;name=value\r\n, world\r\n0\r\nTrailer: x\r\n\r\n");
  EXPECT_EQ(client.receive().status, 200);
  EXPECT_EQ(get(target("a")).body, "hello, world");
}

TEST_F(WorkerObjects, rememberTheirTypeAndMetadata) {
  ASSERT_EQ(send("PUT", target("a") + "&mimetype=text/x-own", "x", "X-Sia-Meta-Colour: blue\r\n").status, 200);
  const RawResponse response = get(target("a"));
  EXPECT_EQ(response.header("Content-Type"), "text/x-own");
  EXPECT_EQ(response.header("X-Sia-Meta-Colour"), "blue");
  ASSERT_EQ(send("PUT", target("b.json"), "{}").status, 200);
  EXPECT_EQ(get(target("b.json")).header("Content-Type"), "application/json");
}

TEST_F(WorkerObjects, doNotComeFromAnUploadThatBreaksOff) {
  {
    RawClient client(worker.address());
    client.send("PUT " + target("a") + " HTTP/1.1\r\nHost: x\r\n" + authorization("pass") +
                "Content-Length: 100\r\n\r\nonly this");
  }
  ASSERT_TRUE(worker.waitForFinished(1));
  EXPECT_EQ(get(target("a")).status, 404);
  EXPECT_EQ(countFiles(scratch / "objects/.uploads"), 0u);
}

TEST_F(WorkerObjects, areRefusedInABucketThatDoesNotExist) {
  const RawResponse response = send("PUT", target("a", "elsewhere"), sampleBytes(500'000));
  EXPECT_EQ(response.status, 404);
  EXPECT_FALSE(std::filesystem::exists(scratch / "objects/elsewhere"));
}

TEST_F(WorkerObjects, canBeDeletedOnce) {
  ASSERT_TRUE(worker.putObject("tovrin", "a/b", "bytes"));
  EXPECT_EQ(send("DELETE", target("a/b")).status, 200);
  EXPECT_EQ(get(target("a/b")).status, 404);
  EXPECT_EQ(send("DELETE", target("a/b")).status, 404);
}

TEST_F(WorkerObjects, lieInBucketsThatAreMadeOnceAndHaveProperNames) {
  EXPECT_EQ(send("POST", "/api/bus/buckets", R"({"name":"fresh","policy":{"publicReadAccess":false}})").status, 200);
  EXPECT_EQ(send("PUT", target("a", "fresh"), "bytes").status, 200);
  EXPECT_EQ(send("POST", "/api/bus/buckets", R"({"name":"fresh"})").status, 409);
  for (const char* body : {R"({"name":".."})", R"({"name":"a/b"})", R"({"name":"ab"})", R"({"name":"UPPER"})",
                           R"({"name":"-abc"})", R"({"name":7})", "{}", "not JSON"}) {
    EXPECT_EQ(send("POST", "/api/bus/buckets", body).status, 400) << body;
  }
}

TEST_F(WorkerObjects, thatAreFoldersOrPipesOnDiskDoNotExist) {
  ASSERT_TRUE(worker.putObject("tovrin", "folder/a", "bytes"));
  ASSERT_EQ(::mkfifo((scratch / "objects/tovrin/pipe").c_str(), 0600), 0);
  EXPECT_EQ(get(target("folder")).status, 404);
  EXPECT_EQ(get(target("pipe")).status, 404);
}

}  // namespace
}  // namespace tovrin
