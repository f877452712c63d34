#include "provider/enumerator.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "platform/sha256.h"
#include "provider/domain.h"
#include "provider/identifier.h"

namespace tovrin {
namespace {

static_assert(!std::is_default_constructible_v<TovrinFileProviderEnumerator>);

struct Listing final : NSFileProviderEnumerationObserver {
  void didEnumerateItems(std::span<const SharedItem> given) override {
    ++calls;
    EXPECT_EQ(finishes, 0);
    items.assign(given.begin(), given.end());
  }
  void finishEnumeratingUpToPage(const std::optional<NSFileProviderPage>& nextPage) override {
    ++finishes;
    page = nextPage;
  }
  int calls = 0;
  int finishes = 0;
  std::vector<SharedItem> items;
  std::optional<NSFileProviderPage> page = "not called";
};

struct Changes final : NSFileProviderChangeObserver {
  void didUpdateItems(std::span<const SharedItem> given) override {
    ++updates;
    items.assign(given.begin(), given.end());
  }
  void didDeleteItemsWithIdentifiers(std::span<const NSFileProviderItemIdentifier>) override { ++deletions; }
  void finishEnumeratingChangesUpToSyncAnchor(const NSFileProviderSyncAnchor& given, bool more) override {
    ++finishes;
    anchor = given;
    moreComing = more;
  }
  int updates = 0;
  int deletions = 0;
  int finishes = 0;
  std::vector<SharedItem> items;
  NSFileProviderSyncAnchor anchor;
  bool moreComing = true;
};

struct EnumeratedDomain : Domain {
  std::shared_ptr<TovrinFileProviderTree> sharedTree =
      std::make_shared<TovrinFileProviderTree>(platform.platform(), journal);

  Listing list(std::string_view container, const NSFileProviderPage& page = "") {
    Listing listing;
    TovrinFileProviderEnumerator(std::string(container), sharedTree).enumerateItems(listing, page);
    EXPECT_EQ(listing.calls, 1);
    EXPECT_EQ(listing.finishes, 1);
    EXPECT_FALSE(listing.page);
    return listing;
  }
  Changes changes(std::string_view container, const NSFileProviderSyncAnchor& anchor) {
    Changes changes;
    TovrinFileProviderEnumerator(std::string(container), sharedTree).enumerateChanges(changes, anchor);
    EXPECT_EQ(changes.finishes, 1);
    EXPECT_EQ(changes.deletions, 0);
    EXPECT_FALSE(changes.moreComing);
    return changes;
  }
  NSFileProviderSyncAnchor anchor(std::string_view container = NSFileProviderWorkingSetContainerItemIdentifier) {
    expireCache();
    NSFileProviderSyncAnchor current;
    TovrinFileProviderEnumerator(std::string(container), sharedTree).currentSyncAnchor([&](const auto& given) {
      current = given;
    });
    return current;
  }
};

TEST(Enumerator, theRootHoldsExactlyWarpedFiles) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  EXPECT_EQ(identifiers(domain.list(NSFileProviderRootContainerItemIdentifier).items), (Names{"warped-root"}));
}

TEST(Enumerator, listsEveryKindOfContainer) {
  EnumeratedDomain domain;
  domain.install(
      warp("W1", "/Users/Photos", {{.path = "/Users/Photos/d", .kind = "directory"}, {.path = "/Users/Photos/d/a"}}));
  EXPECT_EQ(filenames(domain.list("warped-root").items), (Names{"Users"}));
  EXPECT_EQ(filenames(domain.list(absoluteDirectoryIdentifier("/Users")).items), (Names{"Photos"}));
  EXPECT_EQ(filenames(domain.list("manifest:W1").items), (Names{"d"}));
  EXPECT_EQ(filenames(domain.list(entryIdentifier("W1", "/Users/Photos/d")).items), (Names{"a"}));
  EXPECT_TRUE(domain.list(entryIdentifier("W1", "/Users/Photos/d/a")).items.empty());
  EXPECT_EQ(domain.list(NSFileProviderWorkingSetContainerItemIdentifier).items.size(), 5u);
}

TEST(Enumerator, aLaterPageYieldsTheSameFullList) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  EXPECT_EQ(identifiers(domain.list("manifest:W1", "page 2").items), identifiers(domain.list("manifest:W1").items));
}

TEST(Enumerator, theTrashAndUnknownContainersAreEmpty) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  for (const std::string_view container :
       {NSFileProviderTrashContainerItemIdentifier, std::string_view("bogus"), std::string_view("entry:W1"),
        std::string_view("manifest:unknown"), std::string_view("")}) {
    EXPECT_TRUE(domain.list(container).items.empty()) << container;
  }
}

TEST(Enumerator, isUsableAfterInvalidate) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  TovrinFileProviderEnumerator enumerator("warped-root", domain.sharedTree);
  enumerator.invalidate();
  Listing listing;
  enumerator.enumerateItems(listing, "");
  EXPECT_EQ(filenames(listing.items), (Names{"Photos"}));
}

TEST(Enumerator, hiddenWarpsCanBeListedByIdentifier) {
  EnumeratedDomain domain;
  ManifestSpec hidden = warp("W1", "/Photos");
  hidden.status = "failed";
  domain.install(hidden);
  EXPECT_TRUE(domain.list("warped-root").items.empty());
  EXPECT_EQ(filenames(domain.list("manifest:W1").items), (Names{"a.txt"}));
}

TEST(Changes, fromTheCurrentAnchorAreNone) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  const auto anchor = domain.anchor();
  const Changes changes = domain.changes("warped-root", anchor);
  EXPECT_EQ(changes.updates, 0);
  EXPECT_EQ(changes.anchor, anchor);
}

TEST(Changes, fromAnyOtherAnchorAreTheWholeContainer) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  for (const std::string& anchor : {std::string("x"), std::string(), std::string(1000, 'f')}) {
    const Changes changes = domain.changes("warped-root", anchor);
    EXPECT_EQ(changes.updates, 1);
    EXPECT_EQ(filenames(changes.items), (Names{"Photos"}));
    EXPECT_EQ(changes.anchor, domain.anchor());
  }
}

TEST(Changes, neverMentionWhatVanished) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  const auto before = domain.anchor();
  installVisibilityIndex(domain.platform, {});
  const Changes changes = domain.changes("warped-root", before);
  EXPECT_EQ(changes.updates, 1);
  EXPECT_TRUE(changes.items.empty());
}

TEST(WarpDescriptor, isIdentityStatusCountAndTimes) {
  TovrinWarpSharedManifest manifest;
  manifest.warpID = "W";
  manifest.status = TovrinWarpSharedStatus::replaced;
  manifest.entries.resize(3);
  manifest.replacedAt = Date{1700000000.5};
  EXPECT_EQ(warpDescriptor(manifest), "W:replaced:3:1700000000.5:0.0");
  manifest.status = TovrinWarpSharedStatus::needsAttention;
  manifest.replacedAt.reset();
  manifest.uploadedAt = Date{-1};
  EXPECT_EQ(warpDescriptor(manifest), "W:needsAttention:3:0.0:-1.0");
}

TEST(SyncAnchor, isTheHashOfTheDescriptorsOrderedByWarpID) {
  EnumeratedDomain domain;
  ManifestSpec b = warp("b", "/B");
  b.createdAt = "2025-03-09T12:00:00Z";
  b.replacedAt = "2025-03-10T12:00:00Z";
  domain.install(b);
  domain.install(warp("a", "/A"));
  EXPECT_EQ(domain.anchor(), sha256Hex("a:replaced:1:0.0:0.0|b:replaced:1:1741608000.0:0.0"));
}

TEST(SyncAnchor, withoutWarpsIsTheHashOfNothing) {
  EnumeratedDomain domain;
  EXPECT_EQ(domain.anchor(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_TRUE(domain.list("warped-root").items.empty());
}

TEST(SyncAnchor, isTheSameInEveryContainer) {
  EnumeratedDomain domain;
  domain.install(warp("W1", "/Photos"));
  const auto anchor = domain.anchor();
  EXPECT_EQ(anchor.size(), 64u);
  for (const char* container : {"warped-root", "manifest:W1", "bogus"}) EXPECT_EQ(domain.anchor(container), anchor);
}

TEST(SyncAnchor, changesWithWhatTheDescriptorHolds) {
  EnumeratedDomain domain;
  ManifestSpec spec = warp("W1", "/Photos");
  std::vector<std::string> anchors{domain.anchor()};
  const auto remember = [&] {
    domain.install(spec);
    anchors.push_back(domain.anchor());
  };
  remember();
  spec.status = "verified";
  remember();
  spec.entries.push_back({.path = "/Photos/b"});
  remember();
  spec.replacedAt = "2025-03-10T12:00:00Z";
  remember();
  spec.uploadedAt = "2025-03-10T12:00:00Z";
  remember();
  std::ranges::sort(anchors);
  EXPECT_EQ(std::ranges::adjacent_find(anchors), anchors.end());
}

TEST(SyncAnchor, doesNotChangeWithAnEntryAtAnEqualCount) {
  EnumeratedDomain domain;
  ManifestSpec spec = warp("W1", "/Photos");
  domain.install(spec);
  const auto before = domain.anchor();
  spec.entries.front() = {.path = "/Photos/other", .size = 5};
  domain.install(spec);
  EXPECT_EQ(domain.anchor(), before);
}

TEST(SyncAnchor, ordersByPlainTextOrderOfTheCanonicalForms) {
  EnumeratedDomain domain;
  domain.install(warp("e\u0301", "/A"));  // U+00E9 in its composed form: after U+00E8, although "e" comes before
  domain.install(warp("\u00e8", "/B"));
  domain.install(warp("f", "/C"));
  EXPECT_EQ(domain.anchor(), sha256Hex("f:replaced:1:0.0:0.0|\u00e8:replaced:1:0.0:0.0|e\u0301:replaced:1:0.0:0.0"));
}

}  // namespace
}  // namespace tovrin
