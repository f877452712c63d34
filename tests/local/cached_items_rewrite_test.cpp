#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "local/cached_item_records.h"
#include "local/cached_items.h"
#include "local/journal_text.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;
using Records = std::vector<Record>;

constexpr std::size_t kMostRecords = 20000;

/// One record after the other in a journal that is not written from scratch each time.
class CachedItemsRewrite : public testing::Test {
 protected:
  bool put(CachedItemsJournal& journal, const Record& record) {
    return journal.replaceRecord(record.warpID, record.relativePath, [&](const Record*) { return record; }).has_value();
  }
  bool put(const Record& record) { return put(journal_, record); }

  /// The journal as it is written when nothing is known of it.
  void expectTextOf(const Records& records) {
    const std::string text = readFile(journalFile(platform_));
    const std::string whole = encodeCachedItems({.updatedAt = platform_.clock.now(), .records = records});
    EXPECT_TRUE(text == whole) << (text.size() < 5000 ? text : "too long to show");
    EXPECT_EQ(CachedItemsJournal(platform_.platform()).load(), records);
  }

  void replaceByAnother(std::string text) {
    struct stat old{};
    ASSERT_EQ(stat(journalFile(platform_).c_str(), &old), 0);
    const std::filesystem::path other = platform_.scratch / "other";
    text.resize(std::max(text.size(), static_cast<std::size_t>(old.st_size)), ' ');
    writeFile(other, text);
    const timespec times[] = {old.st_atim, old.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, other.c_str(), times, 0), 0);
    std::filesystem::rename(other, journalFile(platform_));
  }

  TestPlatform platform_;
  CachedItemsJournal journal_{platform_.platform()};
};

TEST_F(CachedItemsRewrite, writesWhatAWholeSaveWrites) {
  for (const char* path : {"/a", "/b", "/c\u00e9\"\n", "/d"}) ASSERT_TRUE(put(someRecord(path)));
  Record changed = someRecord("/b");
  changed.size = 123456;
  ASSERT_TRUE(put(changed));
  ASSERT_TRUE(put(someRecord("/a")));
  ASSERT_TRUE(put(someRecord("/a")));
  expectTextOf({someRecord("/c\u00e9\"\n"), someRecord("/d"), changed, someRecord("/a")});
}

TEST_F(CachedItemsRewrite, cutsDatesToWholeSeconds) {
  ASSERT_TRUE(put(someRecord("/a")));
  Record record = someRecord("/b");
  record.cachedAt = {1700000000.75};
  ASSERT_TRUE(put(record));
  expectTextOf({someRecord("/a"), someRecord("/b")});
}

TEST_F(CachedItemsRewrite, pushesOutTheOldestOrdinaryRecordOfAFullJournal) {
  Records records{pendingRecord(platform_, "/edited")};
  for (std::size_t i = 1; i < kMostRecords; ++i) records.push_back(someRecord("/" + std::to_string(i)));
  ASSERT_TRUE(journal_.save(records).has_value());
  ASSERT_TRUE(put(someRecord("/new")));
  records.erase(records.begin() + 1);
  records.push_back(someRecord("/new"));
  expectTextOf(records);
  ASSERT_TRUE(put(someRecord("/7")));
  records.erase(records.begin() + 6);
  records.push_back(someRecord("/7"));
  expectTextOf(records);
}

TEST_F(CachedItemsRewrite, keepsEditsInFront) {
  ASSERT_TRUE(put(someRecord("/a")));
  ASSERT_TRUE(put(pendingRecord(platform_, "/b")));
  ASSERT_TRUE(put(someRecord("/c")));
  expectTextOf({pendingRecord(platform_, "/b"), someRecord("/a"), someRecord("/c")});
  EXPECT_TRUE(journal_.hasPendingWriteback("w1", "/b"));
  ASSERT_TRUE(put(someRecord("/b")));
  ASSERT_TRUE(put(someRecord("/d")));
  expectTextOf({someRecord("/a"), someRecord("/c"), someRecord("/b"), someRecord("/d")});
  EXPECT_FALSE(journal_.hasPendingWriteback("w1", "/b"));
}

TEST_F(CachedItemsRewrite, dropsRecordsThatHaveBecomeTooOld) {
  ASSERT_TRUE(put(someRecord("/a")));
  ASSERT_TRUE(put(someRecord("/b")));
  platform_.clock.advance(31.0 * 24 * 60 * 60);
  Record young = someRecord("/c");
  young.cachedAt = platform_.clock.now();
  ASSERT_TRUE(put(young));
  ASSERT_TRUE(put(young));
  EXPECT_EQ(journal_.load(), Records{young});
  EXPECT_EQ(readFile(journalFile(platform_)).find("/a"), std::string::npos);
}

TEST_F(CachedItemsRewrite, seesAnotherJournalOfTheSameSizeAndTime) {
  ASSERT_TRUE(put(someRecord("/a")));
  ASSERT_TRUE(put(someRecord("/b")));
  replaceByAnother(journalJSON({{.relativePath = "/theirs"}}));
  bool sawPrevious = true;
  ASSERT_TRUE(journal_.replaceRecord("w1", "/a", [&](const Record* previous) {
    sawPrevious = previous != nullptr;
    return someRecord("/a");
  }));
  EXPECT_FALSE(sawPrevious);
  ASSERT_TRUE(put(someRecord("/c")));
  const auto loaded = journal_.load();
  ASSERT_TRUE(loaded);
  ASSERT_EQ(loaded->size(), 3u);
  EXPECT_EQ(loaded->front().relativePath, "/theirs");
  EXPECT_EQ(loaded->back().relativePath, "/c");
}

TEST_F(CachedItemsRewrite, doesNotCoverUpACorruptJournal) {
  ASSERT_TRUE(put(someRecord("/a")));
  replaceByAnother(journalJSON({{.relativePath = "bad"}}));
  const std::string corrupt = readFile(journalFile(platform_));
  EXPECT_FALSE(put(someRecord("/b")));
  EXPECT_EQ(readFile(journalFile(platform_)), corrupt);
}

TEST_F(CachedItemsRewrite, refusesARecordThatWouldNotReadBack) {
  ASSERT_TRUE(put(someRecord("/a")));
  ASSERT_TRUE(put(someRecord("/b")));
  Record negative = someRecord("/c");
  negative.size = -1;
  Record never = someRecord("/c");
  never.cachedAt = {HUGE_VAL};
  for (const Record& record : {negative, never}) EXPECT_FALSE(put(record));
  ASSERT_TRUE(put(someRecord("/d")));
  expectTextOf({someRecord("/a"), someRecord("/b"), someRecord("/d")});
}

TEST_F(CachedItemsRewrite, takesARecordOfAnotherItemThanItWasAskedFor) {
  ASSERT_TRUE(put(someRecord("/a")));
  ASSERT_TRUE(put(someRecord("/b")));
  EXPECT_FALSE(journal_.replaceRecord("w1", "/a", [](const Record*) { return someRecord("/b"); }));
  ASSERT_TRUE(journal_.replaceRecord("w1", "/a", [](const Record*) { return someRecord("/c"); }));
  expectTextOf({someRecord("/b"), someRecord("/c")});
}

TEST_F(CachedItemsRewrite, isAsBeforeAfterAWriteThatFailed) {
  ASSERT_TRUE(put(someRecord("/a")));
  ASSERT_TRUE(put(someRecord("/b")));
  signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 100, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const bool wasPut = put(someRecord("/c"));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(wasPut);
  expectTextOf({someRecord("/a"), someRecord("/b")});
  ASSERT_TRUE(put(someRecord("/d")));
  ASSERT_TRUE(put(someRecord("/e")));
  expectTextOf({someRecord("/a"), someRecord("/b"), someRecord("/d"), someRecord("/e")});
}

TEST_F(CachedItemsRewrite, copiesNoRecordsForWhoeverOnlyLooksForEdits) {
  constexpr int kChanges = 500;
  ASSERT_TRUE(put(someRecord("/a")));
  const CachedItemRecords* const records = journal_.records()->get();
  const std::jthread reader([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) journal_.hasPendingWriteback("w1", "/a");
  });
  for (int change = 0; change < kChanges; ++change) {
    ASSERT_TRUE(put(someRecord("/" + std::to_string(change % 10))));
    ASSERT_EQ(journal_.records()->get(), records) << change;
  }
}

TEST_F(CachedItemsRewrite, losesNoRecordOfAnotherProcess) {
  constexpr int kChanges = 25;
  // The test's clock moves with each look at a lock that is taken: whoever is refused asks again.
  const auto putAll = [&](const std::string& folder) {
    CachedItemsJournal journal(platform_.platform());
    for (int i = 0; i < kChanges; ++i) {
      while (!put(journal, someRecord(folder + std::to_string(i)))) {
      }
    }
  };
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    putAll("/child/");
    _exit(0);
  }
  putAll("/parent/");
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  const auto loaded = journal_.load();
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->size(), 2u * kChanges);
}

TEST_F(CachedItemsRewrite, isWholeWhenAProcessIsKilledInTheMiddle) {
  ASSERT_TRUE(put(someRecord("/a")));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    CachedItemsJournal journal(platform_.platform());
    for (int i = 0;; ++i) put(journal, someRecord("/child/" + std::to_string(i)));
  }
  while (readFile(journalFile(platform_)).find("/child/20\"") == std::string::npos) {
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  ASSERT_TRUE(journal_.load());
  ASSERT_TRUE(put(someRecord("/b")));
  EXPECT_EQ(journal_.load()->back(), someRecord("/b"));
}

}  // namespace
}  // namespace tovrin
