#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "local/cached_item_records.h"
#include "local/cached_items.h"
#include "local/journal_text.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

class CachedItemsLoad : public testing::Test {
 protected:
  void write(const std::string& text) { writeFile(journalFile(platform_), text); }

  Result<std::vector<TovrinWarpSharedCachedItemRecord>> loading(const std::vector<RecordSpec>& records) {
    write(journalJSON(records));
    return journal_.load();
  }

  /// Every rule that a record breaks looks the same from outside.
  void expectCorrupt(const std::vector<RecordSpec>& records) {
    const auto loaded = loading(records);
    ASSERT_FALSE(loaded.has_value());
    EXPECT_EQ(loaded.error(), NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
    EXPECT_EQ(loaded.error().decodingFailure(), nullptr);
  }

  std::string pendingPath(const std::string& name) const { return (pendingDirectory(platform_) / name).string(); }

  TestPlatform platform_;
  CachedItemsJournal journal_{platform_.platform()};
};

TEST_F(CachedItemsLoad, findsNothingWhereThereIsNoFile) {
  const auto loaded = journal_.load();
  ASSERT_TRUE(loaded.has_value());
  EXPECT_TRUE(loaded->empty());
  EXPECT_EQ(countFiles(platform_.warpDirectory()), 0U) << "a load makes nothing";
}

TEST_F(CachedItemsLoad, readsEveryFieldOfARecord) {
  const auto loaded =
      loading({{.rawMembers = R"("materializedModificationTimeNanoseconds":1,)"
                              R"("materializedStatusChangeTimeNanoseconds":-2,)"
                              R"("materializedBirthTimeNanoseconds":3,"modifiedAt":"2023-11-14T01:00:00Z",)" +
                              pendingMembers(pendingPath("A.txt")) +
                              R"(,"recoveryCheckpointPendingSince":"2023-11-14T02:00:00Z")"}});
  ASSERT_TRUE(loaded.has_value());
  ASSERT_EQ(loaded->size(), 1U);
  const TovrinWarpSharedCachedItemRecord& record = loaded->front();
  EXPECT_EQ(record.warpID, "w1");
  EXPECT_EQ(record.relativePath, "/x");
  EXPECT_EQ(record.size, 1);
  EXPECT_EQ(record.cachedAt, Date{1699920000});
  EXPECT_EQ(record.materializedModificationTimeNanoseconds, 1);
  EXPECT_EQ(record.materializedStatusChangeTimeNanoseconds, -2);
  EXPECT_EQ(record.materializedBirthTimeNanoseconds, 3);
  EXPECT_EQ(record.modifiedAt, Date{1699923600});
  EXPECT_EQ(record.pendingWritebackFilePath, pendingPath("A.txt"));
  EXPECT_EQ(record.pendingWritebackSize, 3);
  EXPECT_EQ(record.pendingWritebackChecksumSHA256, kSomeChecksum);
  EXPECT_EQ(record.recoveryCheckpointPendingSince, Date{1699927200});
}

TEST_F(CachedItemsLoad, keepsTheOrderOfTheFile) {
  const auto loaded = loading({{.relativePath = "/c"}, {.relativePath = "/a"}, {.relativePath = "/b"}});
  ASSERT_TRUE(loaded.has_value());
  ASSERT_EQ(loaded->size(), 3U);
  EXPECT_EQ((*loaded)[0].relativePath, "/c");
  EXPECT_EQ((*loaded)[1].relativePath, "/a");
  EXPECT_EQ((*loaded)[2].relativePath, "/b");
}

TEST_F(CachedItemsLoad, readsAFileWithoutVersionAsVersionOne) {
  write(R"({"updatedAt":"2023-11-14T00:00:00Z","records":[]})");
  EXPECT_TRUE(journal_.load().has_value());
}

TEST_F(CachedItemsLoad, rejectsVersionTwo) {
  write(R"({"version":2,"updatedAt":"2023-11-14T00:00:00Z","records":[]})");
  const auto loaded = journal_.load();
  ASSERT_FALSE(loaded.has_value());
  ASSERT_NE(loaded.error().decodingFailure(), nullptr);
  EXPECT_EQ(loaded.error().decodingFailure()->kind, DecodingFailure::Kind::dataCorrupted);
  EXPECT_EQ(loaded.error().decodingFailure()->debugDescription, "Unsupported Warp cached-item journal version.");
}

TEST_F(CachedItemsLoad, rejectsVersionTwoBeforeItLooksAtAnythingElse) {
  write(R"({"records":7,"version":2})");
  const auto loaded = journal_.load();
  ASSERT_FALSE(loaded.has_value());
  ASSERT_NE(loaded.error().decodingFailure(), nullptr);
  EXPECT_EQ(loaded.error().decodingFailure()->debugDescription, "Unsupported Warp cached-item journal version.");
}

TEST_F(CachedItemsLoad, passesOnTheDecodersErrorForAMissingKey) {
  write(R"({"version":1,"updatedAt":"2023-11-14T00:00:00Z"})");
  const auto loaded = journal_.load();
  ASSERT_FALSE(loaded.has_value());
  ASSERT_NE(loaded.error().decodingFailure(), nullptr);
  EXPECT_EQ(loaded.error().decodingFailure()->kind, DecodingFailure::Kind::keyNotFound);
}

TEST_F(CachedItemsLoad, passesOnTheDecodersErrorForWhatIsNoJSON) {
  write("{\"version\":1,");
  const auto loaded = journal_.load();
  ASSERT_FALSE(loaded.has_value());
  EXPECT_NE(loaded.error().decodingFailure(), nullptr);
}

TEST_F(CachedItemsLoad, passesOnTheReadErrorUnchanged) {
  std::filesystem::create_directories(journalFile(platform_));
  const auto loaded = journal_.load();
  ASSERT_FALSE(loaded.has_value());
  EXPECT_EQ(loaded.error(), readWholeFile(journalFile(platform_)).error());
}

TEST_F(CachedItemsLoad, passesOnThatThereIsNoSharedDirectory) {
  platform_.directories.container.reset();
  platform_.directories.support.reset();
  const auto loaded = CachedItemsJournal(platform_.platform()).load();
  ASSERT_FALSE(loaded.has_value());
  EXPECT_TRUE(loaded.error().is(CocoaErrorCode::fileNoSuchFile));
}

TEST_F(CachedItemsLoad, rejectsARecordWithoutWarpID) { expectCorrupt({{.warpID = ""}}); }

TEST_F(CachedItemsLoad, rejectsPathsThatAreNotStandardized) {
  for (const char* path : {"a/b", "/a/../b", "/a//b", "/a/", "/a/./b", "", "//", "/a\\u0000b", "/.."})
    expectCorrupt({{.relativePath = "/fine"}, {.relativePath = path}});
}

TEST_F(CachedItemsLoad, acceptsTheRootAndPathsWithDotsInNames) {
  const auto loaded = loading({{.relativePath = "/"}, {.relativePath = "/.a/..b/c..."}});
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->size(), 2U);
}

TEST_F(CachedItemsLoad, rejectsANegativeSize) { expectCorrupt({{.size = -1}}); }

TEST_F(CachedItemsLoad, rejectsTwoRecordsOfOneItem) {
  expectCorrupt({{.warpID = "w1", .relativePath = "/x"}, {.warpID = "w1", .relativePath = "/x"}});
}

TEST_F(CachedItemsLoad, acceptsOnePathInTwoWarps) {
  const auto loaded = loading({{.warpID = "w1", .relativePath = "/x"}, {.warpID = "w2", .relativePath = "/x"}});
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->size(), 2U);
}

TEST_F(CachedItemsLoad, rejectsTwoSpellingsOfOnePath) {
  expectCorrupt({{.relativePath = "/caf\u00e9"}, {.relativePath = "/cafe\u0301"}});
}

TEST_F(CachedItemsLoad, rejectsTwoItemsWhoseIdentitiesReadTheSame) {
  expectCorrupt({{.warpID = "a", .relativePath = "/b:/c"}, {.warpID = "a:/b", .relativePath = "/c"}});
}

TEST_F(CachedItemsLoad, acceptsACompleteQueuedEdit) {
  EXPECT_TRUE(loading({{.rawMembers = pendingMembers(pendingPath("A.txt"), 0)}}).has_value());
}

TEST_F(CachedItemsLoad, acceptsAPendingPathThatLeadsIntoTheDirectoryOnceItIsStandardized) {
  EXPECT_TRUE(
      loading({{.rawMembers = pendingMembers(pendingPath("../FileProviderPendingWriteback//A.txt"))}}).has_value());
}

TEST_F(CachedItemsLoad, rejectsAQueuedEditWithAMissingField) {
  const std::string path = R"("pendingWritebackFilePath":")" + pendingPath("A.txt") + "\"";
  const std::string size = R"("pendingWritebackSize":3)";
  const std::string checksum = R"("pendingWritebackChecksumSHA256":")" + std::string(kSomeChecksum) + "\"";
  for (const std::string& members :
       {path, size, checksum, path + "," + size, path + "," + checksum, size + "," + checksum})
    expectCorrupt({{.rawMembers = members}});
}

TEST_F(CachedItemsLoad, rejectsAChecksumThatIsNotSixtyFourHexadecimalDigits) {
  const std::string good(kSomeChecksum);
  for (const std::string& checksum :
       {good.substr(1), good + "0", "g" + good.substr(1), good.substr(1) + " ", std::string()})
    expectCorrupt({{.rawMembers = pendingMembers(pendingPath("A.txt"), 3, checksum)}});
}

TEST_F(CachedItemsLoad, rejectsANegativePendingSize) {
  expectCorrupt({{.rawMembers = pendingMembers(pendingPath("A.txt"), -1)}});
}

TEST_F(CachedItemsLoad, rejectsAPendingPathOutsideItsDirectory) {
  const std::string warp = platform_.warpDirectory().string();
  for (const std::string& path :
       {warp + "/A.txt", warp + "/FileProviderPendingWritebackOther/A.txt", warp + "/FileProviderPendingWriteback",
        warp + "/FileProviderPendingWriteback/", warp + "/FileProviderPendingWriteback/../A.txt",
        std::string("/etc/passwd"), std::string("FileProviderPendingWriteback/A.txt"), std::string()})
    expectCorrupt({{.rawMembers = pendingMembers(path)}});
}

TEST_F(CachedItemsLoad, rejectsTheWholeFileForItsLastRecord) {
  expectCorrupt({{.relativePath = "/a"}, {.relativePath = "/b"}, {.relativePath = "/c", .size = -1}});
}

TEST_F(CachedItemsLoad, rejectsARecordThatIsTooOldToMatter) {
  expectCorrupt({{.size = -1, .cachedAt = "2000-01-01T00:00:00Z"}});
}

TEST_F(CachedItemsLoad, dropsARecordCachedThirtyOneDaysAgo) {
  const auto loaded = loading({{.relativePath = "/old", .cachedAt = "2023-10-14T22:13:20Z"}, {.relativePath = "/new"}});
  ASSERT_TRUE(loaded.has_value());
  ASSERT_EQ(loaded->size(), 1U);
  EXPECT_EQ(loaded->front().relativePath, "/new");
}

TEST_F(CachedItemsLoad, keepsARecordOfExactlyThirtyDays) {
  const auto loaded = loading({{.relativePath = "/at", .cachedAt = "2023-10-15T22:13:20Z"},
                               {.relativePath = "/before", .cachedAt = "2023-10-15T22:13:19Z"}});
  ASSERT_TRUE(loaded.has_value());
  ASSERT_EQ(loaded->size(), 1U);
  EXPECT_EQ(loaded->front().relativePath, "/at");
}

TEST_F(CachedItemsLoad, keepsAnOldRecordWithARecoveryCheckpoint) {
  const auto loaded = loading({{.cachedAt = "2023-10-14T00:00:00Z",
                                .rawMembers = R"("recoveryCheckpointPendingSince":"2023-10-14T00:00:00Z")"}});
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->size(), 1U);
}

TEST_F(CachedItemsLoad, keepsPendingRecordsWhenPruning) {
  const auto loaded =
      loading({{.cachedAt = "2013-10-14T00:00:00Z", .rawMembers = pendingMembers(pendingPath("A.txt"))}});
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->size(), 1U);
}

TEST_F(CachedItemsLoad, prunesByTheClockOfEachLoad) {
  write(journalJSON({{}}));
  EXPECT_EQ(journal_.load()->size(), 1U);
  platform_.clock.advance(31.0 * 24 * 60 * 60);
  EXPECT_EQ(journal_.load()->size(), 0U);
}

TEST_F(CachedItemsLoad, seesWhatAnotherProcessPutInTheFilesPlace) {
  write(journalJSON({{.relativePath = "/first"}}));
  ASSERT_EQ(journal_.load()->front().relativePath, "/first");
  const auto replacement = platform_.warpDirectory() / "replacement";
  writeFile(replacement, journalJSON({{.relativePath = "/other"}}));
  std::filesystem::rename(replacement, journalFile(platform_));
  EXPECT_EQ(journal_.load()->front().relativePath, "/other");
}

TEST_F(CachedItemsLoad, decodesASettledFileOnce) {
  write(journalJSON({{}}));
  platform_.clock.setNow({4000000000});
  const auto first = journal_.records();
  const auto second = journal_.records();
  ASSERT_TRUE(first && second);
  EXPECT_EQ(*first, *second) << "the same object in memory";
}

TEST_F(CachedItemsLoad, findsNoPendingWritebackWithoutAFile) { EXPECT_FALSE(journal_.hasPendingWriteback("w1", "/x")); }

TEST_F(CachedItemsLoad, findsThePendingWritebackOfTheVeryItem) {
  write(journalJSON(
      {{.relativePath = "/plain"}, {.relativePath = "/x", .rawMembers = pendingMembers(pendingPath("A"))}}));
  EXPECT_TRUE(journal_.hasPendingWriteback("w1", "/x"));
  EXPECT_FALSE(journal_.hasPendingWriteback("w1", "/plain"));
  EXPECT_FALSE(journal_.hasPendingWriteback("w1", "/X"));
  EXPECT_FALSE(journal_.hasPendingWriteback("w2", "/x"));
}

TEST_F(CachedItemsLoad, doesNotTakeAnItemForAnotherWithTheSameIdentity) {
  write(journalJSON({{.warpID = "a:/b", .relativePath = "/c", .rawMembers = pendingMembers(pendingPath("A"))}}));
  EXPECT_TRUE(journal_.hasPendingWriteback("a:/b", "/c"));
  EXPECT_FALSE(journal_.hasPendingWriteback("a", "/b:/c"));
}

TEST_F(CachedItemsLoad, findsThePendingWritebackUnderAnotherSpellingOfThePath) {
  write(journalJSON({{.relativePath = "/cafe\u0301", .rawMembers = pendingMembers(pendingPath("A"))}}));
  EXPECT_TRUE(journal_.hasPendingWriteback("w1", "/caf\u00e9"));
}

TEST_F(CachedItemsLoad, findsNoPendingWritebackInACorruptFile) {
  write(journalJSON({{.rawMembers = pendingMembers(pendingPath("A"))}, {.relativePath = "bad"}}));
  EXPECT_FALSE(journal_.hasPendingWriteback("w1", "/x"));
}

TEST_F(CachedItemsLoad, findsNoPendingWritebackUnderAnEmptyPath) {
  TovrinWarpSharedCachedItemRecord record = someRecord("/x");
  record.pendingWritebackFilePath = "";
  EXPECT_FALSE(hasPendingCopy(record));
  EXPECT_FALSE(isProtected(record));
  record.pendingWritebackFilePath = "/a";
  EXPECT_TRUE(hasPendingCopy(record));
  EXPECT_TRUE(isProtected(record));
}

}  // namespace
}  // namespace tovrin
