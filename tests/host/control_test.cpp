#include "host/control_fixture.h"

#include <thread>

namespace tovrin::host {
namespace {

TEST_F(Control, tellsTheWholeStatus) {
  mount_.setStatus(richStatus());
  const auto server = serve();
  const auto answered = client()->status();
  ASSERT_TRUE(answered) << answered.error().localizedDescription();
  EXPECT_EQ(answered->mountpoint, richStatus().mountpoint);
  EXPECT_EQ(answered->processID, 4711);
  EXPECT_EQ(answered->usage.cachedBytes, std::int64_t{5} << 40);
  EXPECT_EQ(answered->usage.cachedItems, 12);
  EXPECT_EQ(answered->limits.cacheBytes, std::int64_t{10} << 30);
  EXPECT_EQ(answered->limits.keepFree, 0.25);
  ASSERT_EQ(answered->openings.size(), 2u);
  EXPECT_EQ(answered->openings[0].filename, "a \"b\".jpg");
  EXPECT_EQ(answered->openings[0].bytes, 1000);
  EXPECT_EQ(answered->openings[0].fraction, 0.5);
  EXPECT_TRUE(answered->openings[1].isQueued);
  ASSERT_EQ(answered->edits.size(), 2u);
  EXPECT_EQ(answered->edits[0].file, "/cache/\xfe");
  EXPECT_EQ(answered->edits[0].error, "Could not read “\uFFFD”.");
  EXPECT_EQ(answered->edits[1].state, EditState::interrupted);
  ASSERT_EQ(answered->problems.size(), 1u);
  EXPECT_EQ(answered->problems[0].error, "Not reachable.");
  EXPECT_EQ(answered->refusedCrawlers, 99);
}

TEST_F(Control, tellsAFractionThatIsNoNumber) {
  MountStatus status;
  status.openings = {{"x", "empty", 0, 0.0 / 0.0, false}};
  mount_.setStatus(status);
  const auto server = serve();
  const auto answered = client()->status();
  ASSERT_TRUE(answered);
  EXPECT_EQ(answered->openings[0].fraction, 0);
}

TEST_F(Control, evictsWhatIsNamed) {
  const auto server = serve();
  const auto outcomes = client()->evict({"entry:W1:YQ", "entry:W1:Yg"});
  ASSERT_TRUE(outcomes);
  ASSERT_EQ(outcomes->size(), 2u);
  EXPECT_EQ(outcomes->at(1).identifier, "entry:W1:Yg");
  EXPECT_EQ(outcomes->at(1).filename, "name of entry:W1:Yg");
  EXPECT_EQ(outcomes->at(1).result, Evicted::dropped);
}

TEST_F(Control, evictsEverything) {
  mount_.evictions = {{"a", Evicted::notHere}, {"b", Evicted::open}, {"c", Evicted::edited}};
  const auto server = serve();
  const auto outcomes = client()->evictAll();
  ASSERT_TRUE(outcomes);
  ASSERT_EQ(outcomes->size(), 3u);
  EXPECT_EQ(outcomes->at(0).result, Evicted::notHere);
  EXPECT_EQ(outcomes->at(1).result, Evicted::open);
  EXPECT_EQ(outcomes->at(2).result, Evicted::edited);
}

TEST_F(Control, takesVeryManyItems) {
  const auto server = serve();
  const std::vector<NSFileProviderItemIdentifier> items(20'000, NSFileProviderItemIdentifier(200, 'x'));
  const auto outcomes = client()->evict(items);
  ASSERT_TRUE(outcomes) << outcomes.error().localizedDescription();
  EXPECT_EQ(outcomes->size(), items.size());
}

TEST_F(Control, passesErrorsOnUnchanged) {
  const NSError wrongBytes(NSCocoaErrorDomain, 259, "The bytes are wrong.");
  mount_.failures = {{"fails", wrongBytes}};
  const auto server = serve();
  EXPECT_TRUE(client()->fetch("works", {}));
  const auto fetched = client()->fetch("fails", {});
  ASSERT_FALSE(fetched);
  EXPECT_EQ(fetched.error(), wrongBytes);
}

TEST_F(Control, stopsAFetchThatTheCallerGivesUp) {
  const auto server = serve();
  std::stop_source stop;
  std::optional<Result<void>> fetched;
  {
    const std::jthread caller([&] { fetched = client()->fetch("waits", stop.get_token()); });
    mount_.waitForStalls(1);
    stop.request_stop();
  }
  EXPECT_TRUE(fetched->error().is(CocoaErrorCode::userCancelled));
  mount_.waitForStops(1);
}

TEST_F(Control, stopsWhatAProcessAskedForThatIsKilled) {
  const auto server = serve();
  OtherProcess caller([&](const auto& ready) {
    ready();
    std::ignore = client()->fetch("waits", {});
  });
  ASSERT_TRUE(caller.isReady());
  mount_.waitForStalls(1);
  caller.kill();
  mount_.waitForStops(1);
}

TEST_F(Control, servesOthersMeanwhile) {
  const auto server = serve();
  std::stop_source stop;
  {
    std::vector<std::jthread> callers;
    for (int i = 0; i < 4; ++i) callers.emplace_back([&] { std::ignore = client()->fetch("waits", stop.get_token()); });
    mount_.waitForStalls(4);
    EXPECT_TRUE(client()->status());
    stop.request_stop();
  }
  mount_.waitForStops(4);
}

TEST_F(Control, endsWithEverythingStopped) {
  auto server = serve();
  std::optional<Result<void>> fetched;
  std::optional<Result<std::vector<MountStatus::KeptEdit>>> handedOver;
  {
    const std::jthread fetching([&] { fetched = client()->fetch("waits", {}); });
    const std::jthread handing([&] { handedOver = client()->handOverEdits({}); });
    mount_.waitForStalls(2);
    server.reset();
  }
  EXPECT_FALSE(*fetched);
  EXPECT_FALSE(std::filesystem::exists(socket()));
  EXPECT_FALSE(client());
  // What is in the folder is gone, too.
  EXPECT_TRUE(std::filesystem::is_empty(runtime_ / "tovrin"));
}

TEST_F(Control, tellsWhatIsNotHandedOver) {
  mount_.setStatus(richStatus());
  const auto server = serve();
  const auto left = client()->handOverEdits({});
  ASSERT_TRUE(left);
  ASSERT_EQ(left->size(), 2u);
  EXPECT_EQ(left->at(0).identifier, "entry:W1:Yw");
  EXPECT_EQ(left->at(0).file, "/cache/\xfe");
}

TEST_F(Control, saysWhenTheHostDiesMeanwhile) {
  OtherProcess host([&](const auto& ready) {
    const auto server = serve();
    ready();
    mount_.waitForStalls(1);
    _exit(1);
  });
  ASSERT_TRUE(host.isReady());
  const auto fetched = client()->fetch("waits", {});
  ASSERT_FALSE(fetched);
  EXPECT_EQ(fetched.error().localizedDescription(), "The mount ended before it answered.");
}

TEST_F(Control, saysWhenTheHostHasDied) {
  auto server = serve();
  const auto found = client();
  server.reset();
  EXPECT_EQ(found->status().error().localizedDescription(), "The mount is not running any more.");
}

}  // namespace
}  // namespace tovrin::host
