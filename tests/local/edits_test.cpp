#include "local/edits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "local/edit_fixture.h"
#include "local/lock_process.h"
#include "platform/property_list.h"
#include "platform/sha256.h"
#include "support/keeps_attributes.h"

namespace tovrin {
namespace {

class Edits : public testing::Test {
 protected:
  std::filesystem::path lockFile(std::string_view name) const { return world_.testPlatform.warpDirectory() / name; }

  LockProcess other_;
  EditWorld world_;
};

TEST_F(Edits, ofChangedContentsAreQueuedForUpload) {
  const auto outcome = world_.save("a.txt", "edited");
  EXPECT_EQ(outcome.completions, 1);
  EXPECT_FALSE(outcome.error.has_value());
  EXPECT_EQ(outcome.stillPending, NSFileProviderItemNoFields);
  EXPECT_FALSE(outcome.shouldFetchContent);
  EXPECT_EQ(outcome.progress->totalUnitCount(), 100);
  EXPECT_EQ(outcome.progress->completedUnitCount(), 100);

  const auto records = world_.records();
  ASSERT_EQ(records.size(), 1U);
  const TovrinWarpSharedCachedItemRecord& record = records.front();
  EXPECT_EQ(record.warpID, "W1");
  EXPECT_EQ(record.relativePath, world_.pathOf("a.txt"));
  EXPECT_EQ(record.size, 6);
  EXPECT_EQ(record.cachedAt, world_.clock.now());
  EXPECT_EQ(record.modifiedAt, world_.clock.now());
  EXPECT_EQ(record.pendingWritebackSize, 6);
  EXPECT_EQ(record.pendingWritebackChecksumSHA256, sha256Hex("edited"));
  EXPECT_EQ(readFile(*record.pendingWritebackFilePath), "edited");
  EXPECT_EQ(world_.pendingCopies(), 1U);
}

TEST_F(Edits, endInTheQueuedState) {
  world_.save("a.txt", "edited");
  const auto state = world_.publishedState();
  const std::string path = world_.pathOf("a.txt");
  EXPECT_FALSE(state.isActive);
  EXPECT_EQ(state.title, "Update queued");
  EXPECT_EQ(state.detail, "Tovrin will upload and evict " + path + ".");
  EXPECT_EQ(state.progressFraction, 1.0);
  EXPECT_EQ(state.warpID, "W1");
  EXPECT_EQ(state.relativePath, path);
  EXPECT_EQ(state.errorDescription, std::nullopt);
  EXPECT_EQ(state.updatedAt, world_.clock.now());
}

TEST_F(Edits, returnTheItemWithItsNewSizeAndDate) {
  const SharedItem before = world_.itemNamed("a.txt");
  const auto outcome = world_.save("a.txt", "edited");
  ASSERT_NE(outcome.item, nullptr);
  EXPECT_EQ(outcome.item->itemIdentifier(), before->itemIdentifier());
  EXPECT_EQ(outcome.item->parentItemIdentifier(), before->parentItemIdentifier());
  EXPECT_EQ(outcome.item->filename(), before->filename());
  EXPECT_EQ(outcome.item->contentType(), before->contentType());
  EXPECT_EQ(outcome.item->creationDate(), before->creationDate());
  EXPECT_EQ(outcome.item->entry()->relativePath, before->entry()->relativePath);
  EXPECT_EQ(outcome.item->documentSize(), 6);
  EXPECT_EQ(outcome.item->contentModificationDate(), world_.clock.now());
  EXPECT_FALSE(outcome.item->isUploaded());
}

TEST_F(Edits, withTheStoredBytesEndInUpdateCompleteAndLeaveNoCopy) {
  const auto outcome = world_.save("a.txt", "stored bytes");
  EXPECT_FALSE(outcome.error.has_value());
  ASSERT_NE(outcome.item, nullptr);
  EXPECT_EQ(outcome.item->documentSize(), 12);
  EXPECT_TRUE(outcome.item->isUploaded());
  EXPECT_EQ(outcome.progress->completedUnitCount(), 100);
  EXPECT_EQ(world_.pendingCopies(), 0U);
  const auto state = world_.publishedState();
  EXPECT_FALSE(state.isActive);
  EXPECT_EQ(state.title, "Update complete");
  EXPECT_EQ(state.detail, world_.pathOf("a.txt") + " is stored in Tovrin.");
  EXPECT_EQ(state.progressFraction, 1.0);
  EXPECT_EQ(state.errorDescription, std::nullopt);
}

TEST_F(Edits, withTheStoredBytesRecordAFreshCachedItem) {
  world_.save("a.txt", "stored bytes");
  TovrinWarpSharedCachedItemRecord expected;
  expected.warpID = "W1";
  expected.relativePath = world_.pathOf("a.txt");
  expected.size = 12;
  expected.cachedAt = world_.clock.now();
  EXPECT_EQ(world_.records(), std::vector{expected});
}

TEST_F(Edits, withTheStoredBytesTakeBackAnEarlierQueuedOneAndKeepItsOtherFields) {
  TovrinWarpSharedCachedItemRecord previous = someRecord(world_.pathOf("a.txt"), "W1");
  previous.materializedModificationTimeNanoseconds = 1;
  previous.materializedStatusChangeTimeNanoseconds = 2;
  previous.materializedBirthTimeNanoseconds = 3;
  previous.modifiedAt = Date{1699999999};
  previous.recoveryCheckpointPendingSince = Date{1699999998};
  previous.pendingWritebackFilePath = (pendingDirectory(world_.testPlatform) / "earlier.txt").string();
  previous.pendingWritebackSize = 7;
  previous.pendingWritebackChecksumSHA256 = kSomeChecksum;
  ASSERT_TRUE(world_.journal->save({previous}).has_value());
  world_.save("a.txt", "stored bytes");

  TovrinWarpSharedCachedItemRecord expected = previous;
  expected.size = 12;
  expected.cachedAt = world_.clock.now();
  expected.pendingWritebackFilePath.reset();
  expected.pendingWritebackSize.reset();
  expected.pendingWritebackChecksumSHA256.reset();
  EXPECT_EQ(world_.records(), std::vector{expected});
}

TEST_F(Edits, ofChangedContentsKeepTheOtherFieldsOfTheRecord) {
  TovrinWarpSharedCachedItemRecord previous = someRecord(world_.pathOf("a.txt"), "W1");
  previous.materializedModificationTimeNanoseconds = 1;
  previous.recoveryCheckpointPendingSince = Date{1699999998};
  ASSERT_TRUE(world_.journal->save({previous, someRecord("/other")}).has_value());
  world_.save("a.txt", "edited");
  const auto records = world_.records();
  ASSERT_EQ(records.size(), 2U);
  const auto changed =
      std::ranges::find(records, world_.pathOf("a.txt"), &TovrinWarpSharedCachedItemRecord::relativePath);
  ASSERT_NE(changed, records.end());
  EXPECT_EQ(changed->materializedModificationTimeNanoseconds, 1);
  EXPECT_EQ(changed->recoveryCheckpointPendingSince, Date{1699999998});
  EXPECT_EQ(changed->pendingWritebackSize, 6);
}

TEST_F(Edits, ofOneFileLeaveOneRecordThatDescribesTheLastCopy) {
  world_.save("a.txt", "first edit");
  world_.testPlatform.clock.advance(10);
  world_.save("a.txt", "second");
  const auto records = world_.records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(readFile(*records.front().pendingWritebackFilePath), "second");
  EXPECT_EQ(records.front().pendingWritebackSize, 6);
  EXPECT_EQ(records.front().pendingWritebackChecksumSHA256, sha256Hex("second"));
  EXPECT_EQ(records.front().modifiedAt, world_.clock.now());
  EXPECT_EQ(world_.pendingCopies(), 2U) << "the earlier copy is the main application's to remove";
}

TEST_F(Edits, nameTheCopyByAFreshUUIDAndTheFilesExtension) {
  world_.save("a.txt", "edited");
  const std::filesystem::path copy = *world_.records().front().pendingWritebackFilePath;
  EXPECT_EQ(copy.parent_path(), pendingDirectory(world_.testPlatform));
  EXPECT_TRUE(std::regex_match(copy.filename().string(), std::regex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.txt")))
      << copy;
}

TEST_F(Edits, ofAFileWithoutExtensionMakeACopyThatEndsInDotWarp) {
  world_.save("noextension", "edited");
  EXPECT_TRUE(world_.records().front().pendingWritebackFilePath->ends_with(".warp"));
}

TEST_F(Edits, ofAFileWhoseExtensionFillsItsNameAreKeptAllTheSame) {
  const std::string name = "a." + std::string(250, 'x');
  world_.installWarp([&](ManifestSpec& manifest) {
    manifest.entries.push_back(fileEntry(world_.pathOf(name), "stored", "objects/long"));
  });
  EXPECT_FALSE(world_.save(name, "edited").error.has_value());
  EXPECT_TRUE(world_.records().front().pendingWritebackFilePath->ends_with(".warp"));
}

TEST_F(Edits, toNothingAreEditsToo) {
  EXPECT_FALSE(world_.save("a.txt", "").error.has_value());
  EXPECT_EQ(world_.records().front().pendingWritebackSize, 0);
}

TEST_F(Edits, ofManyChunksAreCopiedWhole) {
  std::string contents(3 * 1048576 + 17, '\0');
  for (std::size_t i = 0; i < contents.size(); ++i) contents[i] = static_cast<char>(i * 7919 >> 3);
  EXPECT_FALSE(world_.save("a.txt", contents).error.has_value());
  const auto record = world_.records().front();
  EXPECT_EQ(record.pendingWritebackChecksumSHA256, sha256Hex(contents));
  EXPECT_EQ(readFile(*record.pendingWritebackFilePath), contents);
}

TEST_F(Edits, ofTheSameSizeButOtherBytesAreChanges) {
  world_.save("a.txt", "stored BYTES");
  EXPECT_EQ(world_.publishedState().title, "Update queued");
}

TEST_F(Edits, areComparedWithTheChecksumAsItIsSpelled) {
  world_.installWarp([](ManifestSpec& manifest) {
    std::string& checksum = *manifest.entries.front().contentChecksumSHA256;
    for (char& digit : checksum) digit = static_cast<char>(std::toupper(digit));
  });
  world_.save("a.txt", "stored bytes");
  EXPECT_EQ(world_.publishedState().title, "Update queued");
}

TEST_F(Edits, ofAnEntryWithoutChecksumAreChanges) {
  world_.installWarp([](ManifestSpec& manifest) { manifest.entries.front().contentChecksumSHA256.reset(); });
  world_.save("a.txt", "stored bytes");
  EXPECT_EQ(world_.publishedState().title, "Update queued");
}

TEST_F(Edits, areComparedWithTheManifestOfTheMoment) {
  const SharedItem item = world_.itemNamed("a.txt");
  world_.installWarp([&](ManifestSpec& manifest) {
    manifest.entries.front() = fileEntry(world_.pathOf("a.txt"), "newer bytes", "objects/a2");
  });
  const auto contents = world_.testPlatform.scratch / "handed-over";
  writeFile(contents, "newer bytes");
  world_.edit(item, contents);
  EXPECT_EQ(world_.publishedState().title, "Update complete");
}

TEST_F(Edits, leaveTheHandedOverFileAlone) {
  world_.save("a.txt", "edited");
  EXPECT_EQ(readFile(world_.testPlatform.scratch / "handed-over"), "edited");
}

TEST_F(Edits, areShownAsSavingWhileTheyWaitForTheMutationLock) {
  ASSERT_TRUE(other_.lock(lockFile("warp-mutation.lock")));
  std::optional<TovrinWarpSharedMaterializationState> seen;
  std::optional<bool> tookJournalLock;
  world_.clock.onSleep = [&] {
    if (seen) return;
    seen = world_.publishedState();
    tookJournalLock = other_.isLockedElsewhere(lockFile("warp-cached-items.lock"));
    other_.unlockAll();
  };
  EXPECT_FALSE(world_.save("a.txt", "edited").error.has_value());
  ASSERT_TRUE(seen.has_value());
  EXPECT_TRUE(seen->isActive);
  EXPECT_EQ(seen->title, "Updating Warp");
  EXPECT_EQ(seen->detail, "Saving " + world_.pathOf("a.txt") + " to Tovrin.");
  EXPECT_EQ(seen->progressFraction, 0.0);
  EXPECT_EQ(seen->warpID, "W1");
  EXPECT_EQ(seen->relativePath, world_.pathOf("a.txt"));
  EXPECT_EQ(seen->errorDescription, std::nullopt);
  EXPECT_EQ(tookJournalLock, false);
}

TEST_F(Edits, takeTheMutationLockBeforeTheJournalLock) {
  ASSERT_TRUE(other_.lock(lockFile("warp-cached-items.lock")));
  std::optional<bool> heldMutationLock;
  world_.clock.onSleep = [&] {
    if (heldMutationLock) return;
    heldMutationLock = other_.isLockedElsewhere(lockFile("warp-mutation.lock"));
    other_.unlockAll();
  };
  EXPECT_FALSE(world_.save("a.txt", "edited").error.has_value());
  EXPECT_EQ(heldMutationLock, true);
  EXPECT_TRUE(other_.lock(lockFile("warp-mutation.lock"))) << "both are free again";
  EXPECT_TRUE(other_.lock(lockFile("warp-cached-items.lock")));
}

TEST_F(Edits, driveTheBadgeAndTheTagsOfTheFile) {
  writeFile(world_.pathOf("a.txt"), "placeholder");
  if (!keepsExtendedAttributes(world_.pathOf("a.txt"))) GTEST_SKIP() << "this file system keeps no extended attributes";
  world_.save("a.txt", "edited");
  EXPECT_NE(readFile(world_.testPlatform.warpDirectory() / "finder-badge-update.json")
                .find("\"" + world_.pathOf("a.txt") + "\":\"cached\""),
            std::string::npos);
  const auto tags =
      extendedAttribute(world_.pathOf("a.txt"), "com.apple.metadata:_kMDItemUserTags", LinkPolicy::follow);
  ASSERT_TRUE(tags);
  EXPECT_EQ(decodeStringArrayPropertyList(*tags), std::vector<std::string>{"Tovrin Cached\n2"});
}

TEST_F(Edits, ofDifferentFilesAtTheSameTimeAreAllKept) {
  constexpr int kFiles = 6;
  world_.installWarp([&](ManifestSpec& manifest) {
    for (int i = 0; i < kFiles; ++i)
      manifest.entries.push_back(fileEntry(world_.pathOf(std::to_string(i)), "x", "objects/" + std::to_string(i)));
  });
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < kFiles; ++i) {
      const auto contents = world_.testPlatform.scratch / ("contents" + std::to_string(i));
      writeFile(contents, "edit " + std::to_string(i));
      threads.emplace_back([this, i, contents] {
        EXPECT_FALSE(world_.edit(world_.itemNamed(std::to_string(i)), contents).error.has_value());
      });
    }
  }
  EXPECT_EQ(world_.records().size(), static_cast<std::size_t>(kFiles));
  EXPECT_EQ(world_.pendingCopies(), static_cast<std::size_t>(kFiles));
}

}  // namespace
}  // namespace tovrin
