#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "provider/domain.h"
#include "provider/identifier.h"

namespace tovrin {
namespace {

std::vector<SharedItem> top(Domain& domain) { return domain.tree.childrenOfAbsoluteFolder(std::nullopt); }

std::vector<SharedItem> in(Domain& domain, std::string folder) {
  return domain.tree.childrenOfAbsoluteFolder(std::move(folder));
}

TEST(AbsoluteFolders, aWarpIsReachedThroughTheFoldersAboveIt) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos"));
  EXPECT_EQ(identifiers(top(domain)), (Names{absoluteDirectoryIdentifier("/Users")}));
  EXPECT_EQ(identifiers(in(domain, "/Users")), (Names{absoluteDirectoryIdentifier("/Users/ann")}));
  EXPECT_EQ(identifiers(in(domain, "/Users/ann")), (Names{"manifest:W1"}));
  EXPECT_TRUE(in(domain, "/Users/ann/Photos").empty());
}

TEST(AbsoluteFolders, twoWarpsShareTheFoldersAboveThem) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos"));
  domain.install(warp("W2", "/Users/bob/Music"));
  domain.install(warp("W3", "/Users/ann/Music"));
  EXPECT_EQ(filenames(top(domain)), (Names{"Users"}));
  EXPECT_EQ(filenames(in(domain, "/Users")), (Names{"ann", "bob"}));
  EXPECT_EQ(filenames(in(domain, "/Users/ann")), (Names{"Music", "Photos"}));
}

TEST(AbsoluteFolders, aWarpOfATopFolderIsListedDirectlyUnderWarpedFiles) {
  Domain domain;
  domain.install(warp("W1", "/Photos"));
  const auto items = top(domain);
  ASSERT_EQ(identifiers(items), (Names{"manifest:W1"}));
  EXPECT_EQ(items.front()->parentItemIdentifier(), "warped-root");
}

TEST(AbsoluteFolders, aWarpOfTheWholeDiskIsListedDirectlyUnderWarpedFiles) {
  Domain domain;
  domain.install(warp("W1", "/", {{.path = "/a"}}));
  const auto items = top(domain);
  ASSERT_EQ(identifiers(items), (Names{"manifest:W1"}));
  EXPECT_EQ(items.front()->filename(), "/");
  EXPECT_TRUE(in(domain, "/").empty());
}

TEST(AbsoluteFolders, aWarpInsideAnothersFolderIsReachedThroughAFolderOfItsOwn) {
  Domain domain;
  domain.install(warp("outer", "/Users/ann"));
  domain.install(warp("inner", "/Users/ann/Photos"));
  EXPECT_EQ(identifiers(in(domain, "/Users")), (Names{absoluteDirectoryIdentifier("/Users/ann"), "manifest:outer"}));
  EXPECT_EQ(identifiers(in(domain, "/Users/ann")), (Names{"manifest:inner"}));
}

TEST(AbsoluteFolders, namesThatBeginAlikeAreDifferentFolders) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos"));
  domain.install(warp("W2", "/Users/anna/Photos"));
  EXPECT_EQ(identifiers(in(domain, "/Users/ann")), (Names{"manifest:W1"}));
}

TEST(AbsoluteFolders, pathsThatNoWarpHasAreEmpty) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos"));
  for (const char* path : {"", "/", "/Users/", "//Users", "/users", "Users", "/Users/..", "/Users/ann/Photos/x"}) {
    EXPECT_TRUE(in(domain, path).empty()) << path;
  }
}

TEST(AbsoluteFolders, foldersAndWarpsAreListedTogetherInFinderOrder) {
  Domain domain;
  domain.install(warp("W1", "/folder 10/x"));
  domain.install(warp("W2", "/folder 2"));
  domain.install(warp("W3", "/Folder 9/x"));
  domain.install(warp("W4", "/\u00c4pfel"));
  EXPECT_EQ(filenames(top(domain)), (Names{"\u00c4pfel", "folder 2", "Folder 9", "folder 10"}));
}

TEST(AbsoluteFolders, aWarpIsSortedByItsDisplayNameNotItsPath) {
  Domain domain;
  ManifestSpec first = warp("W1", "/a");
  first.displayName = "z";
  domain.install(first);
  domain.install(warp("W2", "/m"));
  EXPECT_EQ(identifiers(top(domain)), (Names{"manifest:W2", "manifest:W1"}));
}

TEST(AbsoluteFolders, warpsOfOneNameStayNewestFirstAfterTheFolderOfThatName) {
  Domain domain;
  domain.install(warp("below", "/same/x"));
  for (const char* day : {"3", "5", "4"}) {
    ManifestSpec spec = warp(day, std::string("/") + day);
    spec.displayName = "same";
    spec.createdAt = std::string("2025-03-0") + day + "T12:00:00Z";
    domain.install(spec);
  }
  EXPECT_EQ(identifiers(top(domain)),
            (Names{absoluteDirectoryIdentifier("/same"), "manifest:5", "manifest:4", "manifest:3"}));
}

TEST(AbsoluteFolders, hiddenWarpsAddNoFolders) {
  Domain domain;
  ManifestSpec hidden = warp("W1", "/Users/ann/Photos");
  hidden.status = "uploading";
  domain.install(hidden);
  EXPECT_TRUE(top(domain).empty());
}

TEST(AbsoluteFolders, everyFolderCarriesTheDateOfTheNewestWarpOfTheDomain) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos"));
  ManifestSpec newest = warp("W2", "/Volumes/x/Music");
  newest.replacedAt = "2025-06-01T00:00:00Z";
  domain.install(newest);
  for (const SharedItem& folder : top(domain)) {
    EXPECT_EQ(folder->contentModificationDate(), parseISO8601("2025-06-01T00:00:00Z")) << folder->filename();
    EXPECT_EQ(folder->creationDate(), parseISO8601("2025-06-01T00:00:00Z"));
  }
}

TEST(WarpListing, theRootEntryIsNeverListed) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos",
                      {{.path = "/Users/ann/Photos", .kind = "directory"}, {.path = "/Users/ann/Photos/a.jpg"}}));
  const auto items = domain.tree.childrenOfWarp("W1");
  ASSERT_EQ(filenames(items), (Names{"a.jpg"}));
  EXPECT_EQ(items.front()->parentItemIdentifier(), "manifest:W1");
}

TEST(WarpListing, entriesAreNotGroupedByKind) {
  Domain domain;
  domain.install(warp("W1", "/W",
                      {{.path = "/W/c"},
                       {.path = "/W/b", .kind = "directory"},
                       {.path = "/W/a", .kind = "symlink"},
                       {.path = "/W/B2"}}));
  EXPECT_EQ(filenames(domain.tree.childrenOfWarp("W1")), (Names{"a", "b", "B2", "c"}));
}

TEST(WarpListing, aDirectoryListsItsOwnEntries) {
  Domain domain;
  domain.install(warp("W1", "/W",
                      {{.path = "/W/d", .kind = "directory"},
                       {.path = "/W/d/2"},
                       {.path = "/W/d/10"},
                       {.path = "/W/d/e", .kind = "directory"},
                       {.path = "/W/d/e/deep"}}));
  const auto items = domain.tree.childrenOfEntry("W1", "/W/d");
  EXPECT_EQ(filenames(items), (Names{"2", "10", "e"}));
  for (const SharedItem& item : items) EXPECT_EQ(item->parentItemIdentifier(), entryIdentifier("W1", "/W/d"));
}

TEST(WarpListing, hardLinksAreListedLikeOtherFiles) {
  Domain domain;
  domain.install(warp("W1", "/W", {{.path = "/W/a"}, {.path = "/W/b", .hardLinkPrimaryPath = "/W/a"}}));
  EXPECT_EQ(filenames(domain.tree.childrenOfWarp("W1")), (Names{"a", "b"}));
}

TEST(WarpListing, aFileAndALinkHoldNothing) {
  Domain domain;
  domain.install(warp(
      "W1", "/W", {{.path = "/W/f"}, {.path = "/W/l", .kind = "symlink"}, {.path = "/W/f/odd"}, {.path = "/W/l/odd"}}));
  EXPECT_TRUE(domain.tree.childrenOfEntry("W1", "/W/f").empty());
  EXPECT_TRUE(domain.tree.childrenOfEntry("W1", "/W/l").empty());
}

TEST(WarpListing, aFolderWithoutAnEntryIsNoItemButItsEntriesKnowTheirParent) {
  Domain domain;
  domain.install(warp("W1", "/W", {{.path = "/W/missing/a"}}));
  EXPECT_TRUE(domain.tree.childrenOfWarp("W1").empty());
  EXPECT_EQ(makeItem(entryIdentifier("W1", "/W/missing"), domain.tree), nullptr);
  const SharedItem entry = makeItem(entryIdentifier("W1", "/W/missing/a"), domain.tree);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry->parentItemIdentifier(), entryIdentifier("W1", "/W/missing"));
}

TEST(WarpListing, anUnknownWarpIsEmpty) {
  Domain domain;
  EXPECT_TRUE(domain.tree.childrenOfWarp("W1").empty());
  EXPECT_TRUE(domain.tree.childrenOfEntry("W1", "/W").empty());
}

TEST(WarpListing, entriesThatWriteTheWarpsFolderInAnotherNormalFormLieAtItsTop) {
  Domain domain;
  domain.install(warp("W1", "/W\u00e9", {{.path = "/We\u0301/b"}, {.path = "/W\u00e9/a"}}));
  const auto items = domain.tree.childrenOfWarp("W1");
  EXPECT_EQ(filenames(items), (Names{"a", "b"}));
  for (const SharedItem& item : items) EXPECT_EQ(item->parentItemIdentifier(), "manifest:W1");
}

TEST(WholeDomain, holdsEveryFolderEveryVisibleWarpAndEveryEntryOnce) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos",
                      {{.path = "/Users/ann/Photos", .kind = "directory"},
                       {.path = "/Users/ann/Photos/d", .kind = "directory"},
                       {.path = "/Users/ann/Photos/d/a.jpg"}}));
  domain.install(warp("W2", "/Users/bob/Music"));
  ManifestSpec hidden = warp("W3", "/Users/eve/Hidden");
  hidden.status = "failed";
  domain.install(hidden);

  const Names all = identifiers(domain.tree.wholeDomain());
  ASSERT_EQ(all.size(), 1u + 3u + 2u + 4u);
  EXPECT_EQ(all.front(), "warped-root");
  EXPECT_EQ(std::set(all.begin() + 1, all.begin() + 4),
            (std::set<std::string>{absoluteDirectoryIdentifier("/Users"), absoluteDirectoryIdentifier("/Users/ann"),
                                   absoluteDirectoryIdentifier("/Users/bob")}));
  EXPECT_EQ(std::set(all.begin() + 4, all.begin() + 6), (std::set<std::string>{"manifest:W1", "manifest:W2"}));
  EXPECT_EQ(std::set(all.begin() + 6, all.end()),
            (std::set<std::string>{
                entryIdentifier("W1", "/Users/ann/Photos"), entryIdentifier("W1", "/Users/ann/Photos/d"),
                entryIdentifier("W1", "/Users/ann/Photos/d/a.jpg"), entryIdentifier("W2", "/Users/bob/Music/a.txt")}));
}

TEST(WholeDomain, aFolderComesAfterTheFolderThatHoldsIt) {
  Domain domain;
  domain.install(warp("W1", "/a/b/c/d"));
  domain.install(warp("W2", "/a/b/x/y/z"));
  std::set<std::string> seen{std::string(NSFileProviderRootContainerItemIdentifier)};
  for (const SharedItem& item : domain.tree.wholeDomain()) {
    EXPECT_TRUE(item->entry() || seen.contains(item->parentItemIdentifier())) << item->filename();
    seen.insert(item->itemIdentifier());
  }
}

TEST(WholeDomain, itsItemsAreThoseOfTheListings) {
  Domain domain;
  domain.install(warp("W1", "/Users/ann/Photos",
                      {{.path = "/Users/ann/Photos/d", .kind = "directory"},
                       {.path = "/Users/ann/Photos/d/a.jpg", .size = 7, .modificationTimeNanoseconds = 5'000'000'000},
                       {.path = "/Users/ann/Photos/b"}}));
  domain.install(warp("W2", "/Users/bob/Music"));
  std::map<std::string, SharedItem> listed;
  std::vector<SharedItem> pending{makeItem("warped-root", domain.tree)};
  while (!pending.empty()) {
    const SharedItem item = pending.back();
    pending.pop_back();
    listed[item->itemIdentifier()] = item;
    const auto parsed = TovrinFileProviderIdentifier::parse(item->itemIdentifier());
    std::vector<SharedItem> children;
    if (const auto* folder = std::get_if<TovrinFileProviderIdentifier::AbsoluteDirectory>(&parsed->value)) {
      children = in(domain, folder->path);
    } else if (std::holds_alternative<TovrinFileProviderIdentifier::WarpedRoot>(parsed->value)) {
      children = top(domain);
    } else if (const auto* entry = std::get_if<TovrinFileProviderIdentifier::Entry>(&parsed->value)) {
      children = domain.tree.childrenOfEntry(entry->warpID, entry->relativePath);
    } else {
      children = domain.tree.childrenOfWarp(*item->warpID());
    }
    for (const SharedItem& child : children) EXPECT_EQ(child->parentItemIdentifier(), item->itemIdentifier());
    pending.insert(pending.end(), children.begin(), children.end());
  }
  const auto all = domain.tree.wholeDomain();
  EXPECT_EQ(all.size(), listed.size());
  for (const SharedItem& item : all) {
    const SharedItem& same = listed[item->itemIdentifier()];
    ASSERT_NE(same, nullptr) << item->itemIdentifier();
    EXPECT_EQ(item->parentItemIdentifier(), same->parentItemIdentifier());
    EXPECT_EQ(item->itemVersion(), same->itemVersion());
    const SharedItem lookedUp = makeItem(item->itemIdentifier(), domain.tree);
    EXPECT_EQ(item->itemVersion(), lookedUp->itemVersion());
    EXPECT_EQ(item->parentItemIdentifier(), lookedUp->parentItemIdentifier());
  }
}

TEST(WholeDomain, ofTwoManifestsOfOneWarpTheFirstDecidesTheParents) {
  Domain domain;
  ManifestSpec first = warp("W1", "/Photos/d", {{.path = "/Photos/d/a"}});
  first.createdAt = "2025-03-09T12:00:00Z";
  ManifestSpec second = warp("W1", "/Photos", {{.path = "/Photos/b"}, {.path = "/Photos/d/e"}});
  const auto mirror = domain.platform.warpDirectory() / "ManifestMirror";
  writeFile(mirror / "W1.json", manifestJSON(first));
  writeFile(mirror / "other.json", manifestJSON(second));
  std::map<std::string, std::string> parents;
  for (const SharedItem& item : domain.tree.wholeDomain())
    parents[item->itemIdentifier()] = item->parentItemIdentifier();
  EXPECT_EQ(parents[entryIdentifier("W1", "/Photos/d/a")], "manifest:W1");
  EXPECT_EQ(parents[entryIdentifier("W1", "/Photos/d/e")], "manifest:W1");
  EXPECT_EQ(parents[entryIdentifier("W1", "/Photos/b")], entryIdentifier("W1", "/Photos"));
}

TEST(WholeDomain, withoutWarpsIsTheOneFolderWithoutADate) {
  Domain domain;
  const auto all = domain.tree.wholeDomain();
  ASSERT_EQ(identifiers(all), (Names{"warped-root"}));
  EXPECT_FALSE(all.front()->contentModificationDate());
}

}  // namespace
}  // namespace tovrin
