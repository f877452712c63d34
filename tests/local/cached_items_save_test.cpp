#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <limits>

#include "local/cached_items.h"
#include "local/journal_text.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

using Records = std::vector<TovrinWarpSharedCachedItemRecord>;

class CachedItemsSave : public testing::Test {
 protected:
  Records ordinaryRecords(std::size_t count) const {
    Records records;
    for (std::size_t i = 0; i < count; ++i) records.push_back(someRecord("/" + std::to_string(i)));
    return records;
  }

  void expectRefused(const TovrinWarpSharedCachedItemRecord& record) {
    const auto saved = journal_.save({someRecord("/fine"), record});
    ASSERT_FALSE(saved.has_value());
    EXPECT_EQ(saved.error(), NSError::cocoa(CocoaErrorCode::fileWriteUnknown));
  }

  TestPlatform platform_;
  CachedItemsJournal journal_{platform_.platform()};
};

TEST_F(CachedItemsSave, writesTheFieldsInTheirOrderAndLeavesOutAbsentOnes) {
  TovrinWarpSharedCachedItemRecord full = pendingRecord(platform_, "/full");
  full.materializedModificationTimeNanoseconds = 1;
  full.materializedStatusChangeTimeNanoseconds = 2;
  full.materializedBirthTimeNanoseconds = 3;
  full.modifiedAt = Date{1700000001};
  full.recoveryCheckpointPendingSince = Date{1700000002};
  ASSERT_TRUE(journal_.save({full, someRecord("/bare")}).has_value());
  const std::string pending = (pendingDirectory(platform_) / "A.txt").string();
  EXPECT_EQ(readFile(journalFile(platform_)),
            R"({"version":1,"updatedAt":"2023-11-14T22:13:20Z","records":[)"
            R"({"warpID":"w1","relativePath":"/full","size":1,"cachedAt":"2023-11-14T22:13:20Z",)"
            R"("materializedModificationTimeNanoseconds":1,"materializedStatusChangeTimeNanoseconds":2,)"
            R"("materializedBirthTimeNanoseconds":3,"modifiedAt":"2023-11-14T22:13:21Z",)"
            R"("pendingWritebackFilePath":")" +
                pending + R"(","pendingWritebackSize":3,"pendingWritebackChecksumSHA256":")" +
                std::string(kSomeChecksum) +
                R"(","recoveryCheckpointPendingSince":"2023-11-14T22:13:22Z"},)"
                R"({"warpID":"w1","relativePath":"/bare","size":1,"cachedAt":"2023-11-14T22:13:20Z"}]})");
}

TEST_F(CachedItemsSave, loadsWhatItSaved) {
  const Records records{pendingRecord(platform_, "/a\u00e9\"\\\n"), someRecord("/b"), someRecord("/c", "w2")};
  ASSERT_TRUE(journal_.save(records).has_value());
  EXPECT_EQ(journal_.load(), records);
}

TEST_F(CachedItemsSave, makesTheDirectoryAboveTheFile) {
  ASSERT_FALSE(std::filesystem::exists(platform_.warpDirectory()));
  ASSERT_TRUE(journal_.save({}).has_value());
  EXPECT_TRUE(std::filesystem::is_regular_file(journalFile(platform_)));
}

TEST_F(CachedItemsSave, leavesNothingBesideTheFile) {
  {
    CachedItemsJournal journal(platform_.platform());
    for (const char* path : {"/x", "/y", "/z"}) ASSERT_TRUE(journal.save({someRecord(path)}).has_value());
  }
  EXPECT_EQ(countFiles(platform_.warpDirectory()), 1U);
}

TEST_F(CachedItemsSave, leavesTheFileAsItIsWhenItPreparesTheNextSave) {
  journal_.prepareNextSave();
  for (const char* path : {"/x", "/y", "/z"}) {
    const Records records{someRecord(path)};
    ASSERT_TRUE(journal_.save(records, Durability::ordinary).has_value());
    journal_.prepareNextSave();
    EXPECT_EQ(CachedItemsJournal(platform_.platform()).load(), records);
  }
}

TEST_F(CachedItemsSave, replacesTheFileInsteadOfWritingIntoIt) {
  ASSERT_TRUE(journal_.save({someRecord("/x")}).has_value());
  const auto kept = platform_.scratch / "old";
  std::filesystem::create_hard_link(journalFile(platform_), kept);
  const std::string before = readFile(kept);
  ASSERT_TRUE(journal_.save({someRecord("/y")}).has_value());
  EXPECT_EQ(readFile(kept), before);
  EXPECT_NE(readFile(journalFile(platform_)), before);
}

TEST_F(CachedItemsSave, writesOnlyTheLastTwentyThousandOrdinaryRecords) {
  ASSERT_TRUE(journal_.save(ordinaryRecords(20005)).has_value());
  const auto loaded = journal_.load();
  ASSERT_TRUE(loaded.has_value());
  ASSERT_EQ(loaded->size(), 20000U);
  EXPECT_EQ(loaded->front().relativePath, "/5");
  EXPECT_EQ(loaded->back().relativePath, "/20004");
}

TEST_F(CachedItemsSave, writesPendingRecordsFirstAndFillsUpWithTheLastOrdinaryOnes) {
  Records records = ordinaryRecords(20000);
  TovrinWarpSharedCachedItemRecord checkpoint = someRecord("/checkpoint");
  checkpoint.recoveryCheckpointPendingSince = Date{1700000000};
  records.insert(records.begin() + 100, pendingRecord(platform_, "/first"));
  records.insert(records.begin() + 5000, checkpoint);
  records.push_back(pendingRecord(platform_, "/last"));
  ASSERT_TRUE(journal_.save(records).has_value());
  const auto loaded = journal_.load();
  ASSERT_TRUE(loaded.has_value());
  ASSERT_EQ(loaded->size(), 20000U);
  EXPECT_EQ((*loaded)[0].relativePath, "/first");
  EXPECT_EQ((*loaded)[1].relativePath, "/checkpoint");
  EXPECT_EQ((*loaded)[2].relativePath, "/last");
  EXPECT_EQ((*loaded)[3].relativePath, "/3");
  EXPECT_EQ(loaded->back().relativePath, "/19999");
}

TEST_F(CachedItemsSave, keepsProtectedRecordsBeyondTheCapAndThenNoOrdinaryOne) {
  Records records = ordinaryRecords(20002);
  for (std::size_t i = 0; i < 20001; ++i) records[i].recoveryCheckpointPendingSince = Date{1700000000};
  ASSERT_TRUE(journal_.save(records).has_value());
  const auto loaded = journal_.load();
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->size(), 20001U);
  EXPECT_EQ(loaded->back().relativePath, "/20000");
}

TEST_F(CachedItemsSave, appliesNoAgeLimitOfItsOwn) {
  TovrinWarpSharedCachedItemRecord old = someRecord("/old");
  old.cachedAt = {1000000000};
  ASSERT_TRUE(journal_.save({old}).has_value());
  EXPECT_NE(readFile(journalFile(platform_)).find("\"/old\""), std::string::npos);
  EXPECT_TRUE(journal_.load()->empty());
}

TEST_F(CachedItemsSave, cutsFractionsOfASecondTowardsThePast) {
  TovrinWarpSharedCachedItemRecord record = someRecord("/x");
  record.cachedAt = {1700000000.999};
  record.modifiedAt = Date{-0.5};
  record.recoveryCheckpointPendingSince = Date{1700000000.0000001};
  ASSERT_TRUE(journal_.save({record}).has_value());
  const auto loaded = journal_.load();
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->front().cachedAt, Date{1700000000});
  EXPECT_EQ(loaded->front().modifiedAt, Date{-1});
  EXPECT_EQ(loaded->front().recoveryCheckpointPendingSince, Date{1700000000});
}

TEST_F(CachedItemsSave, neverWritesADateThatIsNotFinite) {
  ASSERT_TRUE(journal_.save({someRecord("/before")}).has_value());
  const std::string before = readFile(journalFile(platform_));
  for (const double seconds : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity()}) {
    TovrinWarpSharedCachedItemRecord record = someRecord("/x");
    record.cachedAt = {seconds};
    expectRefused(record);
    record.cachedAt = {1700000000};
    record.modifiedAt = Date{seconds};
    expectRefused(record);
    record.modifiedAt.reset();
    record.recoveryCheckpointPendingSince = Date{seconds};
    expectRefused(record);
  }
  EXPECT_EQ(readFile(journalFile(platform_)), before);
  EXPECT_EQ(countFiles(platform_.warpDirectory()), 1U);
}

TEST_F(CachedItemsSave, refusesRecordsThatNoLoadWouldAccept) {
  ASSERT_TRUE(journal_.save({someRecord("/before")}).has_value());
  const std::string before = readFile(journalFile(platform_));
  TovrinWarpSharedCachedItemRecord outside = pendingRecord(platform_, "/x");
  outside.pendingWritebackFilePath = "/elsewhere/A.txt";
  expectRefused(outside);
  TovrinWarpSharedCachedItemRecord farFuture = someRecord("/x");
  farFuture.cachedAt = {1e13};
  expectRefused(farFuture);
  expectRefused(someRecord("relative"));
  expectRefused(someRecord("/fine"));  // a second record of the same item
  EXPECT_EQ(readFile(journalFile(platform_)), before);
}

TEST_F(CachedItemsSave, leavesThePreviousFileWhenTheDirectoryCannotBeMade) {
  writeFile(platform_.directories.container->string(), "a file where the container should be");
  const auto saved = journal_.save({someRecord("/x")});
  EXPECT_FALSE(saved.has_value());
  EXPECT_EQ(readFile(*platform_.directories.container), "a file where the container should be");
}

TEST_F(CachedItemsSave, leavesThePreviousFileAndNoOtherWhenTheWritingFails) {
  ASSERT_TRUE(journal_.save({someRecord("/before")}).has_value());
  const std::string before = readFile(journalFile(platform_));
  // As on a full disk, the write stops half way.
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit previous{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &previous), 0);
  const rlimit small{1024, previous.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto saved = journal_.save(ordinaryRecords(100));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &previous), 0);
  EXPECT_FALSE(saved.has_value());
  EXPECT_EQ(readFile(journalFile(platform_)), before);
  EXPECT_EQ(countFiles(platform_.warpDirectory()), 1U);
}

TEST_F(CachedItemsSave, passesOnThatThereIsNoSharedDirectory) {
  platform_.directories.container.reset();
  platform_.directories.support.reset();
  const auto saved = CachedItemsJournal(platform_.platform()).save({});
  ASSERT_FALSE(saved.has_value());
  EXPECT_TRUE(saved.error().is(CocoaErrorCode::fileNoSuchFile));
}

}  // namespace
}  // namespace tovrin
