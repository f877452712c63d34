#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "local/cached_items.h"
#include "local/journal_text.h"
#include "local/lock_process.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

class CachedItemsReplace : public testing::Test {
 protected:
  std::filesystem::path lockFile() const { return platform_.warpDirectory() / "warp-cached-items.lock"; }

  LockProcess other_;
  TestPlatform platform_;
  CachedItemsJournal journal_{platform_.platform()};
};

TEST_F(CachedItemsReplace, appendsARecordOfItsOwnWhereThereWasNone) {
  ASSERT_TRUE(journal_.save({someRecord("/a")}).has_value());
  bool sawPrevious = true;
  const auto replaced = journal_.replaceRecord("w1", "/b", [&](const Record* previous) {
    sawPrevious = previous != nullptr;
    return someRecord("/b");
  });
  ASSERT_TRUE(replaced.has_value());
  EXPECT_FALSE(sawPrevious);
  EXPECT_EQ(journal_.load(), (std::vector{someRecord("/a"), someRecord("/b")}));
}

TEST_F(CachedItemsReplace, movesTheChangedRecordToTheEnd) {
  ASSERT_TRUE(journal_.save({someRecord("/a"), someRecord("/b"), someRecord("/b", "w2")}).has_value());
  Record changed = someRecord("/a");
  changed.size = 7;
  std::optional<Record> sawPrevious;
  ASSERT_TRUE(journal_
                  .replaceRecord("w1", "/a",
                                 [&](const Record* previous) {
                                   if (previous != nullptr) sawPrevious = *previous;
                                   return changed;
                                 })
                  .has_value());
  EXPECT_EQ(sawPrevious, someRecord("/a"));
  EXPECT_EQ(journal_.load(), (std::vector{someRecord("/b"), someRecord("/b", "w2"), changed}));
}

TEST_F(CachedItemsReplace, replacesTheRecordUnderAnotherSpellingOfThePath) {
  ASSERT_TRUE(journal_.save({someRecord("/cafe\u0301")}).has_value());
  ASSERT_TRUE(
      journal_.replaceRecord("w1", "/caf\u00e9", [](const Record*) { return someRecord("/caf\u00e9"); }).has_value());
  EXPECT_EQ(journal_.load(), std::vector{someRecord("/caf\u00e9")});
}

TEST_F(CachedItemsReplace, dropsWhatIsTooOldWithTheSameSave) {
  Record old = someRecord("/old");
  old.cachedAt = {1600000000};
  ASSERT_TRUE(journal_.save({old}).has_value());
  bool sawPrevious = true;
  ASSERT_TRUE(journal_
                  .replaceRecord("w1", "/old",
                                 [&](const Record* previous) {
                                   sawPrevious = previous != nullptr;
                                   return someRecord("/old");
                                 })
                  .has_value());
  EXPECT_FALSE(sawPrevious) << "a record that a load leaves out is no record";
  EXPECT_EQ(journal_.load(), std::vector{someRecord("/old")});
}

TEST_F(CachedItemsReplace, leavesACorruptJournalAsItIs) {
  const std::string corrupt = journalJSON({{.relativePath = "bad"}});
  writeFile(journalFile(platform_), corrupt);
  bool wasCalled = false;
  const auto replaced = journal_.replaceRecord("w1", "/x", [&](const Record*) {
    wasCalled = true;
    return someRecord("/x");
  });
  ASSERT_FALSE(replaced.has_value());
  EXPECT_TRUE(replaced.error().is(CocoaErrorCode::fileReadCorruptFile));
  EXPECT_FALSE(wasCalled);
  EXPECT_EQ(readFile(journalFile(platform_)), corrupt);
}

TEST_F(CachedItemsReplace, givesUpAfterFiveSecondsWhileAnotherProcessHoldsTheLock) {
  ASSERT_TRUE(other_.lock(lockFile()));
  const double before = platform_.clock.systemUptime();
  const auto replaced = journal_.replaceRecord("w1", "/x", [](const Record*) { return someRecord("/x"); });
  ASSERT_FALSE(replaced.has_value());
  EXPECT_EQ(replaced.error().domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(replaced.error().code(), 60);
  EXPECT_EQ(replaced.error().localizedDescription(),
            "Another Tovrin file change is still finishing. Please try again.");
  EXPECT_NEAR(platform_.clock.systemUptime() - before, 5.0, 0.051);
  EXPECT_FALSE(std::filesystem::exists(journalFile(platform_)));
}

TEST_F(CachedItemsReplace, holdsTheLockFromLoadToSaveAndNoLonger) {
  bool wasLocked = false;
  ASSERT_TRUE(journal_
                  .replaceRecord("w1", "/x",
                                 [&](const Record*) {
                                   wasLocked = other_.isLockedElsewhere(lockFile());
                                   return someRecord("/x");
                                 })
                  .has_value());
  EXPECT_TRUE(wasLocked);
  EXPECT_FALSE(other_.isLockedElsewhere(lockFile()));
}

TEST_F(CachedItemsReplace, releasesTheLockWhenTheLoadFails) {
  writeFile(journalFile(platform_), "{");
  EXPECT_FALSE(journal_.replaceRecord("w1", "/x", [](const Record*) { return someRecord("/x"); }).has_value());
  EXPECT_TRUE(other_.lock(lockFile()));
}

TEST_F(CachedItemsReplace, releasesTheLockWhenTheSaveFails) {
  EXPECT_FALSE(journal_.replaceRecord("w1", "/x", [](const Record*) { return someRecord("bad"); }).has_value());
  EXPECT_TRUE(other_.lock(lockFile()));
}

TEST_F(CachedItemsReplace, releasesTheLockWhenTheChangeThrows) {
  const auto throwing = [](const Record*) -> Record { throw std::runtime_error("out of ideas"); };
  EXPECT_THROW(std::ignore = journal_.replaceRecord("w1", "/x", throwing), std::runtime_error);
  EXPECT_TRUE(other_.lock(lockFile()));
}

TEST_F(CachedItemsReplace, losesNoChangeOfAnotherThread) {
  constexpr int kThreads = 4;
  constexpr int kChanges = 10;
  std::atomic<int> failures = 0;
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
        for (int change = 0; change < kChanges; ++change) {
          const std::string path = "/" + std::to_string(thread) + "/" + std::to_string(change);
          if (!journal_.replaceRecord("w1", path, [&](const Record*) { return someRecord(path); })) ++failures;
          std::ignore = journal_.hasPendingWriteback("w1", path);
        }
      });
    }
  }
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(journal_.load()->size(), static_cast<std::size_t>(kThreads * kChanges));
}

}  // namespace
}  // namespace tovrin
