#include "foundation/progress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

namespace tovrin {
namespace {

TEST(NSProgress, startsAtZeroOfItsTotal) {
  const auto progress = NSProgress::withTotalUnitCount(100);
  EXPECT_EQ(progress->totalUnitCount(), 100);
  EXPECT_EQ(progress->completedUnitCount(), 0);
  EXPECT_FALSE(progress->isCancelled());
  progress->setCompletedUnitCount(40);
  EXPECT_EQ(progress->completedUnitCount(), 40);
}

TEST(NSProgress, callsItsHandlerOnceHoweverOftenItIsCancelled) {
  const auto progress = NSProgress::withTotalUnitCount(1);
  int calls = 0;
  progress->setCancellationHandler([&] { ++calls; });
  EXPECT_EQ(calls, 0);
  progress->cancel();
  progress->cancel();
  EXPECT_EQ(calls, 1);
  EXPECT_TRUE(progress->isCancelled());
}

TEST(NSProgress, callsAHandlerThatComesAfterTheCancellation) {
  const auto progress = NSProgress::withTotalUnitCount(1);
  progress->cancel();
  int calls = 0;
  progress->setCancellationHandler([&] { ++calls; });
  EXPECT_EQ(calls, 1);
}

TEST(NSProgress, callsOnlyTheHandlerThatReplacedTheOthers) {
  const auto progress = NSProgress::withTotalUnitCount(1);
  int first = 0;
  int second = 0;
  progress->setCancellationHandler([&] { ++first; });
  progress->setCancellationHandler([&] { ++second; });
  progress->cancel();
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

TEST(NSProgress, takesTheHandlerAway) {
  const auto progress = NSProgress::withTotalUnitCount(1);
  int calls = 0;
  progress->setCancellationHandler([&] { ++calls; });
  progress->setCancellationHandler(nullptr);
  progress->cancel();
  progress->setCancellationHandler(nullptr);
  EXPECT_EQ(calls, 0);
}

TEST(NSProgress, isUsableFromItsOwnHandler) {
  const auto progress = NSProgress::withTotalUnitCount(1);
  bool sawCancellation = false;
  bool secondHandlerCalled = false;
  progress->setCancellationHandler([&] {
    sawCancellation = progress->isCancelled();
    progress->cancel();
    progress->setCancellationHandler([&] { secondHandlerCalled = true; });
  });
  progress->cancel();
  EXPECT_TRUE(sawCancellation);
  EXPECT_TRUE(secondHandlerCalled);
}

TEST(NSProgress, letsGoOfWhatItsHandlerHeld) {
  const auto held = std::make_shared<int>(1);
  const auto progress = NSProgress::withTotalUnitCount(1);
  progress->setCancellationHandler([held] {});
  EXPECT_EQ(held.use_count(), 2);
  progress->cancel();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(NSProgress, reportsItsCountAtOnceAndAtEveryChange) {
  const auto progress = NSProgress::withTotalUnitCount(100);
  progress->setCompletedUnitCount(5);
  std::vector<std::int64_t> counts;
  progress->setCountHandler([&](std::int64_t count) { counts.push_back(count); });
  progress->setCompletedUnitCount(99);
  progress->setCompletedUnitCount(100);
  EXPECT_EQ(counts, (std::vector<std::int64_t>{5, 99, 100}));
  progress->setCountHandler(nullptr);
  progress->setCompletedUnitCount(0);
  EXPECT_EQ(counts.size(), 3U);
}

TEST(NSProgress, reportsNoOldCountAfterANewOne) {
  for (int round = 0; round < 200; ++round) {
    const auto progress = NSProgress::withTotalUnitCount(100);
    std::vector<std::int64_t> counts;
    std::jthread task([&] {
      for (int count = 1; count <= 100; ++count) progress->setCompletedUnitCount(count);
    });
    progress->setCountHandler([&](std::int64_t count) { counts.push_back(count); });
    task.join();
    ASSERT_TRUE(std::ranges::is_sorted(counts));
    ASSERT_EQ(counts.back(), 100);
  }
}

TEST(NSProgress, mayBeCancelledByItsCountHandler) {
  const auto progress = NSProgress::withTotalUnitCount(100);
  progress->setCountHandler([&](std::int64_t count) {
    if (count == 50) progress->cancel();
  });
  progress->setCompletedUnitCount(50);
  EXPECT_TRUE(progress->isCancelled());
}

TEST(NSProgress, losesNoCancellationBetweenThreads) {
  for (int round = 0; round < 200; ++round) {
    const auto progress = NSProgress::withTotalUnitCount(1);
    std::atomic<int> calls{0};
    {
      std::vector<std::jthread> threads;
      threads.emplace_back([&] { progress->setCancellationHandler([&] { ++calls; }); });
      threads.emplace_back([&] { progress->cancel(); });
      threads.emplace_back([&] { progress->cancel(); });
    }
    ASSERT_EQ(calls.load(), 1);
  }
}

}  // namespace
}  // namespace tovrin
