#include "local/cached_items_draft.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "local/cached_items.h"
#include "local/journal_text.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;
using Records = std::vector<Record>;

class CachedItemsDrafts : public testing::Test {
 protected:
  /// Expects that the changes make together what they make one after the other, and are shown the same.
  void expectSameAsOneByOne(const Records& before, const Records& changes) {
    CachedItemsJournal journal(platform_.platform());
    ASSERT_TRUE(journal.save(before));
    const auto base = journal.records();
    ASSERT_TRUE(base);
    CachedItemsDraft draft(**base, platform_.clock.now());
    std::vector<std::optional<Record>> shownTogether;
    std::vector<std::optional<Record>> shownAlone;
    for (const Record& record : changes) {
      ASSERT_TRUE(draft.make({record.warpID, record.relativePath, showing(record, shownTogether), {}}));
      ASSERT_TRUE(journal.replaceRecord(record.warpID, record.relativePath, showing(record, shownAlone)));
    }
    const auto oneByOne = journal.load();
    EXPECT_TRUE(shownTogether == shownAlone);
    EXPECT_TRUE(!draft.isInFileOrder() || draft.records() == oneByOne);
    ASSERT_TRUE(journal.save(draft.records()));
    EXPECT_TRUE(journal.load() == oneByOne);
  }

  CachedItemReplacement showing(const Record& record, std::vector<std::optional<Record>>& shown) {
    return [&](const Record* previous) {
      shown.push_back(previous != nullptr ? std::optional(*previous) : std::nullopt);
      return record;
    };
  }

  Records full(std::size_t pending) const {
    Records records;
    for (std::size_t i = 0; i < kMostCachedItemRecords; ++i)
      records.push_back(i < pending ? pendingRecord(platform_, "/" + std::to_string(i))
                                    : someRecord("/" + std::to_string(i)));
    return records;
  }

  TestPlatform platform_;
};

TEST_F(CachedItemsDrafts, makeWhatTheirChangesMakeOneByOne) {
  Record changed = someRecord("/b");
  changed.size = 7;
  changed.cachedAt = {1700000000.5};
  expectSameAsOneByOne({}, {someRecord("/a"), someRecord("/b")});
  expectSameAsOneByOne({someRecord("/a"), someRecord("/b"), someRecord("/c")},
                       {someRecord("/d"), changed, someRecord("/a"), someRecord("/b"), changed, someRecord("/d")});
}

TEST_F(CachedItemsDrafts, makeWhatTheirChangesMakeOneByOneWithEdits) {
  expectSameAsOneByOne({pendingRecord(platform_, "/a"), someRecord("/b")},
                       {someRecord("/c"), pendingRecord(platform_, "/b"), someRecord("/a"),
                        pendingRecord(platform_, "/d"), someRecord("/d")});
}

TEST_F(CachedItemsDrafts, makeWhatTheirChangesMakeOneByOneInAFullJournal) {
  expectSameAsOneByOne(full(1), {someRecord("/new"), someRecord("/1"), someRecord("/3"), someRecord("/newer"),
                                 someRecord("/2"), someRecord("/9999")});
  expectSameAsOneByOne(full(2), {someRecord("/new"), pendingRecord(platform_, "/edited"), someRecord("/0")});
}

TEST_F(CachedItemsDrafts, makeWhatTheirChangesMakeOneByOneInAJournalFullOfEdits) {
  expectSameAsOneByOne(full(kMostCachedItemRecords - 1),
                       {someRecord("/a"), someRecord("/b"), pendingRecord(platform_, "/c")});
  expectSameAsOneByOne(full(kMostCachedItemRecords), {someRecord("/a"), someRecord("/b"), someRecord("/0")});
}

TEST_F(CachedItemsDrafts, makeWhatTheirChangesMakeOneByOneOfRecordsThatAreTooOld) {
  Record old = someRecord("/old");
  Record older = someRecord("/older");
  old.cachedAt = older.cachedAt = {1600000000};
  expectSameAsOneByOne({old, someRecord("/a"), older}, {someRecord("/old"), someRecord("/b")});
}

TEST_F(CachedItemsDrafts, knowWhetherAnEditIsNamedBeforeOrAfterwards) {
  const auto concernsEdits = [this](const Records& before, const Record& change) {
    CachedItemsJournal journal(platform_.platform());
    EXPECT_TRUE(journal.save(before));
    const auto base = journal.records();
    CachedItemsDraft draft(**base, platform_.clock.now());
    for (const Record& record : {someRecord("/x"), change, someRecord("/y")}) {
      const CachedItemReplacement replacement = [&](const Record*) { return record; };
      EXPECT_TRUE(draft.make({record.warpID, record.relativePath, replacement, {}}));
    }
    return draft.concernsEdits();
  };
  EXPECT_FALSE(concernsEdits({someRecord("/a")}, someRecord("/a")));
  EXPECT_TRUE(concernsEdits({someRecord("/a")}, pendingRecord(platform_, "/a")));
  EXPECT_TRUE(concernsEdits({pendingRecord(platform_, "/a")}, someRecord("/a")));
  EXPECT_TRUE(concernsEdits({pendingRecord(platform_, "/a")}, someRecord("/b")));
}

}  // namespace
}  // namespace tovrin
