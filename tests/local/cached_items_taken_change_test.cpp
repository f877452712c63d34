#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "local/cached_items.h"
#include "local/journal_text.h"
#include "local/lock_process.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

/// Whoever looks at it first, as everybody does who begins to wait for a lock, is kept while something else happens.
class DetainingClock final : public Clock {
 public:
  explicit DetainingClock(std::function<void()> meanwhile) : meanwhile_(std::move(meanwhile)) {}

  Date now() const override { return {1700000000.0}; }
  double systemUptime() const override {
    if (const auto meanwhile = std::exchange(meanwhile_, nullptr)) meanwhile();
    return uptime_;
  }
  bool sleep(std::chrono::nanoseconds duration, std::stop_token) override {
    uptime_ += std::chrono::duration<double>(duration).count();
    return true;
  }

 private:
  mutable std::function<void()> meanwhile_;
  double uptime_ = 0;
};

/// A caller whose change is made by another thread, and who then waits in vain for a lock that another process has.
class CachedItemsTakenChange : public testing::Test {
 protected:
  void takeChangeAndLeaveTheLockTaken() {
    std::jthread([this] { other_ = replace("/other", "/other"); }).join();
    EXPECT_TRUE(process_.lock(platform_.warpDirectory() / "warp-cached-items.lock"));
  }

  /// Puts a record under `path`; one that names `recordPath`, which must be the same, cannot be journalled.
  Result<void> replace(const std::string& path, const std::string& recordPath) {
    return journal_.replaceRecord("w1", path, [&](const Record*) { return someRecord(recordPath); });
  }

  std::set<std::string> paths() {
    std::set<std::string> paths;
    const auto loaded = journal_.load();
    for (const Record& record : loaded.value()) paths.insert(record.relativePath);
    return paths;
  }

  LockProcess process_;
  TestPlatform platform_;
  DetainingClock clock_{[this] { takeChangeAndLeaveTheLockTaken(); }};
  CachedItemsJournal journal_{Platform{clock_, platform_.directories, *platform_.urlSession, platform_.notifications}};
  Result<void> other_;
};

TEST_F(CachedItemsTakenChange, isMadeForWhoDoesNotGetTheLockInTime) {
  const Result<void> outcome = replace("/late", "/late");
  EXPECT_TRUE(outcome) << outcome.error().localizedDescription();
  EXPECT_TRUE(other_);
  EXPECT_GE(clock_.systemUptime(), 5) << "he waited for the lock";
  EXPECT_EQ(paths(), (std::set<std::string>{"/late", "/other"}));
}

TEST_F(CachedItemsTakenChange, failsByItsOwnErrorForWhoDoesNotGetTheLockInTime) {
  const Result<void> outcome = replace("/late", "no absolute path");
  ASSERT_FALSE(outcome);
  EXPECT_TRUE(outcome.error().is(CocoaErrorCode::fileWriteUnknown)) << outcome.error().localizedDescription();
  EXPECT_TRUE(other_);
  EXPECT_GE(clock_.systemUptime(), 5) << "he waited for the lock";
  EXPECT_EQ(paths(), std::set<std::string>{"/other"});
}

}  // namespace
}  // namespace tovrin
