#include <gtest/gtest.h>
#include <sys/resource.h>

#include <condition_variable>
#include <csignal>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "local/cached_items.h"
#include "local/journal_text.h"
#include "local/lock_process.h"
#include "platform/file_system.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

constexpr std::size_t kThreads = 8;

/// Whoever finds the lock taken sleeps until all threads have come for it; then the lock is let go.
class GatheringClock final : public Clock {
 public:
  explicit GatheringClock(std::function<void()> letGo) : letGo_(std::move(letGo)) {}

  Date now() const override { return {1700000000.0}; }
  double systemUptime() const override {
    const std::lock_guard hold(lock_);
    callers_.insert(std::this_thread::get_id());
    haveCome_.notify_all();
    return 0;
  }
  bool sleep(std::chrono::nanoseconds, std::stop_token) override {
    std::unique_lock hold(lock_);
    haveCome_.wait(hold, [this] { return callers_.size() == kThreads; });
    letGo_();
    return true;
  }

 private:
  const std::function<void()> letGo_;
  mutable std::mutex lock_;
  mutable std::condition_variable haveCome_;
  mutable std::set<std::thread::id> callers_;
};

/// Threads that come for the journal while another process keeps them all waiting.
class CachedItemsSharedSave : public testing::Test {
 protected:
  using Outcomes = std::vector<std::future<Result<void>>>;

  std::filesystem::path lockFile() const { return platform_.warpDirectory() / "warp-cached-items.lock"; }

  static std::string pathOf(std::size_t thread) { return "/" + std::to_string(thread); }

  /// What became of the replacements, one by each thread, of the records under `pathOf` the thread.
  Outcomes replaceAtOnce(CachedItemsJournal& journal, const std::vector<CachedItemReplacement>& replacements) {
    EXPECT_TRUE(other_.lock(lockFile()));
    Outcomes outcomes;
    std::vector<std::jthread> threads;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      std::packaged_task<Result<void>()> task(
          [&, thread] { return journal.replaceRecord("w1", pathOf(thread), replacements[thread]); });
      outcomes.push_back(task.get_future());
      threads.emplace_back(std::move(task));
    }
    return outcomes;
  }

  std::vector<CachedItemReplacement> goodReplacements() const {
    std::vector<CachedItemReplacement> replacements;
    for (std::size_t thread = 0; thread < kThreads; ++thread)
      replacements.emplace_back([thread](const Record*) { return someRecord(pathOf(thread)); });
    return replacements;
  }

  std::set<std::string> paths() {
    std::set<std::string> paths;
    const auto loaded = CachedItemsJournal(platform_.platform()).load();
    for (const Record& record : loaded.value()) paths.insert(record.relativePath);
    return paths;
  }

  static std::set<std::string> pathsOfAllBut(std::size_t left) {
    std::set<std::string> paths;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      if (thread != left) paths.insert(pathOf(thread));
    }
    return paths;
  }

  LockProcess other_;
  TestPlatform platform_;
  GatheringClock clock_{[this] { other_.unlockAll(); }};
  CachedItemsJournal journal_{Platform{clock_, platform_.directories, *platform_.urlSession, platform_.notifications}};
};

TEST_F(CachedItemsSharedSave, writesTheJournalOnceForAllThatWait) {
  ASSERT_TRUE(journal_.save({someRecord("/before")}).has_value());
  std::mutex lock;
  std::set<std::uint64_t> seen;
  std::vector<CachedItemReplacement> replacements;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    replacements.emplace_back([&, thread](const Record*) {
      const std::lock_guard hold(lock);
      seen.insert(fileAttributes(journalFile(platform_))->identity.inode);
      return someRecord(pathOf(thread));
    });
  }
  for (auto& outcome : replaceAtOnce(journal_, replacements)) EXPECT_TRUE(outcome.get());
  EXPECT_EQ(seen.size(), 1u) << "files that were there while records were asked for";
  std::set<std::string> expected = pathsOfAllBut(kThreads);
  expected.insert("/before");
  EXPECT_EQ(paths(), expected);
}

TEST_F(CachedItemsSharedSave, failsForTheRecordThatCannotBeJournalledAlone) {
  constexpr std::size_t kBad = 3;
  auto replacements = goodReplacements();
  replacements[kBad] = [](const Record*) { return someRecord("no absolute path"); };
  auto outcomes = replaceAtOnce(journal_, replacements);
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    const Result<void> outcome = outcomes[thread].get();
    EXPECT_EQ(outcome.has_value(), thread != kBad) << thread;
    EXPECT_TRUE(outcome || outcome.error().is(CocoaErrorCode::fileWriteUnknown)) << thread;
  }
  EXPECT_EQ(paths(), pathsOfAllBut(kBad));
}

TEST_F(CachedItemsSharedSave, throwsAtTheCallerWhoseReplacementThrowsAlone) {
  constexpr std::size_t kBad = 5;
  auto replacements = goodReplacements();
  replacements[kBad] = [](const Record*) -> Record { throw std::runtime_error("out of ideas"); };
  auto outcomes = replaceAtOnce(journal_, replacements);
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    if (thread == kBad) {
      EXPECT_THROW(std::ignore = outcomes[thread].get(), std::runtime_error);
    } else {
      EXPECT_TRUE(outcomes[thread].get()) << thread;
    }
  }
  EXPECT_EQ(paths(), pathsOfAllBut(kBad));
}

TEST_F(CachedItemsSharedSave, leavesACorruptJournalToEverybody) {
  const std::string corrupt = journalJSON({{.relativePath = "bad"}});
  writeFile(journalFile(platform_), corrupt);
  for (auto& waiting : replaceAtOnce(journal_, goodReplacements())) {
    const Result<void> outcome = waiting.get();
    ASSERT_FALSE(outcome);
    EXPECT_TRUE(outcome.error().is(CocoaErrorCode::fileReadCorruptFile));
  }
  EXPECT_EQ(readFile(journalFile(platform_)), corrupt);
}

TEST_F(CachedItemsSharedSave, failsForAllWhenNothingCanBeWritten) {
  ASSERT_TRUE(journal_.save({someRecord("/before")}).has_value());
  signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 100, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  auto outcomes = replaceAtOnce(journal_, goodReplacements());
  setrlimit(RLIMIT_FSIZE, &before);
  for (auto& outcome : outcomes) EXPECT_FALSE(outcome.get());
  EXPECT_EQ(paths(), std::set<std::string>{"/before"});
}

TEST_F(CachedItemsSharedSave, putsAnEditInFrontOfWhatWasOpenedAtTheSameTime) {
  constexpr std::size_t kEdited = 6;
  auto replacements = goodReplacements();
  replacements[kEdited] = [this](const Record*) { return pendingRecord(platform_, pathOf(kEdited)); };
  for (auto& outcome : replaceAtOnce(journal_, replacements)) EXPECT_TRUE(outcome.get());
  EXPECT_EQ(paths(), pathsOfAllBut(kThreads));
  EXPECT_EQ(journal_.load()->front().relativePath, pathOf(kEdited));
  EXPECT_TRUE(journal_.hasPendingWriteback("w1", pathOf(kEdited)));
}

TEST_F(CachedItemsSharedSave, makesNoChangeOfWhoGaveUpWaiting) {
  CachedItemsJournal journal(platform_.platform());
  auto outcomes = replaceAtOnce(journal, goodReplacements());
  for (auto& waiting : outcomes) {
    const Result<void> outcome = waiting.get();
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().code(), 60);
  }
  other_.unlockAll();
  ASSERT_TRUE(journal.replaceRecord("w1", "/x", [](const Record*) { return someRecord("/x"); }));
  EXPECT_EQ(paths(), std::set<std::string>{"/x"});
}

}  // namespace
}  // namespace tovrin
