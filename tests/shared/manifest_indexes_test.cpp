#include "shared/manifest_indexes.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/warp_fixture.h"

namespace tovrin {
namespace {

namespace fs = std::filesystem;

class ManifestIndexesTest : public testing::Test {
 protected:
  void writeTombstones(const std::string& json) {
    writeFile(platform.warpDirectory() / "destroyed-manifest-index.json", json);
  }
  void writeVisibility(const std::string& json) {
    writeFile(platform.warpDirectory() / "manifest-visibility-index.json", json);
  }

  bool isCorrupt(std::vector<TombstoneSpec> records) {
    installTombstones(platform, records);
    const auto loaded = indexes.tombstones();
    return !loaded && loaded.error().is(CocoaErrorCode::fileReadCorruptFile) &&
           loaded.error().decodingFailure() == nullptr;
  }

  TovrinWarpSharedManifest manifestIn(const fs::path& folder, const std::string& warpID = "W1") {
    ManifestSpec spec;
    spec.warpID = warpID;
    spec.originalFolderPath = folder.string();
    return *decodeManifest(manifestJSON(spec));
  }

  TestPlatform platform;
  ManifestIndexes indexes{platform.platform()};
};

TEST_F(ManifestIndexesTest, tellAMissingVisibilityIndexFromAnEmptyOne) {
  EXPECT_EQ(indexes.visibleWarpIDs(), nullptr);
  installVisibilityIndex(platform, {});
  ASSERT_NE(indexes.visibleWarpIDs(), nullptr);
  EXPECT_TRUE(indexes.visibleWarpIDs()->empty());
  installVisibilityIndex(platform, {"W1", "W1", "W2"});
  EXPECT_EQ(indexes.visibleWarpIDs()->size(), 2u);
}

TEST_F(ManifestIndexesTest, takeAnUndecodableVisibilityIndexForAbsent) {
  for (const char* json : {"", "{", "[]", R"({"visibleWarpIDs":[]})", R"({"generatedAt":"2025-03-01T12:00:00Z"})",
                           R"({"generatedAt":"2025-03-01T12:00:00Z","visibleWarpIDs":[1]})"}) {
    writeVisibility(json);
    EXPECT_EQ(indexes.visibleWarpIDs(), nullptr) << json;
    EXPECT_FALSE(loadVisibilityIndex(platform.directories)) << json;
  }
  platform.directories.container.reset();
  platform.directories.support.reset();
  EXPECT_EQ(indexes.visibleWarpIDs(), nullptr);
}

TEST_F(ManifestIndexesTest, loadNoTombstonesWhereThereIsNoFile) {
  ASSERT_TRUE(indexes.tombstones());
  EXPECT_TRUE((*indexes.tombstones())->records().empty());
}

TEST_F(ManifestIndexesTest, failToLoadTombstonesWithoutAWarpDirectory) {
  platform.directories.container.reset();
  platform.directories.support.reset();
  EXPECT_TRUE(indexes.tombstones().error().is(CocoaErrorCode::fileNoSuchFile));
}

TEST_F(ManifestIndexesTest, acceptTombstonesOfVersionOneOnly) {
  const std::string rest = R"("generatedAt":"2025-03-01T12:00:00Z","records":[]})";
  writeTombstones(R"({"version":2,)" + rest);
  const auto later = indexes.tombstones();
  ASSERT_FALSE(later);
  EXPECT_EQ(later.error().decodingFailure()->debugDescription, "Unsupported restored-Warp tombstone index version.");
  EXPECT_EQ(later.error().decodingFailure()->codingPath, std::vector<std::string>{"version"});
  writeTombstones("{" + rest);
  EXPECT_TRUE(indexes.tombstones());
  writeTombstones(R"({"version":1,)" + rest);
  EXPECT_TRUE(indexes.tombstones());
}

TEST_F(ManifestIndexesTest, returnTheRecordsInFileOrder) {
  installTombstones(platform, {{"b", "keys/b"}, {"a", "keys/a"}});
  const auto loaded = indexes.tombstones();
  ASSERT_TRUE(loaded);
  ASSERT_EQ((*loaded)->records().size(), 2u);
  EXPECT_EQ((*loaded)->records()[0].warpID, "b");
  EXPECT_TRUE((*loaded)->matches("a", "none"));
  EXPECT_TRUE((*loaded)->matches("none", "keys/b"));
  EXPECT_FALSE((*loaded)->matches("keys/a", "a")) << "an identity is no key";
}

TEST_F(ManifestIndexesTest, findTombstonesCorruptWhenATextStandsForTwoThings) {
  EXPECT_TRUE(isCorrupt({{"a", "keys/x"}, {"b", "keys/x"}}));
  EXPECT_TRUE(isCorrupt({{"a", "keys/a"}, {"a", "keys/b"}}));
  EXPECT_TRUE(isCorrupt({{"a", "keys/a"}, {"keys/a", "keys/b"}}));
  EXPECT_TRUE(isCorrupt({{"same", "same"}}));
}

TEST_F(ManifestIndexesTest, findTombstonesCorruptWhenAFieldIsUnsafe) {
  EXPECT_TRUE(isCorrupt({{"", "keys/a"}}));
  EXPECT_TRUE(isCorrupt({{"a", "/keys/a"}}));
  EXPECT_TRUE(isCorrupt({{"a", ""}}));
  EXPECT_TRUE(isCorrupt({{"a", "keys/a", "Users/a"}}));
  EXPECT_TRUE(isCorrupt({{"a", "keys/a", "/Users/a/"}}));
  EXPECT_FALSE(isCorrupt({{"a", "keys/a", "/"}}));
}

TEST_F(ManifestIndexesTest, findAManifestLiveWhenItsFolderCarriesItsMarker) {
  const fs::path folder = platform.scratch / "Photos";
  EXPECT_FALSE(indexes.isManifestLive(manifestIn(folder))) << "no marker";
  installMarker(folder, "W1");
  EXPECT_TRUE(indexes.isManifestLive(manifestIn(folder)));
  EXPECT_FALSE(indexes.isManifestLive(manifestIn(folder, "W2"))) << "the marker of another Warp";
}

TEST_F(ManifestIndexesTest, findAManifestNotLiveWhenItsMarkerCannotBeRead) {
  const fs::path folder = platform.scratch / "Photos";
  for (const char* marker :
       {"", "{", "[\"W1\"]", "\"W1\"", "{}", R"({"warpID":1})", R"({"warpID":null})", R"({"warpID":"W1"} x)"}) {
    writeFile(folder / ".tovrin-warped.json", marker);
    EXPECT_FALSE(indexes.isManifestLive(manifestIn(folder))) << marker;
  }
  writeFile(folder / ".tovrin-warped.json", R"({"other":[1,{}],"warpID":"W1"})");
  EXPECT_TRUE(indexes.isManifestLive(manifestIn(folder)));
}

TEST_F(ManifestIndexesTest, readAMarkerWithWhateverBesideTheWarp) {
  const fs::path folder = platform.scratch / "Photos";
  for (const char* marker :
       {"\xEF\xBB\xBF{\"warpID\":\"W1\"}", R"({"n":100000000000000000000000000,"warpID":"W1","m":1e999})"}) {
    writeFile(folder / ".tovrin-warped.json", marker);
    EXPECT_TRUE(indexes.isManifestLive(manifestIn(folder))) << marker;
  }
}

TEST_F(ManifestIndexesTest, doNotTakeTombstonesThatCannotBeReadForNone) {
  fs::create_directories(platform.warpDirectory() / "destroyed-manifest-index.json");
  EXPECT_FALSE(indexes.tombstones()) << "a folder in its place";
}

TEST_F(ManifestIndexesTest, findADestroyedManifestNotLive) {
  const fs::path folder = platform.scratch / "Photos";
  installMarker(folder, "W1");
  installTombstones(platform, {{"W1", "manifests/other.json"}});
  EXPECT_FALSE(indexes.isManifestLive(manifestIn(folder)));
  installTombstones(platform, {{"other", "manifests/W1.json"}});
  EXPECT_FALSE(indexes.isManifestLive(manifestIn(folder))) << "by its key alone";
  installTombstones(platform, {{"other", "manifests/other.json"}});
  EXPECT_TRUE(indexes.isManifestLive(manifestIn(folder)));
}

TEST_F(ManifestIndexesTest, countUnreadableTombstonesAsNoneForTheLiveTest) {
  const fs::path folder = platform.scratch / "Photos";
  installMarker(folder, "W1");
  writeTombstones("{");
  EXPECT_TRUE(indexes.isManifestLive(manifestIn(folder)));
}

}  // namespace
}  // namespace tovrin
