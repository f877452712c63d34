#include <rapidjson/document.h>

#include "tools/worker_fixture.h"
#include "tovrin-worker/accounts.h"

namespace tovrin {
namespace {

class WorkerAccounts : public WorkerTest {
 protected:
  struct Poll {
    std::size_t ready = 0;
    std::size_t total = 0;
    bool operator==(const Poll&) const = default;
  };
  Poll poll() {
    const RawResponse response = get("/api/worker/accounts");
    rapidjson::Document document;
    // Numbers as text: the balances fit no integer.
    document.Parse<rapidjson::kParseNumbersAsStringsFlag>(response.body.data(), response.body.size());
    EXPECT_TRUE(document.IsArray()) << response.body;
    Poll counted{0, document.Size()};
    for (const auto& account : document.GetArray()) counted.ready += account["requiresSync"].GetBool() ? 0 : 1;
    return counted;
  }
};

TEST_F(WorkerAccounts, areThereWithoutAScript) { EXPECT_EQ(poll(), (Poll{12, 12})); }

TEST_F(WorkerAccounts, areAnEmptyArrayAndNotNullWhenThereAreNone) {
  ASSERT_TRUE(worker.setAccounts("0"));
  EXPECT_EQ(get("/api/worker/accounts").body, "[]\n");
}

TEST_F(WorkerAccounts, growAndFallPollByPoll) {
  ASSERT_TRUE(worker.setAccounts("0,3/5,11,7/11"));
  EXPECT_EQ(poll(), (Poll{0, 0}));
  EXPECT_EQ(poll(), (Poll{3, 5}));
  EXPECT_EQ(poll(), (Poll{11, 11}));
  EXPECT_EQ(poll(), (Poll{7, 11}));
  EXPECT_EQ(poll(), (Poll{7, 11}));
}

TEST_F(WorkerAccounts, areSetWhileTheWorkerRuns) {
  EXPECT_EQ(send("POST", "/control/accounts", "2/3\n").status, 200);
  EXPECT_EQ(poll(), (Poll{2, 3}));
  EXPECT_EQ(send("POST", "/control/accounts", "3/2").status, 400);
  EXPECT_EQ(send("GET", "/control/accounts").status, 405);
}

TEST_F(WorkerAccounts, carryBalancesBeyond64BitsAndNegativeDrift) {
  const std::string body = get("/api/worker/accounts").body;
  EXPECT_NE(body.find("\"balance\": 1000000000000000000000000,"), std::string::npos);
  EXPECT_NE(body.find("\"drift\": -250000000000000000000000,"), std::string::npos);
}

TEST_F(WorkerAccounts, comeInNoStableOrder) {
  EXPECT_NE(get("/api/worker/accounts").body, get("/api/worker/accounts").body);
}

TEST_F(WorkerAccounts, arriveChunkedFromAnOlderWorker) {
  ASSERT_TRUE(worker.addFault("chunked route=accounts times=1"));
  const RawResponse response = get("/api/worker/accounts");
  EXPECT_EQ(response.header("Transfer-Encoding"), "chunked");
  EXPECT_EQ(response.header("Content-Type"), "application/json");
  EXPECT_TRUE(response.complete);
  EXPECT_EQ(get("/api/worker/accounts").header("Transfer-Encoding"), "(none)");
}

TEST_F(WorkerAccounts, mayCarryFieldsThatNobodyKnows) {
  ASSERT_TRUE(worker.addFault("unknown-fields"));
  EXPECT_NE(get("/api/worker/accounts").body.find("\"tier\""), std::string::npos);
  EXPECT_EQ(poll(), (Poll{12, 12}));
}

TEST_F(WorkerAccounts, mayBeGarbage) {
  ASSERT_TRUE(worker.addFault("status code=200 type=application/json body=\"[{]\" route=accounts"));
  const RawResponse response = get("/api/worker/accounts");
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.header("Content-Type"), "application/json");
}

TEST_F(WorkerAccounts, mayBeRefused) {
  for (const int code : {401, 404, 500, 502, 503, 504}) {
    ASSERT_TRUE(worker.addFault("status route=accounts times=1 code=" + std::to_string(code)));
    EXPECT_EQ(get("/api/worker/accounts").status, code);
  }
}

TEST(WorkerAccountsSteps, thatAreWrongAreRefused) {
  for (const char* text : {"", "x", "-1", "3/2", "1,,2", "1,", "1/", "/1", "100001", "1 "}) {
    EXPECT_FALSE(worker::parseAccountsSteps(text)) << text;
  }
}

}  // namespace
}  // namespace tovrin
