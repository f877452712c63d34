#include "provider/visibility.h"

#include <gtest/gtest.h>

#include "provider/domain.h"

namespace tovrin {
namespace {

Names visible(Domain& domain) { return warpIDs(domain.tree.visibleManifests()); }

TEST(Visibility, uploadingAndFailedWarpsAreHidden) {
  Domain domain;
  for (const char* status : {"uploading", "verified", "replaced", "failed", "needsAttention"}) {
    ManifestSpec spec = warp(status, std::string("/") + status);
    spec.status = status;
    domain.install(spec);
  }
  Names names = visible(domain);
  std::ranges::sort(names);
  EXPECT_EQ(names, (Names{"needsAttention", "replaced", "verified"}));
}

TEST(Visibility, aWarpOfDirectoriesAndLinksIsHidden) {
  Domain domain;
  domain.install(warp("W1", "/Photos", {{.path = "/Photos/a", .kind = "directory"}}));
  domain.install(warp("W2", "/Links", {{.path = "/Links/a", .kind = "symlink"}}));
  ManifestSpec empty = warp("W3", "/Empty");
  empty.entries.clear();
  domain.install(empty);
  EXPECT_TRUE(visible(domain).empty());
}

TEST(Visibility, aTombstoneHidesByTheWarpID) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  installTombstones(domain.platform, {{.warpID = "W1", .manifestKey = "manifests/other.json"}});
  EXPECT_TRUE(visible(domain).empty());
}

TEST(Visibility, aTombstoneHidesByTheManifestKeyAlone) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  installTombstones(domain.platform, {{.warpID = "other", .manifestKey = "manifests/W1.json"}});
  EXPECT_TRUE(visible(domain).empty());
}

TEST(Visibility, aTombstoneOfAnotherWarpHidesNothing) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  installTombstones(domain.platform, {{.warpID = "w1", .manifestKey = "manifests/w1.json"}});
  EXPECT_EQ(visible(domain), (Names{"W1"}));
}

TEST(Visibility, unreadableTombstonesCountAsNone) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  writeFile(domain.platform.warpDirectory() / "destroyed-manifest-index.json", R"({"version":2})");
  EXPECT_EQ(visible(domain), (Names{"W1"}));
}

TEST(Visibility, theIndexNamesTheWarpsThatAreListed) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  domain.install(warp("W2", "/Music"));
  installVisibilityIndex(domain.platform, {"W2", "missing"});
  EXPECT_EQ(visible(domain), (Names{"W2"}));
}

TEST(Visibility, theIndexAloneDoesNotMakeAHiddenWarpVisible) {
  Domain domain;
  ManifestSpec uploading = warp("W1", "/Photos");
  uploading.status = "uploading";
  domain.install(uploading);
  installVisibilityIndex(domain.platform, {"W1"});
  EXPECT_TRUE(visible(domain).empty());
}

TEST(Visibility, anEmptyIndexHidesEveryWarp) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  installVisibilityIndex(domain.platform, {});
  EXPECT_TRUE(visible(domain).empty());
}

TEST(Visibility, anUnreadableIndexHidesNothing) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  writeFile(domain.platform.warpDirectory() / "manifest-visibility-index.json", R"({"visibleWarpIDs":[]})");
  EXPECT_EQ(visible(domain), (Names{"W1"}));
}

TEST(Visibility, theIndexMatchesCanonicallyEquivalentIdentities) {
  Domain domain;
  domain.install(warp("W\u00e9", "/Photos"));
  installVisibilityIndex(domain.platform, {"We\u0301"});
  EXPECT_EQ(visible(domain), (Names{"W\u00e9"}));
}

TEST(Visibility, tombstonesMatchCanonicallyEquivalentIdentities) {
  Domain domain;
  domain.install(warp("W\u00e9", "/Photos"));
  installTombstones(domain.platform, {{.warpID = "We\u0301", .manifestKey = "other.json"}});
  EXPECT_TRUE(visible(domain).empty());
}

TEST(Visibility, theIndexesAreReadOnEveryCallWhileManifestsComeFromTheCache) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  domain.install(warp("W2", "/Music"));
  installVisibilityIndex(domain.platform, {"W1"});
  EXPECT_EQ(visible(domain), (Names{"W1"}));
  installVisibilityIndex(domain.platform, {"W2"});
  EXPECT_EQ(visible(domain), (Names{"W2"}));
  installTombstones(domain.platform, {{.warpID = "W2", .manifestKey = "manifests/W2.json"}});
  EXPECT_TRUE(visible(domain).empty());
  std::filesystem::remove(domain.platform.warpDirectory() / "destroyed-manifest-index.json");
  std::filesystem::remove(domain.platform.warpDirectory() / "manifest-visibility-index.json");
  EXPECT_EQ(visible(domain).size(), 2u);
}

TEST(Visibility, aHiddenWarpCanStillBeLookedUp) {
  Domain domain;
  ManifestSpec uploading = warp("W1", "/Photos");
  uploading.status = "uploading";
  domain.install(uploading);
  EXPECT_TRUE(domain.tree.childrenOfAbsoluteFolder(std::nullopt).empty());
  const SharedItem folder = makeItem("manifest:W1", domain.tree);
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(folder->filename(), "Photos");
  EXPECT_EQ(filenames(domain.tree.childrenOfWarp("W1")), (Names{"a.txt"}));
}

TEST(Visibility, aDestroyedWarpCanStillBeLookedUp) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  installTombstones(domain.platform, {{.warpID = "W1", .manifestKey = "manifests/W1.json"}});
  EXPECT_NE(makeItem("manifest:W1", domain.tree), nullptr);
}

TEST(WarpDate, isWhenItWasReplacedElseUploadedElseMade) {
  TovrinWarpSharedManifest manifest;
  manifest.createdAt = {3};
  EXPECT_EQ(warpDate(manifest), Date{3});
  manifest.uploadedAt = Date{2};
  EXPECT_EQ(warpDate(manifest), Date{2});
  manifest.replacedAt = Date{1};
  EXPECT_EQ(warpDate(manifest), Date{1});
}

TEST(LatestWarpDate, isTheNewestOfTheVisibleWarps) {
  Domain domain;
  EXPECT_FALSE(domain.tree.latestWarpDate());
  ManifestSpec replaced = warp("W1", "/Photos");
  replaced.replacedAt = "2025-04-01T00:00:00Z";
  domain.install(replaced);
  ManifestSpec uploaded = warp("W2", "/Music");
  uploaded.uploadedAt = "2025-05-01T00:00:00Z";
  domain.install(uploaded);
  ManifestSpec hidden = warp("W3", "/Hidden");
  hidden.replacedAt = "2025-06-01T00:00:00Z";
  hidden.status = "failed";
  domain.install(hidden);
  domain.expireCache();
  EXPECT_EQ(domain.tree.latestWarpDate(), parseISO8601("2025-05-01T00:00:00Z"));
}

TEST(LatestWarpDate, isFoundBeforeTheYear1970) {
  Domain domain;
  ManifestSpec old = warp("W1", "/Photos");
  old.createdAt = "1960-01-01T00:00:00Z";
  domain.install(old);
  EXPECT_EQ(domain.tree.latestWarpDate(), parseISO8601("1960-01-01T00:00:00Z"));
}

}  // namespace
}  // namespace tovrin
