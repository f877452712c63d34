#include "provider/item.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "provider/domain.h"
#include "provider/identifier.h"

namespace tovrin {
namespace {

static_assert(!std::is_default_constructible_v<TovrinFileProviderItem>);

/// The item of the one entry of a Warp made from /W.
SharedItem itemOf(Domain& domain, EntrySpec entry) {
  const std::string path = entry.path;
  domain.install(warp("W1", "/W", {std::move(entry)}));
  return makeItem(entryIdentifier("W1", path), domain.tree);
}

SharedItem itemOf(EntrySpec entry) {
  Domain domain;
  return itemOf(domain, std::move(entry));
}

TEST(FolderItem, theRootIsNamedAfterTheSystemAndHasNoSize) {
  Domain domain;
  const SharedItem root = makeItem(std::string(NSFileProviderRootContainerItemIdentifier), domain.tree);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->itemIdentifier(), NSFileProviderRootContainerItemIdentifier);
  EXPECT_EQ(root->parentItemIdentifier(), NSFileProviderRootContainerItemIdentifier);
  EXPECT_EQ(root->filename(), "Tovrin");
  EXPECT_EQ(root->contentType(), UTType::folder());
  EXPECT_FALSE(root->documentSize());
  EXPECT_FALSE(root->warpID());
  EXPECT_FALSE(root->entry());
}

TEST(FolderItem, warpedFilesLiesInTheRoot) {
  Domain domain;
  const SharedItem folder = makeItem("warped-root", domain.tree);
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(folder->filename(), "Warped Files");
  EXPECT_EQ(folder->parentItemIdentifier(), NSFileProviderRootContainerItemIdentifier);
  EXPECT_FALSE(folder->documentSize());
}

TEST(FolderItem, theSyntheticFoldersCarryTheLatestWarpDate) {
  Domain domain;
  ManifestSpec spec = warp("W1", "/Users/ann/Photos");
  spec.replacedAt = "2025-06-01T00:00:00Z";
  domain.install(spec);
  for (const std::string& identifier : {std::string(NSFileProviderRootContainerItemIdentifier),
                                        std::string("warped-root"), absoluteDirectoryIdentifier("/elsewhere")}) {
    const SharedItem folder = makeItem(identifier, domain.tree);
    EXPECT_EQ(folder->creationDate(), parseISO8601("2025-06-01T00:00:00Z")) << identifier;
    EXPECT_EQ(folder->contentModificationDate(), parseISO8601("2025-06-01T00:00:00Z")) << identifier;
  }
}

TEST(FolderItem, anAbsoluteFolderNeedNotBelongToAnyWarp) {
  Domain domain;
  const SharedItem folder = makeItem(absoluteDirectoryIdentifier("/no/such/folder"), domain.tree);
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(folder->filename(), "folder");
  EXPECT_EQ(folder->parentItemIdentifier(), absoluteDirectoryIdentifier("/no/such"));
}

TEST(FolderItem, theTopOfTheDiskIsNamedSystem) {
  Domain domain;
  for (const char* path : {"/", ""}) {
    const SharedItem folder = makeItem(absoluteDirectoryIdentifier(path), domain.tree);
    ASSERT_NE(folder, nullptr);
    EXPECT_EQ(folder->filename(), "System");
    EXPECT_EQ(folder->parentItemIdentifier(), "warped-root");
  }
}

TEST(FolderItem, anAbsoluteFolderCarriesTheIdentifierInItsOneForm) {
  Domain domain;
  EXPECT_EQ(makeItem("absolute:L1VzZXJz==", domain.tree)->itemIdentifier(), "absolute:L1VzZXJz");
}

TEST(FolderItem, aWarpFolderHasItsOwnNameAndDates) {
  Domain domain;
  ManifestSpec spec = warp("W1", "/Users/ann/Photos");
  spec.displayName = "Holiday";
  spec.uploadedAt = "2025-04-01T00:00:00Z";
  domain.install(spec);
  const SharedItem folder = makeItem("manifest:W1", domain.tree);
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(folder->itemIdentifier(), "manifest:W1");
  EXPECT_EQ(folder->parentItemIdentifier(), absoluteDirectoryIdentifier("/Users/ann"));
  EXPECT_EQ(folder->filename(), "Holiday");
  EXPECT_EQ(folder->contentType(), UTType::folder());
  EXPECT_EQ(folder->creationDate(), parseISO8601("2025-03-01T12:00:00Z"));
  EXPECT_EQ(folder->contentModificationDate(), parseISO8601("2025-04-01T00:00:00Z"));
  EXPECT_EQ(folder->warpID(), "W1");
  EXPECT_FALSE(folder->entry());
  EXPECT_FALSE(folder->documentSize());
}

TEST(EntryItem, isBuiltFromTheEntry) {
  Domain domain;
  const SharedItem item = itemOf(domain, {.path = "/W/report.pdf", .size = 12, .displayName = "Shown.pdf"});
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->itemIdentifier(), entryIdentifier("W1", "/W/report.pdf"));
  EXPECT_EQ(item->parentItemIdentifier(), "manifest:W1");
  EXPECT_EQ(item->filename(), "Shown.pdf");
  EXPECT_EQ(item->documentSize(), 12);
  EXPECT_EQ(item->warpID(), "W1");
  EXPECT_EQ(item->entry()->relativePath, "/W/report.pdf");
}

TEST(EntryItem, aFilesTypeFollowsItsExtension) {
  EXPECT_EQ(itemOf({.path = "/W/report.pdf"})->contentType().identifier(), "com.adobe.pdf");
  EXPECT_EQ(itemOf({.path = "/W/REPORT.PDF"})->contentType().identifier(), "com.adobe.pdf");
  EXPECT_EQ(itemOf({.path = "/W/README"})->contentType(), UTType::data());
  EXPECT_EQ(itemOf({.path = "/W/x.unknownext"})->contentType(), UTType::data());
  EXPECT_EQ(itemOf({.path = "/W/.pdf"})->contentType(), UTType::data());
}

TEST(EntryItem, aFilesTypeFollowsItsPathNotItsDisplayName) {
  EXPECT_EQ(itemOf({.path = "/W/x", .displayName = "x.pdf"})->contentType(), UTType::data());
}

TEST(EntryItem, aSymbolicLinkHasNoSizeAndMayBeFetched) {
  const SharedItem link = itemOf({.path = "/W/l.pdf", .kind = "symlink", .size = 5, .symlinkTarget = "x"});
  EXPECT_FALSE(link->documentSize());
  EXPECT_EQ(link->contentType(), UTType::symbolicLink());
  EXPECT_EQ(link->capabilities(), 3u);
  EXPECT_EQ(link->contentPolicy(), NSFileProviderContentPolicy::downloadLazily);
}

TEST(EntryItem, aDirectoryIsAFolderWithoutASize) {
  const SharedItem folder = itemOf({.path = "/W/d.pdf", .kind = "directory", .size = 64});
  EXPECT_FALSE(folder->documentSize());
  EXPECT_EQ(folder->contentType(), UTType::folder());
  EXPECT_EQ(folder->capabilities(), 1u);
  EXPECT_EQ(folder->contentPolicy(), NSFileProviderContentPolicy::inherited);
}

TEST(EntryItem, aFileMayBeReadAndWritten) {
  const SharedItem file = itemOf({.path = "/W/a"});
  EXPECT_EQ(file->capabilities(), 3u);
  EXPECT_EQ(file->contentPolicy(), NSFileProviderContentPolicy::downloadLazily);
  EXPECT_EQ(file->documentSize(), 0);
}

TEST(EntryItem, datesBelowOneNanosecondAreNone) {
  const SharedItem none = itemOf({.path = "/W/a"});
  EXPECT_FALSE(none->creationDate());
  EXPECT_FALSE(none->contentModificationDate());
  const SharedItem zero = itemOf({.path = "/W/a", .modificationTimeNanoseconds = 0, .birthTimeNanoseconds = 0});
  EXPECT_FALSE(zero->creationDate());
  EXPECT_FALSE(zero->contentModificationDate());
  const SharedItem negative = itemOf({.path = "/W/a", .modificationTimeNanoseconds = -1, .birthTimeNanoseconds = -1});
  EXPECT_FALSE(negative->creationDate());
  EXPECT_FALSE(negative->contentModificationDate());
}

TEST(EntryItem, datesAreNanosecondsAsADoubleDividedByABillion) {
  const SharedItem item =
      itemOf({.path = "/W/a", .modificationTimeNanoseconds = 1, .birthTimeNanoseconds = 1'500'000'000});
  EXPECT_EQ(item->creationDate(), Date{1.5});
  EXPECT_EQ(item->contentModificationDate(), Date{1e-9});
}

TEST(ItemVersion, ofAFileIsNameSizeAndDate) {
  const SharedItem item =
      itemOf({.path = "/W/a.txt", .size = 12, .modificationTimeNanoseconds = 1'700'000'000'500'000'000});
  EXPECT_EQ(item->itemVersion().contentVersion, "a.txt-12-1700000000.5");
  EXPECT_EQ(item->itemVersion().metadataVersion, "a.txt-12-1700000000.5");
}

TEST(ItemVersion, ofAFolderIsItsNameZeroAndItsDate) {
  Domain domain;
  EXPECT_EQ(makeItem("warped-root", domain.tree)->itemVersion().contentVersion, "Warped Files-0-0.0");
  domain.install(warp("W1", "/W"));
  domain.expireCache();
  EXPECT_EQ(makeItem("warped-root", domain.tree)->itemVersion().contentVersion, "Warped Files-0-1740830400.0");
  EXPECT_EQ(makeItem("manifest:W1", domain.tree)->itemVersion().contentVersion, "W-0-1740830400.0");
}

TEST(IsUploaded, isTrueWithoutAJournal) {
  Domain domain;
  EXPECT_TRUE(itemOf(domain, {.path = "/W/a"})->isUploaded());
}

TEST(IsUploaded, isFalseWhileARecordNamesAPendingCopy) {
  Domain domain;
  const SharedItem item = itemOf(domain, {.path = "/W/a"});
  domain.installJournalRecord("W1", "/W/a", "copy.txt");
  EXPECT_FALSE(item->isUploaded());
}

TEST(IsUploaded, anEmptyPendingPathLeavesTheItemUploaded) {
  Domain domain;
  const SharedItem item = itemOf(domain, {.path = "/W/a"});
  domain.installJournalRecord("W1", "/W/a", "");
  EXPECT_TRUE(item->isUploaded());
}

TEST(IsUploaded, followsTheJournalAtOnce) {
  Domain domain;
  const SharedItem item = itemOf(domain, {.path = "/W/a"});
  for (int round = 0; round < 3; ++round) {
    domain.installJournalRecord("W1", "/W/a", "copy.txt");
    EXPECT_FALSE(item->isUploaded());
    domain.installJournalRecord("W1", "/W/a", std::nullopt);
    EXPECT_TRUE(item->isUploaded());
  }
  std::filesystem::remove(domain.platform.warpDirectory() / "file-provider-cached-items.json");
  EXPECT_TRUE(item->isUploaded());
}

TEST(IsUploaded, recordsOfOtherItemsDoNotCount) {
  Domain domain;
  const SharedItem item = itemOf(domain, {.path = "/W/a"});
  domain.installJournalRecord("W2", "/W/a", "copy.txt");
  EXPECT_TRUE(item->isUploaded());
  domain.installJournalRecord("W1", "/W/a/b", "copy.txt");
  EXPECT_TRUE(item->isUploaded());
}

TEST(IsUploaded, anUnreadableJournalCountsAsEmpty) {
  Domain domain;
  const SharedItem item = itemOf(domain, {.path = "/W/a"});
  writeFile(domain.platform.warpDirectory() / "file-provider-cached-items.json", "{");
  EXPECT_TRUE(item->isUploaded());
}

TEST(IsUploaded, foldersThatAreNoEntriesAlwaysAre) {
  Domain domain;
  domain.install(warp("W1", "/W"));
  domain.installJournalRecord("W1", "/W", "copy.txt");
  EXPECT_TRUE(makeItem("warped-root", domain.tree)->isUploaded());
  EXPECT_TRUE(makeItem("manifest:W1", domain.tree)->isUploaded());
}

TEST(EditedItem, differsInSizeAndDateOnly) {
  Domain domain;
  const SharedItem item = itemOf(domain, {.path = "/W/a.txt", .size = 12, .birthTimeNanoseconds = 1'500'000'000});
  const SharedItem edited = item->withEditedContents(99, {1700000000.25});
  EXPECT_EQ(edited->documentSize(), 99);
  EXPECT_EQ(edited->contentModificationDate(), Date{1700000000.25});
  EXPECT_EQ(edited->itemIdentifier(), item->itemIdentifier());
  EXPECT_EQ(edited->parentItemIdentifier(), item->parentItemIdentifier());
  EXPECT_EQ(edited->filename(), item->filename());
  EXPECT_EQ(edited->contentType(), item->contentType());
  EXPECT_EQ(edited->creationDate(), item->creationDate());
  EXPECT_EQ(edited->entry(), item->entry());
  EXPECT_EQ(item->documentSize(), 12);
}

TEST(EntryItem, outlivesTheTreeAndTheManifestItCameFrom) {
  SharedItem item;
  {
    Domain domain;
    item = itemOf(domain, {.path = "/W/a.txt", .size = 12});
  }
  EXPECT_EQ(item->entry()->size, 12);
  EXPECT_EQ(item->filename(), "a.txt");
}

TEST(ItemLookup, anEntryIsFoundByExactBytesOnly) {
  Domain domain;
  domain.install(warp("W1", "/W", {{.path = "/W/\u00e9"}}));
  EXPECT_NE(makeItem(entryIdentifier("W1", "/W/\u00e9"), domain.tree), nullptr);
  EXPECT_EQ(makeItem(entryIdentifier("W1", "/W/e\u0301"), domain.tree), nullptr);
  EXPECT_EQ(makeItem(entryIdentifier("W1", "/W/\u00e9/"), domain.tree), nullptr);
  EXPECT_EQ(makeItem(entryIdentifier("w1", "/W/\u00e9"), domain.tree), nullptr);
}

TEST(ItemLookup, theRootEntryIsAnItemInTheWarpsFolder) {
  Domain domain;
  domain.install(warp("W1", "/Users/W", {{.path = "/Users/W", .kind = "directory"}, {.path = "/Users/W/a"}}));
  const SharedItem root = makeItem(entryIdentifier("W1", "/Users/W"), domain.tree);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->parentItemIdentifier(), "manifest:W1");
}

TEST(ItemLookup, hostileIdentifiersAreNothing) {
  Domain domain;
  domain.install(warp("W1", "/W"));
  writeFile(domain.platform.warpDirectory() / "renterd-connection.json",
            manifestJSON(warp("renterd-connection", "/W")));
  const std::string long_(1 << 20, 'x');
  const std::string texts[] = {"",
                               ":",
                               "manifest:",
                               "manifest:.",
                               "manifest:..",
                               "manifest:../renterd-connection",
                               "manifest:/etc/passwd",
                               "manifest:" + std::string("W1\0", 3),
                               "manifest:W1/../W1",
                               "manifest:\xff\xfe",
                               "manifest:" + long_,
                               "entry:" + long_ + ":YQ",
                               "entry:W1:" + encodePathToken(long_),
                               "entry:W1:" + long_ + "!",
                               entryIdentifier("W1", "/W/../W/a.txt"),
                               entryIdentifier("W1", "/W/a.txt/"),
                               entryIdentifier("W1", ""),
                               entryIdentifier("..", "/W/a.txt"),
                               std::string(NSFileProviderTrashContainerItemIdentifier),
                               std::string(NSFileProviderWorkingSetContainerItemIdentifier)};
  for (const std::string& text : texts) EXPECT_EQ(makeItem(text, domain.tree), nullptr) << text.substr(0, 80);
}

}  // namespace
}  // namespace tovrin
