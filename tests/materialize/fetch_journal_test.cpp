#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "materialize/fetch_fixture.h"
#include "platform/file_system.h"
#include "shared/mutation_lock.h"
#include "support/lock_holder.h"

namespace tovrin {
namespace {

const std::string kFile = "/Users/ann/Photos/holiday.jpg";

class FetchJournal : public FetchFixture {
 protected:
  void SetUp() override {
    FetchFixture::SetUp();
    install({fileEntry(kFile, "contents", "k")});
    put("k", "contents");
  }
  std::filesystem::path journalFile() const { return test.warpDirectory() / "file-provider-cached-items.json"; }
  std::filesystem::path lockFile() const { return test.warpDirectory() / "warp-cached-items.lock"; }
  TovrinWarpSharedCachedItemRecord onlyRecord() {
    const auto records = journal->load().value();
    EXPECT_EQ(records.size(), 1U);
    return records.empty() ? TovrinWarpSharedCachedItemRecord{} : records.back();
  }
};

TEST_F(FetchJournal, recordsTheDeliveredFile) {
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.file);
  const auto attributes = fileAttributes(*outcome.file).value();
  const auto record = onlyRecord();
  EXPECT_EQ(record.warpID, "W1");
  EXPECT_EQ(record.relativePath, kFile);
  EXPECT_EQ(record.size, 8);
  EXPECT_EQ(record.cachedAt, Date{1700000000.0});
  EXPECT_EQ(record.materializedModificationTimeNanoseconds, attributes.identity.modificationTimeNanoseconds);
  EXPECT_EQ(record.materializedStatusChangeTimeNanoseconds, attributes.identity.statusChangeTimeNanoseconds);
  EXPECT_EQ(record.materializedBirthTimeNanoseconds, attributes.birthTimeNanoseconds);
  EXPECT_EQ(record.modifiedAt, std::nullopt);
  EXPECT_EQ(record.pendingWritebackFilePath, std::nullopt);
}

TEST_F(FetchJournal, isReadyForTheNextRecordOnceTheFileIsDelivered) {
  const auto readyFiles = [&] {
    return std::ranges::count_if(std::filesystem::directory_iterator(test.warpDirectory()), [](const auto& file) {
      return file.path().extension() == ".partial" && file.file_size() == 0;
    });
  };
  ASSERT_TRUE(fetch(kFile).file);
  EXPECT_EQ(readyFiles(), 0) << "the first record made the only file";
  ASSERT_TRUE(fetch(kFile).file);
  EXPECT_EQ(readyFiles(), 1);
  ASSERT_TRUE(fetch(kFile).file);
  EXPECT_EQ(readyFiles(), 1);
  EXPECT_EQ(onlyRecord().relativePath, kFile);
}

TEST_F(FetchJournal, neverForgetsAnEdit) {
  TovrinWarpSharedCachedItemRecord edited;
  edited.warpID = "W1";
  edited.relativePath = kFile;
  edited.size = 5;
  edited.cachedAt = Date{1690000000.0};
  edited.modifiedAt = Date{1690000001.0};
  edited.pendingWritebackFilePath = (test.warpDirectory() / "FileProviderPendingWriteback" / "copy").string();
  edited.pendingWritebackSize = 5;
  edited.pendingWritebackChecksumSHA256 = std::string(64, 'a');
  edited.recoveryCheckpointPendingSince = Date{1690000002.0};
  ASSERT_TRUE(journal->save({edited}));

  ASSERT_TRUE(fetch(kFile).file);
  const auto record = onlyRecord();
  EXPECT_EQ(record.modifiedAt, edited.modifiedAt);
  EXPECT_EQ(record.pendingWritebackFilePath, edited.pendingWritebackFilePath);
  EXPECT_EQ(record.pendingWritebackSize, edited.pendingWritebackSize);
  EXPECT_EQ(record.pendingWritebackChecksumSHA256, edited.pendingWritebackChecksumSHA256);
  EXPECT_EQ(record.recoveryCheckpointPendingSince, edited.recoveryCheckpointPendingSince);
  EXPECT_EQ(record.cachedAt, Date{1700000000.0});
  EXPECT_EQ(record.size, 8);
}

TEST_F(FetchJournal, keepsOneRecordPerItemAndPutsTheLatestLast) {
  const std::string other = "/Users/ann/Photos/other.txt";
  install({fileEntry(kFile, "contents", "k"), fileEntry(other, "other", "o")});
  put("o", "other");
  for (const std::string& path : {kFile, other, kFile}) {
    completions = 0;
    ASSERT_TRUE(fetch(path).file);
  }
  const auto records = journal->load().value();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].relativePath, other);
  EXPECT_EQ(records[1].relativePath, kFile);
}

TEST_F(FetchJournal, thatAnotherProcessKeepsLockedFailsTheOpenOfARebuiltFile) {
  writeFile(lockFile(), "");
  const LockHolderProcess holder(lockFile());
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(outcome.error->code(), 60);
  EXPECT_EQ(outcome.error->localizedDescription(), "Another Tovrin file change is still finishing. Please try again.");
  EXPECT_EQ(filesMade(), 0U);
  EXPECT_EQ(recorder.states().back().title, "Open failed");
  EXPECT_EQ(outcome.progress->completedUnitCount(), 100);
}

TEST_F(FetchJournal, thatIsCorruptFailsTheOpenAndStaysAsItIs) {
  writeFile(journalFile(), R"({"updatedAt":"2025-03-01T12:00:00Z","records":[{"warpID":""}]})");
  const std::string before = readFile(journalFile());
  const FetchOutcome outcome = fetch(kFile);
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(readFile(journalFile()), before);
  EXPECT_EQ(filesMade(), 0U);
  EXPECT_EQ(std::ranges::count(details(), "Opened " + kFile + "."), 0);
  EXPECT_TRUE(isUnlockedForOthers(lockFile()));
}

TEST_F(FetchJournal, isUnlockedAgainAfterASuccess) {
  ASSERT_TRUE(fetch(kFile).file);
  EXPECT_TRUE(isUnlockedForOthers(lockFile()));
}

TEST_F(FetchJournal, isNotTouchedByAFailure) {
  put("k", "CONTENTS");
  ASSERT_TRUE(fetch(kFile).error);
  EXPECT_FALSE(std::filesystem::exists(journalFile()));
}

}  // namespace
}  // namespace tovrin
