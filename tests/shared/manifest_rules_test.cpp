#include "shared/manifest_rules.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "support/warp_fixture.h"

namespace tovrin {
namespace {

using Path = std::vector<std::string>;

constexpr const char* kOwnership = "Shared Warp manifest dates or original-path ownership are inconsistent.";
constexpr const char* kHardLinks = "Shared Warp hard-link references must remain inside the manifest.";
constexpr const char* kIdentity = "Shared Warp identity, object key, or original path is unsafe.";
constexpr const char* kVersion = "Unsupported shared Warp manifest version.";
constexpr const char* kExtents = "Shared Warp sparse extents fall outside the stored file range.";
constexpr const char* kParts = "Shared Warp payload parts contain an unsafe range or object key.";
const std::string kChecksum(64, 'a');

EntrySpec entryAt(std::string path) {
  EntrySpec entry;
  entry.path = std::move(path);
  return entry;
}

ManifestSpec manifestOf(std::vector<EntrySpec> entries) {
  ManifestSpec spec;
  spec.entries = std::move(entries);
  return spec;
}

void expectAccepted(const ManifestSpec& spec) {
  const auto manifest = decodeManifest(manifestJSON(spec));
  if (!manifest) ADD_FAILURE() << manifest.error().decodingFailure()->debugDescription << "\n" << manifestJSON(spec);
}

void expectRefused(const ManifestSpec& spec, const Path& path, const std::string& message) {
  const auto manifest = decodeManifest(manifestJSON(spec));
  ASSERT_FALSE(manifest) << manifestJSON(spec);
  ASSERT_NE(manifest.error().decodingFailure(), nullptr);
  EXPECT_EQ(manifest.error().decodingFailure()->kind, DecodingFailure::Kind::dataCorrupted);
  EXPECT_EQ(manifest.error().decodingFailure()->codingPath, path) << manifestJSON(spec);
  EXPECT_EQ(manifest.error().decodingFailure()->debugDescription, message) << manifestJSON(spec);
  EXPECT_TRUE(manifest.error().is(CocoaErrorCode::coderReadCorrupt));
}

void expectEntryRefused(const EntrySpec& entry, const std::string& key, const std::string& message) {
  expectRefused(manifestOf({entryAt("/Users/ann/Photos/before"), entry}), {"entries", "1", key}, message);
}

TEST(ManifestRules, acceptVersionsOneToFourOnly) {
  for (const char* version : {"1", "2", "3", "4"}) {
    ManifestSpec spec;
    spec.rawMembers = std::string("\"version\":") + version;
    expectAccepted(spec);
  }
  for (const char* version : {"0", "5", "-1"}) {
    ManifestSpec spec;
    spec.rawMembers = std::string("\"version\":") + version;
    spec.warpID = "";  // even then: the version is looked at first
    expectRefused(spec, {"version"}, kVersion);
  }
}

TEST(ManifestRules, refuseAnOriginalFolderPathThatIsNotCanonical) {
  for (const char* path : {"/Users/a/Photos/", "/Users/a/./Photos", "/Users/a/../Photos", "//Users", "Users/a", "",
                           " /Users/a", "/Users/a\\u0000b"}) {
    ManifestSpec spec;
    spec.originalFolderPath = path;
    std::string json = manifestJSON(spec);
    if (const auto at = json.find("\\\\u0000"); at != std::string::npos) json.erase(at, 1);
    const auto manifest = decodeManifest(json);
    ASSERT_FALSE(manifest) << path;
    EXPECT_EQ(manifest.error().decodingFailure()->codingPath, Path{"originalFolderPath"}) << path;
    EXPECT_EQ(manifest.error().decodingFailure()->debugDescription, kIdentity) << path;
  }
  ManifestSpec root;
  root.originalFolderPath = "/";
  expectAccepted(root);
}

TEST(ManifestRules, refuseEmptyIdentities) {
  ManifestSpec spec;
  spec.warpID = "";
  expectRefused(spec, {"originalFolderPath"}, kIdentity);
  spec = ManifestSpec{};
  spec.deviceID = "";
  expectRefused(spec, {"originalFolderPath"}, kIdentity);
}

TEST(ManifestRules, refuseAManifestKeyThatIsNotSafe) {
  ManifestSpec spec;
  spec.manifestKey = "manifests/w1.json";
  expectAccepted(spec);
  for (const char* key :
       {"manifests//w1.json", "/manifests/w1.json", "manifests/../w1.json", "", "./a", "a/", "a/./b"}) {
    spec.manifestKey = key;
    expectRefused(spec, {"originalFolderPath"}, kIdentity);
  }
}

TEST(ManifestRules, refuseAnEntryOutsideTheWarpEvenWhenItsFolderBeginsAlike) {
  expectRefused(manifestOf({entryAt("/Users/ann/PhotosArchive/x")}), {"entries"}, kOwnership);
  expectRefused(manifestOf({entryAt("/Users/ann")}), {"entries"}, kOwnership);
}

TEST(ManifestRules, acceptTheWarpsOwnFolderAsAnEntry) {
  expectAccepted(manifestOf({entryAt("/Users/ann/Photos"), entryAt("/Users/ann/Photos/a")}));
}

TEST(ManifestRules, takeEveryPathForInsideWhenTheWholeDiskIsWarped) {
  ManifestSpec spec = manifestOf({entryAt("/"), entryAt("/a"), entryAt("/a/b")});
  spec.originalFolderPath = "/";
  expectAccepted(spec);
}

TEST(ManifestRules, comparePathsByCanonicalEquivalence) {
  ManifestSpec spec = manifestOf({entryAt("/Users/ann/Cafe\u0301/a")});
  spec.originalFolderPath = "/Users/ann/Caf\u00E9";
  expectAccepted(spec);
  spec.entries = {entryAt("/Users/ann/Cafe\u0301"), entryAt("/Users/ann/Caf\u00E9")};
  expectRefused(spec, {"entries"}, kOwnership);
  // A combining mark behind the separator joins it: that is another folder's name.
  spec.entries = {entryAt("/Users/ann/Caf\u00E9/\u0301x")};
  expectRefused(spec, {"entries"}, kOwnership);
  // And so are a folder and one whose name only begins like it.
  spec.originalFolderPath = "/Users/ann/Cafe";
  spec.entries = {entryAt("/Users/ann/Cafe\u0301")};
  expectRefused(spec, {"entries"}, kOwnership);
}

TEST(ManifestRules, refuseEntryPathsThatAreNotCanonical) {
  for (const char* path :
       {"/Users/ann/Photos/", "/Users/ann/Photos/../x", "Users/ann/Photos/x", "/Users/ann/Photos//x", ""})
    expectEntryRefused(entryAt(path), "absolutePath", "Shared Warp entries require canonical absolute paths.");
}

TEST(ManifestRules, refuseNegativeSizes) {
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  entry.size = -1;
  expectEntryRefused(entry, "size", "Shared Warp entry sizes cannot be negative.");
  entry.size = 0;
  entry.storedSize = -1;
  expectEntryRefused(entry, "storedSize", "Shared Warp stored sizes cannot be negative.");
}

TEST(ManifestRules, acceptChecksumsOfExactlySixtyFourHexadecimalDigits) {
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  for (const std::string& checksum : {kChecksum, std::string(64, 'F'), std::string(64, '0')}) {
    entry.contentChecksumSHA256 = checksum;
    expectAccepted(manifestOf({entry}));
  }
  for (const std::string& checksum : {std::string(63, 'a'), std::string(65, 'a'), " " + kChecksum, kChecksum + " ",
                                      kChecksum + "\n", std::string(63, 'a') + "g", std::string()}) {
    entry.contentChecksumSHA256 = checksum;
    expectEntryRefused(entry, "contentChecksumSHA256", "Shared Warp checksums must be SHA-256 hex values.");
  }
}

TEST(ManifestRules, takeNothingButHexadecimalDigitsAnywhereInAChecksum) {
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  for (int c = 0; c < 256; ++c) {
    for (std::size_t at = 0; at < kChecksum.size(); ++at) {
      std::string checksum = kChecksum;
      checksum[at] = static_cast<char>(c);
      ASSERT_EQ(isSHA256Hex(checksum), kDigits.contains(static_cast<char>(c))) << c << " at " << at;
    }
  }
}

TEST(ManifestRules, refuseUnsafePayloadParts) {
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  entry.payloadParts = {{"k", 9223372036854775807, 0, {}}};
  expectAccepted(manifestOf({entry}));
  for (const PartSpec& part :
       {PartSpec{"k", 9223372036854775807, 1, {}}, PartSpec{"k", -1, 1, {}}, PartSpec{"k", 0, -1, {}},
        PartSpec{"/k", 0, 1, {}}, PartSpec{"", 0, 1, {}}, PartSpec{"a//b", 0, 1, {}}}) {
    entry.payloadParts = {{"good", 0, 1, {}}, part};
    expectEntryRefused(entry, "payloadParts", kParts);
  }
}

TEST(ManifestRules, refuseAnUnsafePayloadKey) {
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  for (const char* key : {"", "/k", "a/../b", "a/"}) {
    entry.payloadKey = key;
    expectEntryRefused(entry, "payloadKey", "Shared Warp payload keys must be safe relative object keys.");
  }
}

TEST(ManifestRules, acceptAnExtentThatEndsWithTheFileAndNoByteFurther) {
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  entry.size = 100;
  entry.storedSize = 10;
  entry.sparseExtents = {{90, 0, 10}};
  expectAccepted(manifestOf({entry}));
  for (const ExtentSpec& extent :
       {ExtentSpec{91, 0, 10}, ExtentSpec{90, 1, 10}, ExtentSpec{-1, 0, 1}, ExtentSpec{0, -1, 1}, ExtentSpec{0, 0, -1},
        ExtentSpec{9223372036854775807, 0, 1}, ExtentSpec{0, 9223372036854775807, 1}}) {
    entry.sparseExtents = {{0, 0, 1}, extent};
    expectEntryRefused(entry, "sparseExtents", kExtents);
  }
}

TEST(ManifestRules, letExtentsOverlapInAnyOrder) {
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  entry.size = 100;
  entry.sparseExtents = {{50, 0, 10}, {0, 0, 60}, {55, 5, 0}};
  expectAccepted(manifestOf({entry}));
}

TEST(ManifestRules, keepHardLinksInsideTheManifest) {
  EntrySpec link = entryAt("/Users/ann/Photos/link");
  link.hardLinkPrimaryPath = "/Users/ann/Photos/link";
  expectRefused(manifestOf({link}), {"entries"}, kHardLinks);
  link.hardLinkPrimaryPath = "/Users/ann/Photos/gone";
  expectRefused(manifestOf({link}), {"entries"}, kHardLinks);
  link.hardLinkPrimaryPath = "/Users/ann/Photos/first";
  expectAccepted(manifestOf({link, entryAt("/Users/ann/Photos/first")}));
  link.hardLinkPrimaryPath = "first";
  expectEntryRefused(link, "hardLinkPrimaryPath", "Shared Warp hard-link paths must be canonical absolute paths.");
}

TEST(ManifestRules, reportEqualPathsAsOwnershipEvenBesideABadHardLink) {
  EntrySpec link = entryAt("/Users/ann/Photos/a");
  link.hardLinkPrimaryPath = "/Users/ann/Photos/gone";
  expectRefused(manifestOf({link, entryAt("/Users/ann/Photos/a")}), {"entries"}, kOwnership);
}

TEST(ManifestRules, refuseSamplesThatAreEqualOutsideOrNotCanonical) {
  ManifestSpec spec;
  spec.rawMembers = R"("verificationSampleAbsolutePaths":["/Users/ann/Photos/a","/Users/ann/Photos/never-an-entry"])";
  expectAccepted(spec);
  for (const char* samples :
       {R"(["/Users/ann/Photos/a","/Users/ann/Photos/a"])", R"(["/Users/ann/x"])", R"(["/Users/ann/Photos/./a"])",
        R"(["Users/ann/Photos/a"])", R"(["/Users/ann/Photos/a\u0000"])", R"([""])"}) {
    spec.rawMembers = std::string(R"("verificationSampleAbsolutePaths":)") + samples;
    expectRefused(spec, {"entries"}, kOwnership);
  }
}

TEST(ManifestRules, runInOrderSoThatTheFirstBrokenOneIsReported) {
  EntrySpec entry = entryAt("relative");
  entry.size = -1;
  entry.storedSize = -1;
  entry.contentChecksumSHA256 = "x";
  entry.hardLinkPrimaryPath = "x";
  entry.payloadParts = {{"", 0, 0, {}}};
  entry.payloadKey = "";
  entry.sparseExtents = {{-1, 0, 0}};
  const std::vector<std::string> order{"absolutePath",        "size",         "storedSize", "contentChecksumSHA256",
                                       "hardLinkPrimaryPath", "payloadParts", "payloadKey", "sparseExtents"};
  for (std::size_t step = 0; step < order.size(); ++step) {
    const auto manifest = decodeManifest(manifestJSON(manifestOf({entry})));
    ASSERT_FALSE(manifest);
    EXPECT_EQ(manifest.error().decodingFailure()->codingPath.back(), order[step]);
    if (step == 0) entry.path = "/outside";
    if (step == 1) entry.size = 5;
    if (step == 2) entry.storedSize = 5;
    if (step == 3) entry.contentChecksumSHA256.reset();
    if (step == 4) entry.hardLinkPrimaryPath = "/outside";
    if (step == 5) entry.payloadParts.clear();
    if (step == 6) entry.payloadKey.reset();
  }
  entry.sparseExtents.clear();
  expectRefused(manifestOf({entry}), {"entries"}, kOwnership);
  entry.path = "/Users/ann/Photos/a";
  expectRefused(manifestOf({entry}), {"entries"}, kHardLinks);
}

TEST(ManifestRules, doNotMatchTheKindWithThePayload) {
  EntrySpec folder = entryAt("/Users/ann/Photos/folder");
  folder.kind = "directory";
  folder.payloadKey = "k";
  folder.symlinkTarget = "anywhere";
  expectAccepted(manifestOf({folder}));
}

TEST(ManifestRules, refuseDatesThatAreNotFinite) {
  TovrinWarpSharedManifest manifest;
  manifest.originalFolderPath = "/Users/a";
  EXPECT_TRUE(hasConsistentDatesAndPaths(manifest));
  manifest.createdAt = {std::numeric_limits<double>::infinity()};
  EXPECT_FALSE(hasConsistentDatesAndPaths(manifest));
  manifest.createdAt = {0};
  manifest.uploadedAt = Date{std::numeric_limits<double>::quiet_NaN()};
  EXPECT_FALSE(hasConsistentDatesAndPaths(manifest));
  manifest.uploadedAt.reset();
  manifest.replacedAt = Date{-std::numeric_limits<double>::infinity()};
  EXPECT_FALSE(hasConsistentDatesAndPaths(manifest));
}

TEST(ManifestRules, findWhiteSpaceBeforeAnAbsolutePathHarmless) {
  TovrinWarpSharedManifest manifest;
  manifest.originalFolderPath = "\u2003\n /Users/a";
  EXPECT_TRUE(hasOnlyAbsolutePaths(manifest));
  manifest.originalFolderPath = "Users/a";
  EXPECT_FALSE(hasOnlyAbsolutePaths(manifest));
}

}  // namespace
}  // namespace tovrin
