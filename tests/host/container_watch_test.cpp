#include "host/container_watch.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <vector>

#include "support/test_platform.h"
#include "support/warp_fixture.h"

namespace tovrin::host {
namespace {

/// The calls of a watch, in their order.
class Calls {
 public:
  void add(const ContainerWatch::Change& change) {
    const std::scoped_lock hold(lock_);
    calls_.push_back(change);
    added_.notify_all();
  }
  ContainerWatch::Change wait(std::size_t number) {
    std::unique_lock hold(lock_);
    if (!added_.wait_for(hold, std::chrono::seconds(20), [&] { return calls_.size() >= number; })) return {};
    return calls_[number - 1];
  }

 private:
  std::mutex lock_;
  std::condition_variable added_;
  std::vector<ContainerWatch::Change> calls_;
};

TEST(ContainerWatch, looksTwiceAtTheStartForWhatChangedBeforeItWatched) {
  const TestPlatform test;
  Calls calls;
  std::filesystem::create_directories(test.warpDirectory() / "ManifestMirror");
  const ContainerWatch watch(test.warpDirectory(), [&](const auto& change) { calls.add(change); });
  for (const std::size_t call : {1U, 2U}) {
    EXPECT_TRUE(calls.wait(call).items) << call;
    EXPECT_TRUE(calls.wait(call).journal) << call;
  }
}

TEST(ContainerWatch, looksTwiceAfterAChange) {
  const TestPlatform test;
  Calls calls;
  std::filesystem::create_directories(test.warpDirectory() / "ManifestMirror");
  const ContainerWatch watch(test.warpDirectory(), [&](const auto& change) { calls.add(change); });
  calls.wait(2);
  installVisibilityIndex(test, {"W1"});
  for (const std::size_t call : {3U, 4U}) {
    EXPECT_TRUE(calls.wait(call).items) << call;
    EXPECT_FALSE(calls.wait(call).journal) << call;
    EXPECT_FALSE(calls.wait(call).isGuess) << call;
  }
}

TEST(ContainerWatch, guessesWhileTheContainerIsMissingAndKnowsWhenItIsThere) {
  const TestPlatform test;
  Calls calls;
  const std::filesystem::path warp = test.scratch / "later" / "Warp";
  const ContainerWatch watch(warp, [&](const auto& change) { calls.add(change); });
  EXPECT_TRUE(calls.wait(3).isGuess);
  std::filesystem::create_directories(warp / "ManifestMirror");
  std::size_t call = 3;
  while (calls.wait(call).isGuess) ++call;
  EXPECT_TRUE(calls.wait(call).items);
}

}  // namespace
}  // namespace tovrin::host
