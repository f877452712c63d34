#include "shared/indexed_manifest.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/warp_fixture.h"

namespace tovrin {
namespace {

IndexedManifest indexed(ManifestSpec spec) {
  auto manifest = decodeManifest(manifestJSON(spec));
  EXPECT_TRUE(manifest.has_value()) << manifest.error().localizedDescription();
  return IndexedManifest(std::move(manifest).value());
}

IndexedManifest indexedPaths(const std::string& folder, const std::vector<std::string>& paths) {
  ManifestSpec spec{.originalFolderPath = folder};
  for (const std::string& path : paths) spec.entries.push_back({.path = path});
  return indexed(std::move(spec));
}

std::vector<std::string> pathsOf(const IndexedManifest& manifest, std::span<const std::uint32_t> entries) {
  std::vector<std::string> paths;
  for (const std::uint32_t entry : entries) paths.emplace_back(manifest.manifest().entries[entry].relativePath);
  return paths;
}

using Paths = std::vector<std::string>;

TEST(IndexedManifest, findsEachEntryByTheBytesOfItsPath) {
  const auto manifest = indexedPaths("/W", {"/W/a", "/W/b", "/W/a/c"});
  for (const TovrinWarpSharedEntry& entry : manifest.manifest().entries) {
    EXPECT_EQ(manifest.entryAt(entry.relativePath), &entry);
  }
  EXPECT_EQ(manifest.entryAt("/W/d"), nullptr);
  EXPECT_EQ(manifest.entryAt("/W/a/"), nullptr);
  EXPECT_EQ(manifest.entryAt(""), nullptr);
}

TEST(IndexedManifest, doesNotFindAnEntryByAnotherNormalFormOfItsPath) {
  const auto manifest = indexedPaths("/W", {"/W/\u00e9"});
  EXPECT_NE(manifest.entryAt("/W/\u00e9"), nullptr);
  EXPECT_EQ(manifest.entryAt("/W/e\u0301"), nullptr);
}

TEST(IndexedManifest, aWarpWithoutEntriesHasNothingToFind) {
  const auto manifest = indexedPaths("/W", {});
  EXPECT_EQ(manifest.entryAt("/W"), nullptr);
  EXPECT_TRUE(manifest.topLevelEntries().empty());
  EXPECT_TRUE(manifest.childrenOf("/W").empty());
  EXPECT_FALSE(manifest.hasFile());
}

TEST(IndexedManifest, theRootEntryIsInNoList) {
  const auto manifest = indexedPaths("/Users/ann/Photos", {"/Users/ann/Photos", "/Users/ann/Photos/a.jpg"});
  EXPECT_EQ(pathsOf(manifest, manifest.topLevelEntries()), (Paths{"/Users/ann/Photos/a.jpg"}));
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/Users/ann/Photos")), (Paths{"/Users/ann/Photos/a.jpg"}));
  EXPECT_TRUE(manifest.childrenOf("/Users/ann").empty());
}

TEST(IndexedManifest, theRootEntryInAnotherNormalFormIsInNoListEither) {
  const auto manifest = indexedPaths("/W\u00e9", {"/We\u0301", "/We\u0301/a"});
  EXPECT_EQ(pathsOf(manifest, manifest.topLevelEntries()), (Paths{"/We\u0301/a"}));
  EXPECT_TRUE(manifest.childrenOf("/").empty());
}

TEST(IndexedManifest, entriesThatWriteTheWarpsFolderInSeveralNormalFormsShareItsTop) {
  const auto manifest = indexedPaths("/W\u00e9", {"/W\u00e9/c", "/We\u0301/a", "/W\u00e9/b"});
  EXPECT_EQ(pathsOf(manifest, manifest.topLevelEntries()), (Paths{"/We\u0301/a", "/W\u00e9/b", "/W\u00e9/c"}));
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/W\u00e9")), (Paths{"/W\u00e9/b", "/W\u00e9/c"}));
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/We\u0301")), (Paths{"/We\u0301/a"}));
}

TEST(IndexedManifest, aWarpOfTheWholeDiskListsWhatLiesInTheRootFolder) {
  const auto manifest = indexedPaths("/", {"/", "/etc", "/etc/hosts", "/tmp"});
  EXPECT_EQ(pathsOf(manifest, manifest.topLevelEntries()), (Paths{"/etc", "/tmp"}));
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/")), (Paths{"/etc", "/tmp"}));
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/etc")), (Paths{"/etc/hosts"}));
}

TEST(IndexedManifest, entriesOfAFolderWithoutAnEntryAreKeptUnderItsPath) {
  const auto manifest = indexedPaths("/W", {"/W/missing/a"});
  EXPECT_TRUE(manifest.topLevelEntries().empty());
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/W/missing")), (Paths{"/W/missing/a"}));
}

TEST(IndexedManifest, listsInFinderOrderOfTheDisplayNames) {
  ManifestSpec spec{.originalFolderPath = "/W"};
  for (const char* name : {"file10", "File2", "file1", "\u00c4", "a", "z"}) {
    spec.entries.push_back({.path = "/W/x" + std::to_string(spec.entries.size()), .displayName = name});
  }
  const auto manifest = indexed(std::move(spec));
  std::vector<std::string> names;
  for (const std::uint32_t entry : manifest.topLevelEntries()) {
    names.emplace_back(manifest.manifest().entries[entry].displayName);
  }
  EXPECT_EQ(names, (Paths{"a", "\u00c4", "file1", "File2", "file10", "z"}));
}

TEST(IndexedManifest, entriesOfOneNameKeepTheManifestsOrder) {
  ManifestSpec spec{.originalFolderPath = "/W"};
  for (const char* path : {"/W/c", "/W/a", "/W/b"}) spec.entries.push_back({.path = path, .displayName = "same"});
  const auto manifest = indexed(std::move(spec));
  EXPECT_EQ(pathsOf(manifest, manifest.topLevelEntries()), (Paths{"/W/c", "/W/a", "/W/b"}));
}

TEST(IndexedManifest, entriesOfOneFolderNeedNotStandTogether) {
  const auto manifest = indexedPaths("/W", {"/W/b/1", "/W/a/1", "/W/b/2", "/W/top", "/W/a/2"});
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/W/a")), (Paths{"/W/a/1", "/W/a/2"}));
  EXPECT_EQ(pathsOf(manifest, manifest.childrenOf("/W/b")), (Paths{"/W/b/1", "/W/b/2"}));
  EXPECT_EQ(pathsOf(manifest, manifest.topLevelEntries()), (Paths{"/W/top"}));
}

TEST(IndexedManifest, namesTheEnclosingFolderOnlyBelowTheTop) {
  const auto manifest = indexedPaths("/Users/ann/W", {"/Users/ann/W", "/Users/ann/W/a", "/Users/ann/W/a/b"});
  const auto& entries = manifest.manifest().entries;
  EXPECT_FALSE(manifest.enclosingFolder(entries[0]));
  EXPECT_FALSE(manifest.enclosingFolder(entries[1]));
  EXPECT_EQ(manifest.enclosingFolder(entries[2]), "/Users/ann/W/a");
}

TEST(IndexedManifest, onlyEntriesOfKindFileCountAsFiles) {
  EXPECT_TRUE(indexedPaths("/W", {"/W/a"}).hasFile());
  EXPECT_FALSE(indexed({.originalFolderPath = "/W",
                        .entries = {{.path = "/W/d", .kind = "directory"}, {.path = "/W/l", .kind = "symlink"}}})
                   .hasFile());
}

TEST(IndexedManifest, giveTheWarpsIdentityInItsCanonicalForm) {
  const auto composed = indexed({.warpID = "\u00e9"});
  const auto decomposed = indexed({.warpID = "e\u0301"});
  EXPECT_EQ(composed.canonicalWarpID(), decomposed.canonicalWarpID());
  EXPECT_NE(composed.manifest().warpID, decomposed.manifest().warpID);
}

TEST(IndexedManifest, staysWholeWhenItIsMoved) {
  auto original = indexedPaths("/W", {"/W/b", "/W/a", "/W/a/c"});
  const IndexedManifest moved(std::move(original));
  EXPECT_EQ(pathsOf(moved, moved.topLevelEntries()), (Paths{"/W/a", "/W/b"}));
  EXPECT_NE(moved.entryAt("/W/a/c"), nullptr);
}

TEST(IndexedManifest, aSharedEntryKeepsItsManifest) {
  auto manifest = std::make_shared<const IndexedManifest>(indexedPaths("/W", {"/W/a"}));
  const SharedEntry entry = shareEntry(manifest, manifest->manifest().entries.front());
  manifest.reset();
  EXPECT_EQ(entry->relativePath, "/W/a");
}

TEST(IndexedManifest, agreesWithAScanOfAllEntriesOnALargeShuffledTree) {
  std::mt19937 random(20250301);
  Paths paths{"/W"};
  for (int i = 0; i < 3000; ++i) paths.push_back(paths[random() % paths.size()] + "/" + std::to_string(i));
  std::ranges::shuffle(paths, random);
  const auto manifest = indexedPaths("/W", paths);

  std::size_t listed = 0;
  for (const std::string& folder : paths) {
    Paths expected;
    for (const std::string& path : paths) {
      if (path != "/W" && path.substr(0, path.rfind('/')) == folder) expected.push_back(path);
    }
    auto found = pathsOf(manifest, manifest.childrenOf(folder));
    listed += found.size();
    std::ranges::sort(found);
    std::ranges::sort(expected);
    ASSERT_EQ(found, expected) << folder;
    ASSERT_EQ(manifest.entryAt(folder)->relativePath, folder);
  }
  EXPECT_EQ(listed, paths.size() - 1);
}

TEST(IndexedManifest, severalThreadsMayListTheSameFoldersForTheFirstTime) {
  Paths paths;
  for (int folder = 0; folder < 20; ++folder) {
    for (int file = 0; file < 50; ++file) paths.push_back("/W/" + std::to_string(folder) + "/" + std::to_string(file));
  }
  const auto manifest = indexedPaths("/W", paths);
  std::vector<std::vector<Paths>> seen(4);
  {
    std::vector<std::jthread> threads;
    for (auto& lists : seen) {
      threads.emplace_back([&] {
        for (int folder = 0; folder < 20; ++folder) {
          lists.push_back(pathsOf(manifest, manifest.childrenOf("/W/" + std::to_string(folder))));
        }
      });
    }
  }
  for (const auto& lists : seen) {
    EXPECT_EQ(lists, seen.front());
    EXPECT_EQ(lists.front().at(2), "/W/0/2");
    EXPECT_EQ(lists.front().at(10), "/W/0/10");
  }
}

}  // namespace
}  // namespace tovrin
