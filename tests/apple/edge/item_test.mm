#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

#include "edge/driver.h"

namespace tovrin {

namespace {

class Item : public Driver {
 protected:
  void SetUp() override { installWarp(); }
};

TEST_F(Item, ofAFileHasEverythingThatTheManifestSays) {
  ::NSFileProviderItem file = item("a.txt");
  EXPECT_EQ(text(file.filename), "a.txt");
  EXPECT_EQ(text(file.contentType.identifier), "public.plain-text");
  EXPECT_EQ(file.documentSize.longLongValue, 12);
  EXPECT_EQ(file.creationDate.timeIntervalSince1970, 1.5);
  EXPECT_EQ(file.contentModificationDate.timeIntervalSince1970, 1700000000.5);
  EXPECT_EQ(file.capabilities,
            ::NSFileProviderItemCapabilitiesAllowsReading | ::NSFileProviderItemCapabilitiesAllowsWriting);
  EXPECT_EQ(file.contentPolicy, NSFileProviderContentPolicyDownloadLazily);
  EXPECT_TRUE(file.uploaded);
  EXPECT_EQ(toBytes(file.itemVersion.contentVersion), "a.txt-12-1700000000.5");
  EXPECT_EQ(toBytes(file.itemVersion.metadataVersion), "a.txt-12-1700000000.5");
}

TEST_F(Item, ofALinkHasNeitherSizeNorDates) {
  ::NSFileProviderItem link = item("link");
  EXPECT_EQ(text(link.contentType.identifier), "public.symlink");
  EXPECT_EQ(link.documentSize, nil);
  EXPECT_EQ(link.creationDate, nil);
  EXPECT_EQ(link.contentModificationDate, nil);
  EXPECT_EQ(link.capabilities, 3U);
  EXPECT_EQ(toBytes(link.itemVersion.contentVersion), "link-0-0.0");
}

TEST_F(Item, ofAFolderCanOnlyBeRead) {
  ::NSFileProviderItem folder_ = item("sub");
  EXPECT_EQ(text(folder_.contentType.identifier), "public.folder");
  EXPECT_EQ(folder_.capabilities, ::NSFileProviderItemCapabilitiesAllowsReading);
  EXPECT_EQ(folder_.contentPolicy, NSFileProviderContentPolicyInherited);
}

TEST_F(Item, hasAVersionOfAtMostTheSystemsSizeHoweverLongItsName) {
  const std::string longName(200, 'n');
  ManifestSpec manifest;
  manifest.warpID = "W1";
  manifest.originalFolderPath = folder();
  manifest.entries = {fileEntry(folder() + "/" + longName, "one", "a")};
  installManifest(test, manifest);
  start();
  const std::string version = toBytes(item(longName).itemVersion.contentVersion);
  EXPECT_EQ(version.size(), 64U);
  EXPECT_EQ(toBytes(item(longName).itemVersion.metadataVersion), version);

  manifest.entries = {fileEntry(folder() + "/" + longName, "other", "a")};
  installManifest(test, manifest);
  start();
  EXPECT_NE(toBytes(item(longName).itemVersion.contentVersion), version);
}

TEST_F(Item, keepsEveryCharacterOfItsName) {
  ManifestSpec manifest;
  manifest.originalFolderPath = folder();
  EntrySpec named = fileEntry(folder() + "/x", "one", "a");
  for (const std::string name : {"e\u0301 \u00e9", "\U0001F4C1 \u65e5\u672c", "a:b"}) {
    named.displayName = name;
    manifest.entries = {named};
    installManifest(test, manifest);
    start();
    EXPECT_EQ(text(item("x").filename), name);
  }
}

}  // namespace

}  // namespace tovrin
