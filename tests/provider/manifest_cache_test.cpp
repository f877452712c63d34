#include <gtest/gtest.h>

#include "provider/domain.h"

/// How often the manifests are read shows in what a listing holds after a manifest was rewritten.
namespace tovrin {
namespace {

ManifestSpec named(std::string warpID, std::string displayName) {
  ManifestSpec spec = warp(std::move(warpID), "/Photos");
  spec.displayName = std::move(displayName);
  return spec;
}

Names listed(Domain& domain) { return filenames(domain.tree.childrenOfAbsoluteFolder(std::nullopt)); }

std::string nameOf(const SharedManifest& manifest) {
  return manifest ? std::string(manifest->manifest().displayName) : "none";
}

TEST(ManifestCache, readsNothingBeforeItsFirstUse) {
  Domain domain;
  domain.install(named("W1", "after"));
  EXPECT_EQ(listed(domain), (Names{"after"}));
}

TEST(ManifestCache, twoListingsHalfASecondApartReadTheStoreOnce) {
  Domain domain;
  domain.install(named("W1", "old"));
  EXPECT_EQ(listed(domain), (Names{"old"}));
  domain.install(named("W1", "new"));
  domain.platform.clock.advance(0.5);
  EXPECT_EQ(listed(domain), (Names{"old"}));
}

TEST(ManifestCache, twoListingsASecondApartReadTheStoreTwice) {
  Domain domain;
  domain.install(named("W1", "old"));
  EXPECT_EQ(listed(domain), (Names{"old"}));
  domain.install(named("W1", "new"));
  domain.platform.clock.advance(1);
  EXPECT_EQ(listed(domain), (Names{"new"}));
}

TEST(ManifestCache, isStaleExactlyThreeQuartersOfASecondAfterTheReading) {
  Domain domain;
  domain.install(named("W1", "old"));
  listed(domain);
  domain.install(named("W1", "new"));
  domain.platform.clock.setNow({1700000000.75 - 1.0 / 1024});
  EXPECT_EQ(listed(domain), (Names{"old"}));
  domain.platform.clock.setNow({1700000000.75});
  EXPECT_EQ(listed(domain), (Names{"new"}));
}

TEST(ManifestCache, isFreshWhenTheClockWasSetBack) {
  Domain domain;
  domain.install(named("W1", "old"));
  listed(domain);
  domain.install(named("W1", "new"));
  domain.platform.clock.setNow({1600000000.0});
  EXPECT_EQ(listed(domain), (Names{"old"}));
  EXPECT_EQ(nameOf(domain.tree.manifestForWarpID("W1")), "old");
}

TEST(ManifestCache, anEmptyReadingIsKeptToo) {
  Domain domain;
  EXPECT_TRUE(listed(domain).empty());
  domain.install(named("W1", "new"));
  EXPECT_TRUE(listed(domain).empty());
  domain.expireCache();
  EXPECT_EQ(listed(domain), (Names{"new"}));
}

TEST(ManifestCache, forgetsManifestsThatAreGone) {
  Domain domain;
  domain.install(named("W1", "first"));
  domain.install(named("W2", "second"));
  EXPECT_EQ(listed(domain).size(), 2u);
  std::filesystem::remove(domain.platform.warpDirectory() / "ManifestMirror" / "W2.json");
  domain.expireCache();
  EXPECT_EQ(listed(domain), (Names{"first"}));
  EXPECT_EQ(domain.tree.manifestForWarpID("W2"), nullptr);
}

TEST(ManifestCache, keepsTheOrderOfTheStore) {
  Domain domain;
  for (const char* day : {"2", "4", "1", "3"}) {
    ManifestSpec spec = warp(std::string("W") + day, "/Photos");
    spec.createdAt = std::string("2025-03-0") + day + "T12:00:00Z";
    domain.install(spec);
  }
  EXPECT_EQ(warpIDs(domain.tree.cachedManifests()), (Names{"W4", "W3", "W2", "W1"}));
  EXPECT_EQ(warpIDs(domain.tree.visibleManifests()), (Names{"W4", "W3", "W2", "W1"}));
}

TEST(ManifestCache, aFreshCacheAnswersALookupWithoutReading) {
  Domain domain;
  domain.install(named("W1", "old"));
  listed(domain);
  domain.install(named("W1", "new"));
  EXPECT_EQ(nameOf(domain.tree.manifestForWarpID("W1")), "old");
}

TEST(ManifestCache, aLookupOfAnUnknownWarpReadsOnlyThatWarp) {
  Domain domain;
  domain.install(named("W1", "old"));
  listed(domain);
  domain.install(named("W1", "new"));
  domain.install(named("W2", "added"));
  EXPECT_EQ(nameOf(domain.tree.manifestForWarpID("W2")), "added");
  EXPECT_EQ(listed(domain), (Names{"added", "old"}));
}

TEST(ManifestCache, aLookupDoesNotMakeTheCacheYounger) {
  Domain domain;
  domain.install(named("W1", "old"));
  listed(domain);
  domain.platform.clock.advance(0.5);
  domain.install(named("W2", "added"));
  EXPECT_EQ(nameOf(domain.tree.manifestForWarpID("W2")), "added");
  domain.install(named("W1", "new"));
  domain.platform.clock.advance(0.25);
  EXPECT_EQ(listed(domain), (Names{"added", "new"}));
}

TEST(ManifestCache, aLookupInAStaleCacheReadsThatWarpAgainAndKeepsItsPlace) {
  Domain domain;
  ManifestSpec newer = named("W1", "old");
  newer.createdAt = "2025-03-09T12:00:00Z";
  domain.install(newer);
  domain.install(named("W2", "other"));
  listed(domain);
  domain.expireCache();
  newer.displayName = "new";
  domain.install(newer);
  EXPECT_EQ(nameOf(domain.tree.manifestForWarpID("W1")), "new");

  domain.platform.clock.advance(-0.5);
  EXPECT_EQ(warpIDs(domain.tree.cachedManifests()), (Names{"W1", "W2"}));
  EXPECT_EQ(nameOf(domain.tree.cachedManifests().front()), "new");
}

TEST(ManifestCache, aLookupInAColdCacheFillsItWithNothingElse) {
  Domain domain;
  domain.install(named("W1", "first"));
  domain.install(named("W2", "second"));
  EXPECT_EQ(nameOf(domain.tree.manifestForWarpID("W1")), "first");
  EXPECT_EQ(listed(domain), (Names{"first", "second"}));
}

TEST(ManifestCache, aWarpThatCannotBeReadIsNothing) {
  Domain domain;
  const auto mirror = domain.platform.warpDirectory() / "ManifestMirror";
  writeFile(mirror / "broken.json", "{");
  writeFile(mirror / "other.json", manifestJSON(warp("W9", "/Photos")));
  EXPECT_EQ(domain.tree.manifestForWarpID("broken"), nullptr);
  EXPECT_EQ(domain.tree.manifestForWarpID("other"), nullptr);
  EXPECT_EQ(domain.tree.manifestForWarpID("missing"), nullptr);
}

TEST(ManifestCache, aWarpUnderAnotherFileNameIsFoundWhileTheCacheIsFresh) {
  Domain domain;
  writeFile(domain.platform.warpDirectory() / "ManifestMirror" / "other.json", manifestJSON(warp("W9", "/Photos")));
  EXPECT_EQ(listed(domain), (Names{"Photos"}));
  EXPECT_NE(domain.tree.manifestForWarpID("W9"), nullptr);
  domain.expireCache();
  EXPECT_EQ(domain.tree.manifestForWarpID("W9"), nullptr);
}

TEST(ManifestCache, theFirstOfTwoManifestsOfOneWarpIsTheOneThatIsLookedUp) {
  Domain domain;
  ManifestSpec older = named("W1", "older");
  ManifestSpec newer = named("W1", "newer");
  newer.createdAt = "2025-03-09T12:00:00Z";
  const auto mirror = domain.platform.warpDirectory() / "ManifestMirror";
  writeFile(mirror / "a.json", manifestJSON(older));
  writeFile(mirror / "b.json", manifestJSON(newer));
  EXPECT_EQ(listed(domain), (Names{"newer", "older"}));
  EXPECT_EQ(nameOf(domain.tree.manifestForWarpID("W1")), "newer");
}

TEST(ManifestCache, withoutAContainerThereIsNothing) {
  Domain domain;
  domain.platform.directories.container.reset();
  domain.platform.directories.support.reset();
  EXPECT_TRUE(domain.tree.cachedManifests().empty());
  EXPECT_EQ(domain.tree.manifestForWarpID("W1"), nullptr);
  EXPECT_FALSE(domain.tree.latestWarpDate());
}

}  // namespace
}  // namespace tovrin
