#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "materialize/errors.h"
#include "materialize/scripted_url_session.h"
#include "materialize/worker_fixture.h"
#include "materialize/worker_url.h"

namespace tovrin {
namespace {

using WaitPhase = RenterdClient::WaitPhase;

class Readiness : public WorkerFixture {
 protected:
  Result<ProbeOutcome> probe() { return client().probeAccounts(snapshot(), {}); }
  Result<void> wait() {
    return client().waitUntilReady(
        snapshot(), [this](WaitPhase phase, std::int64_t count) { reports.emplace_back(phase, count); },
        stop.get_token());
  }
  void answer(std::string_view status) { addFault("status times=1 route=accounts code=" + std::string(status)); }
  /// The next probe gets exactly this text, from an object that it is sent to.
  void answerWithBody(std::string_view body) {
    put("accounts.json", body);
    addFault("redirect times=1 route=accounts to=" + objectURL(worker.address(), "accounts.json", std::nullopt));
  }
  void setAccounts(std::string_view steps) { ASSERT_TRUE(worker.setAccounts(steps)); }

  std::vector<std::pair<WaitPhase, std::int64_t>> reports;
  std::stop_source stop;
};

bool isReady(const Result<ProbeOutcome>& outcome) { return outcome && std::holds_alternative<WorkerReady>(*outcome); }
std::int64_t waitingCount(const Result<ProbeOutcome>& outcome) {
  return outcome && std::holds_alternative<WorkerWaiting>(*outcome) ? std::get<WorkerWaiting>(*outcome).readyAccounts
                                                                    : -1;
}

TEST_F(Readiness, needsTenAccountsThatAreInSync) {
  setAccounts("9/50,10/50");
  EXPECT_EQ(waitingCount(probe()), 9);
  EXPECT_TRUE(isReady(probe()));
}

TEST_F(Readiness, stepsOverBalancesBeyond64BitsAndUnknownFields) {
  addFault("unknown-fields");
  setAccounts("12/20");
  EXPECT_TRUE(isReady(probe()));
  addFault("chunked route=accounts");
  EXPECT_TRUE(isReady(probe()));
}

TEST_F(Readiness, takesEveryStatusOfSuccess) {
  addFault(R"(status route=accounts code=206 body="[]" type=application/json times=1)");
  EXPECT_EQ(waitingCount(probe()), 0);
  addFault("status route=accounts code=300 times=1");
  EXPECT_TRUE(probe().error().isSameInstance(notReachableError()));
}

TEST_F(Readiness, ofAnEmptyListIsNoAccount) {
  answerWithBody("[]");
  EXPECT_EQ(waitingCount(probe()), 0);
}

TEST_F(Readiness, isGivenWithoutTheEndpoint) {
  addFault("status times=1 route=accounts code=404 type=text/html body=\"<h1>Not found</h1>\"");
  EXPECT_TRUE(isReady(probe()));
}

TEST_F(Readiness, isWaitedForWhileTheWorkerStarts) {
  for (const std::string_view status : {"500", "502", "503", "504"}) {
    answer(status);
    EXPECT_EQ(waitingCount(probe()), 0) << status;
  }
}

TEST_F(Readiness, isNotWaitedForAfterAnyOtherStatus) {
  for (const std::string_view status : {"304", "400", "401", "403", "405", "418", "501", "505"}) {
    answer(status);
    const auto outcome = probe();
    ASSERT_FALSE(outcome) << status;
    EXPECT_TRUE(outcome.error().isSameInstance(notReachableError())) << status;
  }
}

TEST_F(Readiness, passesOnWhyTheBodyDoesNotDecode) {
  answerWithBody(R"([{"requiresSync":false},{"id":"x"}])");
  auto outcome = probe();
  ASSERT_FALSE(outcome);
  ASSERT_NE(outcome.error().decodingFailure(), nullptr);
  EXPECT_EQ(outcome.error().decodingFailure()->codingPath.front(), "1");
  EXPECT_TRUE(outcome.error().is(CocoaErrorCode::coderValueNotFound));

  for (const std::string_view body : {"", "{}", "<html>", R"([{"requiresSync":"no"}])"}) {
    answerWithBody(body);
    outcome = probe();
    ASSERT_FALSE(outcome) << body;
    EXPECT_TRUE(outcome.error().is(CocoaErrorCode::coderReadCorrupt)) << body;
  }
}

TEST_F(Readiness, isWaitedForAfterFourTransportErrorsOnly) {
  const std::vector<std::pair<URLErrorCode, bool>> codes = {{URLErrorCode::timedOut, true},
                                                            {URLErrorCode::cannotConnectToHost, true},
                                                            {URLErrorCode::networkConnectionLost, true},
                                                            {URLErrorCode::resourceUnavailable, true},
                                                            {URLErrorCode::cannotFindHost, false},
                                                            {URLErrorCode::badServerResponse, false},
                                                            {URLErrorCode::httpTooManyRedirects, false},
                                                            {URLErrorCode::unknown, false},
                                                            {URLErrorCode::cancelled, false}};
  for (const auto& [code, isTransient] : codes) {
    FailingURLSession session(NSError::url(code));
    Platform platform{test.clock, test.directories, session, test.notifications};
    const auto outcome = RenterdClient(platform).probeAccounts(snapshot(), {});
    EXPECT_EQ(waitingCount(outcome) == 0, isTransient) << static_cast<std::int64_t>(code);
    if (!isTransient) {
      EXPECT_EQ(outcome.error(), NSError::url(code));
    }
  }
}

TEST_F(Readiness, doesNotTakeTheSameCodeOfAnotherDomainForTransient) {
  FailingURLSession session(notReachableError());
  Platform platform{test.clock, test.directories, session, test.notifications};
  EXPECT_FALSE(RenterdClient(platform).probeAccounts(snapshot(), {}));
}

TEST_F(Readiness, isAskedForWithinFiveSeconds) {
  FailingURLSession session(NSError::url(URLErrorCode::timedOut));
  Platform platform{test.clock, test.directories, session, test.notifications};
  std::ignore = RenterdClient(platform).probeAccounts({"h:1", "pw", {}}, {});
  ASSERT_EQ(session.requests.size(), 1U);
  const std::vector<std::pair<std::string, std::string>> headers = {{"Authorization", "Basic OnB3"},
                                                                    {"Accept", "application/json"}};
  EXPECT_EQ(session.requests[0].url, "http://h:1/api/worker/accounts");
  EXPECT_EQ(session.requests[0].timeoutSeconds, 5);
  EXPECT_EQ(session.requests[0].headers, headers);
}

TEST_F(Readiness, endsTheWaitAtTheFirstGoodPoll) {
  setAccounts("0,4,9,10");
  ASSERT_TRUE(wait());
  const decltype(reports) expected = {{WaitPhase::preparing, 0}, {WaitPhase::preparing, 4}, {WaitPhase::preparing, 9}};
  EXPECT_EQ(reports, expected);
  EXPECT_EQ(test.clock.sleeps(), 3);
}

TEST_F(Readiness, ofAReadyWorkerReportsNothing) {
  ASSERT_TRUE(wait());
  EXPECT_TRUE(reports.empty());
  EXPECT_EQ(worker.requests().size(), 1U);
}

TEST_F(Readiness, isPolledOnceASecondFor90SecondsWhenTheWorkerIsDown) {
  worker.stop();
  const auto result = wait();
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().isSameInstance(notReachableError()));
  EXPECT_EQ(test.clock.sleeps(), 90);
  ASSERT_EQ(reports.size(), 91U);
  EXPECT_EQ(reports[89], std::pair(WaitPhase::preparing, std::int64_t{0}));
  EXPECT_EQ(reports[90], std::pair(WaitPhase::timedOut, std::int64_t{0}));
}

TEST_F(Readiness, tellsTheLastCountWhenTimeIsUp) {
  setAccounts("3,9,7");
  ASSERT_FALSE(wait());
  EXPECT_EQ(reports.back(), std::pair(WaitPhase::timedOut, std::int64_t{7}));
}

TEST_F(Readiness, isNotWaitedForLongerBecauseTheUserSetTheDateBack) {
  worker.stop();
  int polls = 0;
  const auto result = client().waitUntilReady(snapshot(),
                                              [&](WaitPhase, std::int64_t) {
                                                if (++polls == 1) test.clock.setNow(Date{0});
                                              },
                                              {});
  EXPECT_FALSE(result);
  EXPECT_EQ(polls, 91);
}

TEST_F(Readiness, failsAtOnceWhenThePasswordIsWrong) {
  const auto result = client().waitUntilReady({worker.address(), "wrong", {}}, [](auto...) { FAIL(); }, {});
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().isSameInstance(notReachableError()));
  EXPECT_EQ(test.clock.sleeps(), 0);
}

TEST_F(Readiness, failsAtOnceWhenTheAddressMakesNoURL) {
  for (const std::string_view address : {"", "/api", "[::1", "127.0.0.1:notaport"}) {
    const auto result = client().waitUntilReady({std::string(address), "p", {}}, [](auto...) { FAIL(); }, {});
    ASSERT_FALSE(result) << address;
    EXPECT_TRUE(result.error().isSameInstance(notReachableError())) << address;
  }
}

TEST_F(Readiness, isNotProbedAfterAStop) {
  stop.request_stop();
  const auto result = wait();
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(CocoaErrorCode::userCancelled));
  EXPECT_TRUE(worker.requests().empty());
}

TEST_F(Readiness, isNotWaitedForAfterAStopBetweenTwoPolls) {
  setAccounts("0");
  const auto result = client().waitUntilReady(snapshot(), [this](auto...) { stop.request_stop(); }, stop.get_token());
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(CocoaErrorCode::userCancelled));
  EXPECT_EQ(worker.requests().size(), 1U);
}

TEST_F(Readiness, isNotWaitedForAfterAStopDuringAPoll) {
  addFault("silent route=accounts");
  std::jthread canceller([&] {
    EXPECT_TRUE(worker.waitForArrivals(1));
    stop.request_stop();
  });
  const auto result = wait();
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(CocoaErrorCode::userCancelled));
}

}  // namespace
}  // namespace tovrin
