#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "local/edit_fixture.h"
#include "local/lock_process.h"
#include "materialize/errors.h"

namespace tovrin {
namespace {

/// What `work` returns when its writes stop as on a full disk.
template <class Work>
auto whileFilesHoldAtMost(rlim_t bytes, Work work) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit previous{};
  getrlimit(RLIMIT_FSIZE, &previous);
  const rlimit small{bytes, previous.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  auto result = work();
  setrlimit(RLIMIT_FSIZE, &previous);
  return result;
}

class EditFailure : public testing::Test {
 protected:
  std::filesystem::path lockFile(std::string_view name) const { return world_.testPlatform.warpDirectory() / name; }

  /// The edit failed with `error`, said so in the state, and left no trace but that.
  void expectFailed(const EditOutcome& outcome, const NSError& error) {
    EXPECT_EQ(outcome.completions, 1);
    EXPECT_EQ(outcome.item, nullptr);
    EXPECT_EQ(outcome.stillPending, NSFileProviderItemNoFields);
    EXPECT_FALSE(outcome.shouldFetchContent);
    EXPECT_EQ(outcome.error, error);
    EXPECT_EQ(outcome.progress->completedUnitCount(), 100);
    const auto state = world_.publishedState();
    EXPECT_FALSE(state.isActive);
    EXPECT_EQ(state.title, "Update failed");
    EXPECT_EQ(state.detail, "Could not queue " + world_.pathOf("a.txt") + ".");
    EXPECT_EQ(state.progressFraction, std::nullopt);
    EXPECT_EQ(state.errorDescription, error.localizedDescription());
    EXPECT_EQ(state.warpID, "W1");
    EXPECT_EQ(state.relativePath, world_.pathOf("a.txt"));
    EXPECT_EQ(world_.pendingCopies(), 0U);
    EXPECT_TRUE(other_.lock(lockFile("warp-mutation.lock"))) << "both locks are free";
    EXPECT_TRUE(other_.lock(lockFile("warp-cached-items.lock")));
    other_.unlockAll();
  }

  void expectRestoring(const EditOutcome& outcome) {
    expectFailed(outcome, restoringError());
    ASSERT_TRUE(outcome.error.has_value());
    EXPECT_TRUE(outcome.error->isSameInstance(restoringError()));
    EXPECT_EQ(outcome.error->localizedDescription(),
              "This Warp is being restored or removed. Finder kept the local edit; try again after Tovrin finishes.");
    EXPECT_FALSE(std::filesystem::exists(journalFile(world_.testPlatform)));
  }

  EditOutcome save() { return world_.edit(item_, contents_); }

  LockProcess other_;
  EditWorld world_;
  SharedItem item_ = world_.itemNamed("a.txt");
  std::filesystem::path contents_ = [this] {
    const auto file = world_.testPlatform.scratch / "handed-over";
    writeFile(file, "edited");
    return file;
  }();
};

TEST_F(EditFailure, comesFromATombstoneOfTheWarp) {
  installTombstones(world_.testPlatform, {{.warpID = "W1", .manifestKey = "manifests/other.json"}});
  expectRestoring(save());
}

TEST_F(EditFailure, comesFromATombstoneOfTheManifestsKey) {
  installTombstones(world_.testPlatform, {{.warpID = "W9", .manifestKey = "manifests/W1.json"}});
  expectRestoring(save());
}

TEST_F(EditFailure, doesNotComeFromTombstonesOfOtherWarps) {
  installTombstones(world_.testPlatform, {{.warpID = "W2", .manifestKey = "manifests/W2.json"}});
  EXPECT_FALSE(save().error.has_value());
}

TEST_F(EditFailure, comesFromTombstonesThatCannotBeRead) {
  writeFile(world_.testPlatform.warpDirectory() / "destroyed-manifest-index.json", "{");
  const auto error = world_.tree->indexes().tombstones().error();
  expectFailed(save(), error);
}

TEST_F(EditFailure, comesFromAMissingManifest) {
  std::filesystem::remove(world_.testPlatform.warpDirectory() / "ManifestMirror" / "W1.json");
  expectRestoring(save());
}

TEST_F(EditFailure, comesFromAManifestThatDoesNotDecode) {
  writeFile(world_.testPlatform.warpDirectory() / "ManifestMirror" / "W1.json", "{");
  expectRestoring(save());
}

TEST_F(EditFailure, comesFromAMissingMarker) {
  std::filesystem::remove(world_.folder() / ".tovrin-warped.json");
  expectRestoring(save());
}

TEST_F(EditFailure, comesFromTheMarkerOfAnotherWarp) {
  installMarker(world_.folder(), "W2");
  expectRestoring(save());
}

TEST_F(EditFailure, comesFromAnEntryThatHasLeftTheManifest) {
  world_.installWarp([](ManifestSpec& manifest) { manifest.entries.erase(manifest.entries.begin()); });
  expectRestoring(save());
}

TEST_F(EditFailure, comesFromAnEntryThatIsNoFileAnyMore) {
  world_.installWarp([&](ManifestSpec& manifest) {
    manifest.entries.front() = EntrySpec{.path = world_.pathOf("a.txt"), .kind = "directory"};
  });
  expectRestoring(save());
}

TEST_F(EditFailure, comesFromACorruptJournalWhichStaysAsItIs) {
  const std::string corrupt = journalJSON({{.relativePath = "bad"}});
  writeFile(journalFile(world_.testPlatform), corrupt);
  expectFailed(save(), NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
  EXPECT_EQ(readFile(journalFile(world_.testPlatform)), corrupt);
}

TEST_F(EditFailure, comesFromAFileWhoseMetadataCannotBeRead) {
  std::filesystem::remove(contents_);
  expectFailed(save(),
               NSError(NSPOSIXErrorDomain, ENOENT, "Could not read file metadata for " + contents_.string() + "."));
}

TEST_F(EditFailure, comesFromContentsThatAreNoFile) {
  std::filesystem::remove(contents_);
  std::filesystem::create_directory(contents_);
  const auto outcome = save();
  ASSERT_TRUE(outcome.error.has_value());
  expectFailed(outcome, *outcome.error);
}

TEST_F(EditFailure, comesFromACopyThatFindsNoRoom) {
  writeFile(contents_, std::string(1 << 20, 'x'));
  const auto outcome = whileFilesHoldAtMost(1 << 16, [this] { return save(); });
  ASSERT_TRUE(outcome.error.has_value());
  expectFailed(outcome, *outcome.error);
  EXPECT_FALSE(std::filesystem::exists(journalFile(world_.testPlatform)));
}

TEST_F(EditFailure, comesFromAPendingDirectoryThatCannotBeMade) {
  writeFile(pendingDirectory(world_.testPlatform), "in the way");
  const auto outcome = save();
  ASSERT_TRUE(outcome.error.has_value());
  EXPECT_EQ(world_.publishedState().title, "Update failed");
  EXPECT_EQ(world_.publishedState().errorDescription, outcome.error->localizedDescription());
  EXPECT_EQ(readFile(pendingDirectory(world_.testPlatform)), "in the way");
}

TEST_F(EditFailure, comesFromAJournalThatFindsNoRoom) {
  std::vector<TovrinWarpSharedCachedItemRecord> records;
  for (int i = 0; i < 1000; ++i) records.push_back(someRecord("/" + std::to_string(i)));
  ASSERT_TRUE(world_.journal->save(records).has_value());
  const std::string before = readFile(journalFile(world_.testPlatform));
  const auto outcome = whileFilesHoldAtMost(1 << 14, [this] { return save(); });
  ASSERT_TRUE(outcome.error.has_value());
  expectFailed(outcome, *outcome.error);
  EXPECT_EQ(readFile(journalFile(world_.testPlatform)), before);
}

TEST_F(EditFailure, comesFromAMutationLockHeldElsewhereForFiveSeconds) {
  ASSERT_TRUE(other_.lock(lockFile("warp-mutation.lock")));
  const auto outcome = save();
  other_.unlockAll();
  expectFailed(outcome,
               NSError(NSPOSIXErrorDomain, 60, "Another Tovrin file change is still finishing. Please try again."));
  EXPECT_FALSE(std::filesystem::exists(journalFile(world_.testPlatform)));
}

TEST_F(EditFailure, comesFromAJournalLockHeldElsewhereForFiveSeconds) {
  ASSERT_TRUE(other_.lock(lockFile("warp-cached-items.lock")));
  const auto outcome = save();
  other_.unlockAll();
  expectFailed(outcome,
               NSError(NSPOSIXErrorDomain, 60, "Another Tovrin file change is still finishing. Please try again."));
  EXPECT_FALSE(std::filesystem::exists(journalFile(world_.testPlatform)));
}

TEST_F(EditFailure, comesFromCancellingBeforeTheCopyIsJournalled) {
  ASSERT_TRUE(other_.lock(lockFile("warp-mutation.lock")));
  std::shared_ptr<NSProgress> progress;
  std::mutex lock;
  world_.clock.onSleep = [&] {
    const std::lock_guard hold(lock);
    progress->cancel();
    other_.unlockAll();
  };
  std::promise<EditOutcome> promise;
  {
    const std::lock_guard hold(lock);
    progress = modifyItem(world_.context(), item_, contents_,
                          [&](const SharedItem& edited, NSFileProviderItemFields stillPending, bool shouldFetchContent,
                              const std::optional<NSError>& error) {
                            promise.set_value({1, edited, stillPending, shouldFetchContent, error, nullptr});
                          });
  }
  EditOutcome outcome = promise.get_future().get();
  outcome.progress = progress;
  expectFailed(outcome, NSError::cocoa(CocoaErrorCode::userCancelled));
  EXPECT_FALSE(std::filesystem::exists(journalFile(world_.testPlatform)));
}

TEST_F(EditFailure, doesNotComeFromCancellingAfterwards) {
  const auto outcome = save();
  outcome.progress->cancel();
  EXPECT_FALSE(outcome.error.has_value());
  EXPECT_EQ(world_.records().size(), 1U);
  EXPECT_EQ(world_.pendingCopies(), 1U);
}

TEST_F(EditFailure, leavesAnEarlierQueuedEditOfTheFileAsItWas) {
  save();
  const auto queued = world_.records();
  writeFile(contents_, "later edit");
  ASSERT_TRUE(other_.lock(lockFile("warp-cached-items.lock")));
  EXPECT_TRUE(save().error.has_value());
  EXPECT_EQ(world_.records(), queued);
  EXPECT_EQ(readFile(*queued.front().pendingWritebackFilePath), "edited");
  EXPECT_EQ(world_.pendingCopies(), 1U);
}

}  // namespace
}  // namespace tovrin
