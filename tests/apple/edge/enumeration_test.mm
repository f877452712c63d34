#include <algorithm>

#include "edge/driver.h"

namespace tovrin {

namespace {

using Texts = std::vector<std::string>;

class Enumeration : public Driver {};

TEST_F(Enumeration, listsTheRootInOneBatchWithoutAnotherPage) {
  const RecordingObserver* observer = list(::NSFileProviderRootContainerItemIdentifier);
  EXPECT_EQ(observer->calls, (Texts{"items", "finish"}));
  EXPECT_EQ(observer->filenames, Texts{"Warped Files"});
  EXPECT_FALSE(observer->nextPage);
}

TEST_F(Enumeration, listsAWarpsFolderWhateverThePageAndItsSize) {
  installWarp();
  for (NSData* page in @[ [NSData data], toNSData("some later page") ]) {
    const RecordingObserver* observer = list(@"manifest:W1", page);
    EXPECT_EQ(observer->calls, (Texts{"items", "finish"}));
    EXPECT_EQ(observer->filenames, (Texts{"a.txt", "link", "sub"}));
    EXPECT_FALSE(observer->nextPage);
  }
}

TEST_F(Enumeration, listsAFolderInsideAWarp) {
  installWarp();
  const RecordingObserver* observer = list(entry("sub"));
  EXPECT_EQ(observer->filenames, Texts{"b"});
  EXPECT_EQ(observer->identifiers, Texts{text(entry("sub/b"))});
}

TEST_F(Enumeration, listsTheWholeDomainAsTheWorkingSet) {
  installWarp();
  const RecordingObserver* observer = list(::NSFileProviderWorkingSetContainerItemIdentifier);
  for (const char* name : {"Warped Files", "a.txt", "link", "sub", "b"})
    EXPECT_EQ(std::ranges::count(observer->filenames, name), 1) << name;
}

TEST_F(Enumeration, findsTheTrashAndUnknownContainersEmpty) {
  for (NSString* container in @[::NSFileProviderTrashContainerItemIdentifier, @"bogus" ]) {
    const RecordingObserver* observer = list(container);
    EXPECT_EQ(observer->calls, (Texts{"items", "finish"}));
    EXPECT_EQ(observer->filenames, Texts{});
  }
}

TEST_F(Enumeration, stillWorksAfterInvalidate) {
  id<NSFileProviderEnumerator> root = enumerator(::NSFileProviderRootContainerItemIdentifier);
  [root invalidate];
  RecordingObserver* observer = [[[RecordingObserver alloc] init] autorelease];
  [root enumerateItemsForObserver:observer startingAtPage:[NSData data]];
  EXPECT_EQ(observer->filenames, Texts{"Warped Files"});
}

TEST_F(Enumeration, hasTheHashOfNothingAsTheAnchorOfAnEmptyDomain) {
  EXPECT_EQ(toBytes(anchor()), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_F(Enumeration, reportsNoChangeFromTheCurrentAnchor) {
  installWarp();
  NSData* current = anchor();
  const RecordingObserver* observer = changes(@"manifest:W1", current);
  EXPECT_EQ(observer->calls, Texts{"finish"});
  EXPECT_EQ(observer->anchor, toBytes(current));
  EXPECT_FALSE(observer->moreComing);
}

TEST_F(Enumeration, sendsTheWholeContainerFromAnyOtherAnchor) {
  installWarp();
  for (NSData* anchor_ in @[ toNSData("x"), [NSData data], toNSData(std::string(600, 'y')) ]) {
    const RecordingObserver* observer = changes(@"manifest:W1", anchor_);
    EXPECT_EQ(observer->calls, (Texts{"update", "finish"}));
    EXPECT_EQ(observer->filenames, (Texts{"a.txt", "link", "sub"}));
    EXPECT_EQ(observer->anchor, toBytes(anchor()));
  }
}

TEST_F(Enumeration, tellsAnotherProcessWhatChangedSinceTheLastAnchor) {
  installWarp();
  NSData* before = anchor();
  ManifestSpec another;
  another.warpID = "W2";
  another.originalFolderPath = "/Users/ann/Music";
  another.entries = {fileEntry("/Users/ann/Music/song", "la", "song")};
  installManifest(test, another);
  start();
  const RecordingObserver* observer = changes(::NSFileProviderWorkingSetContainerItemIdentifier, before);
  EXPECT_EQ(observer->calls, (Texts{"update", "finish"}));
  EXPECT_EQ(std::ranges::count(observer->identifiers, "manifest:W2"), 1);
  EXPECT_NE(observer->anchor, toBytes(before));
}

}  // namespace

}  // namespace tovrin
