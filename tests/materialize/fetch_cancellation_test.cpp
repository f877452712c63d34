#include <gtest/gtest.h>

#include <string>

#include "materialize/fetch_fixture.h"

namespace tovrin {
namespace {

const std::string kFile = "/Users/ann/Photos/holiday.jpg";

class FetchCancellation : public FetchFixture {
 protected:
  void SetUp() override {
    FetchFixture::SetUp();
    install({fileEntry(kFile, "contents", "k")});
    put("k", "contents");
  }

  void expectCancelled(const FetchOutcome& outcome) {
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(outcome.error->code(), 3072);
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(filesMade(), 0U);
    EXPECT_EQ(recorder.states().back().title, "Open failed");
    EXPECT_TRUE(journal->load().value().empty());
  }
};

TEST_F(FetchCancellation, endsTheWaitForTheWorker) {
  ASSERT_TRUE(worker.setAccounts("0"));
  recorder.onState = [&](const auto& state) {
    if (state.detail.starts_with("Preparing")) progressOfFetch().cancel();
  };
  expectCancelled(fetch(kFile));
  EXPECT_EQ(worker.requests().size(), 1U);
}

TEST_F(FetchCancellation, abortsTheProbeThatIsUnderway) {
  addFault("silent route=accounts");
  std::promise<FetchOutcome> outcome;
  const auto progress = start(kFile, outcome);
  EXPECT_TRUE(worker.waitForArrivals(1));
  progress->cancel();
  const FetchOutcome result = outcome.get_future().get();
  tasks.emplace();
  expectCancelled(result);
}

TEST_F(FetchCancellation, abortsTheTransferThatIsUnderway) {
  addFault("stall after=4 key=k");
  std::promise<FetchOutcome> outcome;
  const auto progress = start(kFile, outcome);
  EXPECT_TRUE(worker.waitForArrivals(2));
  progress->cancel();
  const FetchOutcome result = outcome.get_future().get();
  tasks.emplace();
  expectCancelled(result);
  EXPECT_EQ(progress->completedUnitCount(), 100);
}

TEST_F(FetchCancellation, beforeAnythingIsAskedSendsNothing) {
  recorder.onState = [&](const auto& state) {
    if (state.isActive) progressOfFetch().cancel();
  };
  expectCancelled(fetch(kFile));
  EXPECT_TRUE(worker.requests().empty());
}

TEST_F(FetchCancellation, afterTheEndChangesNothing) {
  const FetchOutcome outcome = fetch(kFile);
  outcome.progress->cancel();
  ASSERT_TRUE(outcome.file);
  EXPECT_EQ(readFile(*outcome.file), "contents");
  EXPECT_EQ(completions, 1);
}

TEST_F(FetchCancellation, comesWithTheEndOfTheTaskGroup) {
  addFault("silent key=k");
  std::promise<FetchOutcome> outcome;
  start(kFile, outcome);
  EXPECT_TRUE(worker.waitForArrivals(2));
  tasks.reset();
  expectCancelled(outcome.get_future().get());
}

TEST_F(FetchCancellation, ofOneFetchLeavesAnotherAlone) {
  install({fileEntry(kFile, "contents", "k"), fileEntry("/Users/ann/Photos/other.txt", "other", "o")});
  test.clock.advance(1);
  put("o", "other");
  addFault("silent key=k");
  std::promise<FetchOutcome> first;
  std::promise<FetchOutcome> second;
  const auto progress = start(kFile, first);
  EXPECT_TRUE(worker.waitForArrivals(2));
  progress->cancel();
  EXPECT_TRUE(first.get_future().get().error);
  completions = 0;
  start("/Users/ann/Photos/other.txt", second);
  EXPECT_TRUE(second.get_future().get().file);
}

}  // namespace
}  // namespace tovrin
