#include "shared/manifest_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "shared/warp_directory.h"
#include "support/warp_fixture.h"

namespace tovrin {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class ManifestStoreTest : public testing::Test {
 protected:
  fs::path mirror() const { return platform.warpDirectory() / "ManifestMirror"; }

  fs::path install(const std::string& warpID, const std::string& createdAt = "2025-03-01T12:00:00Z") {
    ManifestSpec spec;
    spec.warpID = warpID;
    spec.createdAt = createdAt;
    return installManifest(platform, spec);
  }

  std::vector<std::string> loadedWarpIDs() {
    std::vector<std::string> warpIDs;
    for (const auto& manifest : store.loadAll()) warpIDs.emplace_back(manifest->manifest().warpID);
    return warpIDs;
  }

  TestPlatform platform;
  ManifestStore store{platform.platform()};
};

TEST_F(ManifestStoreTest, findsTheWarpDirectoryInTheAppGroupContainer) {
  EXPECT_EQ(locateWarpDirectory(platform.directories)->path(), *platform.directories.container / "Warp");
}

TEST_F(ManifestStoreTest, fallsBackToApplicationSupportWithoutAContainer) {
  platform.directories.container.reset();
  EXPECT_EQ(locateWarpDirectory(platform.directories)->path(), *platform.directories.support / "Tovrin" / "Warp");
  platform.directories.support.reset();
  const auto nowhere = locateWarpDirectory(platform.directories);
  ASSERT_FALSE(nowhere);
  EXPECT_TRUE(nowhere.error().is(CocoaErrorCode::fileNoSuchFile));
  EXPECT_TRUE(store.loadAll().empty());
  EXPECT_TRUE(store.load("W1").error().is(CocoaErrorCode::fileNoSuchFile));
}

TEST_F(ManifestStoreTest, standardizesThePathOfTheWarpDirectory) {
  platform.directories.container = platform.scratch.path() / "x" / ".." / "c";
  EXPECT_EQ(locateWarpDirectory(platform.directories)->path(), platform.scratch / "c" / "Warp");
}

TEST_F(ManifestStoreTest, keepsDirectoryOrderAmongManifestsOfOneDate) {
  for (const char* warpID : {"b", "c", "a", "d"}) install(warpID);
  Names listed;
  for (const auto& file : fs::directory_iterator(mirror())) listed.push_back(file.path().stem());
  EXPECT_EQ(loadedWarpIDs(), listed);
}

TEST_F(ManifestStoreTest, loadsNothingWhereThereIsNoMirror) {
  EXPECT_TRUE(store.loadAll().empty());
  EXPECT_EQ(*store.load("W1"), nullptr);
}

TEST_F(ManifestStoreTest, readsOnlyFilesWhoseExtensionIsExactlyJSON) {
  const fs::path file = install("a");
  fs::copy_file(file, mirror() / "b.JSON");
  fs::copy_file(file, mirror() / "c.json.tmp");
  EXPECT_EQ(loadedWarpIDs(), Names{"a"});
}

TEST_F(ManifestStoreTest, listsHiddenFilesToo) {
  fs::rename(install("a"), mirror() / ".hidden.json");
  EXPECT_EQ(loadedWarpIDs(), Names{"a"});
}

TEST_F(ManifestStoreTest, skipsACorruptManifestAndSortsTheOthersNewestFirst) {
  install("old", "2025-01-01T00:00:00Z");
  install("new", "2025-03-01T00:00:00Z");
  writeFile(mirror() / "corrupt.json", "{");
  EXPECT_EQ(loadedWarpIDs(), (Names{"new", "old"}));
  const auto skipped = store.skipped();
  ASSERT_EQ(skipped.size(), 1u);
  EXPECT_EQ(skipped[0].fileName, "corrupt.json");
  EXPECT_EQ(skipped[0].error.decodingFailure()->debugDescription, "The given data was not valid JSON.");
}

TEST_F(ManifestStoreTest, skipsAManifestWhosePathBeginsWithASpace) {
  ManifestSpec spec;
  spec.originalFolderPath = " /Users/a";
  installManifest(platform, spec);
  EXPECT_TRUE(store.loadAll().empty());
}

TEST_F(ManifestStoreTest, doesNotCareForTheNameOfAFileWhenItLoadsAll) {
  fs::rename(install("a"), mirror() / "other.json");
  EXPECT_EQ(loadedWarpIDs(), Names{"a"});
}

TEST_F(ManifestStoreTest, loadsOneWarpByTheNameOfItsFile) {
  install("w1");
  const auto manifest = store.load("w1");
  ASSERT_TRUE(manifest);
  EXPECT_EQ((*manifest)->manifest().warpID, "w1");
  EXPECT_EQ(*store.load("w2"), nullptr);
}

TEST_F(ManifestStoreTest, failsForAFileThatHoldsAnotherWarp) {
  fs::rename(install("w2"), mirror() / "w1.json");
  const auto manifest = store.load("w1");
  ASSERT_FALSE(manifest);
  EXPECT_TRUE(manifest.error().is(CocoaErrorCode::fileReadCorruptFile));
}

TEST_F(ManifestStoreTest, passesTheDecodingErrorOfOneWarpOn) {
  writeFile(mirror() / "w1.json", R"({"version":9})");
  const auto manifest = store.load("w1");
  ASSERT_FALSE(manifest);
  EXPECT_EQ(manifest.error().decodingFailure()->debugDescription, "Unsupported shared Warp manifest version.");
}

TEST_F(ManifestStoreTest, neverLeavesTheMirror) {
  const fs::path outside = platform.warpDirectory() / "w1.json";
  fs::rename(install("w1"), outside);
  EXPECT_EQ(*store.load("../w1"), nullptr);
  EXPECT_EQ(*store.load((platform.warpDirectory() / "w1").string()), nullptr);
}

TEST_F(ManifestStoreTest, keepsTheDecodedManifestOfAnOldFileThatStaysTheSame) {
  const fs::path file = install("a");
  fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1));
  platform.clock.setNow(systemClock().now());
  const auto first = store.loadAll();
  const auto second = store.loadAll();
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(first[0], second[0]) << "the same decoded manifest, not an equal one";
}

TEST_F(ManifestStoreTest, decodesAgainAFileThatMayStillChangeWithinOneClockTick) {
  install("a");
  platform.clock.setNow(systemClock().now());
  const auto first = store.loadAll();
  const auto second = store.loadAll();
  EXPECT_NE(first[0], second[0]);
}

TEST_F(ManifestStoreTest, decodesAgainAFileThatWasReplaced) {
  const fs::path file = install("a", "2025-01-01T00:00:00Z");
  const auto hourAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
  fs::last_write_time(file, hourAgo);
  platform.clock.setNow(systemClock().now());
  const auto first = store.loadAll();
  install("a", "2025-02-01T00:00:00Z");
  fs::last_write_time(file, hourAgo);
  const auto second = store.loadAll();
  EXPECT_GT(second[0]->manifest().createdAt, first[0]->manifest().createdAt);
}

TEST_F(ManifestStoreTest, decodesOnlyTheOneOfManyThatChanged) {
  constexpr int kCount = 40;
  const auto hourAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
  const auto nameOf = [](int warp) { return "w" + std::to_string(warp); };
  for (int warp = 0; warp < kCount; ++warp) fs::last_write_time(install(nameOf(warp)), hourAgo);
  writeFile(mirror() / "corrupt.json", "{");
  platform.clock.setNow(systemClock().now());
  const auto first = store.loadAll();
  ASSERT_EQ(first.size(), static_cast<std::size_t>(kCount));

  fs::last_write_time(install(nameOf(7)), hourAgo);
  int decoded = 0;
  for (const SharedManifest& manifest : store.loadAll()) {
    const bool isNew = std::ranges::find(first, manifest) == first.end();
    EXPECT_EQ(isNew, manifest->manifest().warpID == nameOf(7));
    decoded += isNew ? 1 : 0;
  }
  EXPECT_EQ(decoded, 1);
}

TEST_F(ManifestStoreTest, forgetsAWarpWhoseFileIsGone) {
  const fs::path file = install("a");
  EXPECT_EQ(loadedWarpIDs(), Names{"a"});
  fs::remove(file);
  EXPECT_EQ(loadedWarpIDs(), Names{});
  EXPECT_EQ(*store.load("a"), nullptr);
}

TEST_F(ManifestStoreTest, canBeUsedFromManyThreadsWhileFilesChange) {
  install("a");
  install("b");
  {
    std::vector<std::jthread> readers;
    for (int i = 0; i < 4; ++i)
      readers.emplace_back([&] {
        for (int round = 0; round < 50; ++round) {
          for (const auto& manifest : store.loadAll()) EXPECT_FALSE(manifest->manifest().warpID.empty());
          std::ignore = store.load("b");
        }
      });
    for (int round = 0; round < 50; ++round) install(round % 2 ? "a" : "c");
  }
  EXPECT_EQ(loadedWarpIDs().size(), 3u);
}

}  // namespace
}  // namespace tovrin
