#include "shared/manifest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/user.h"
#include "support/warp_fixture.h"

namespace tovrin {
namespace {

using Kind = DecodingFailure::Kind;
using Path = std::vector<std::string>;

ManifestSpec manifestOf(std::vector<EntrySpec> entries) {
  ManifestSpec spec;
  spec.entries = std::move(entries);
  return spec;
}

EntrySpec entryAt(std::string path, std::string kind = "file") {
  EntrySpec spec;
  spec.path = std::move(path);
  spec.kind = std::move(kind);
  return spec;
}

TovrinWarpSharedManifest decoded(const std::string& text) {
  auto manifest = decodeManifest(text);
  if (!manifest) {
    const DecodingFailure* why = manifest.error().decodingFailure();
    ADD_FAILURE() << (why ? why->debugDescription : manifest.error().localizedDescription()) << "\n" << text;
    return {};
  }
  return *std::move(manifest);
}

DecodingFailure failureOf(const std::string& text) {
  const auto manifest = decodeManifest(text);
  if (manifest) {
    ADD_FAILURE() << "decoded: " << text;
    return {};
  }
  return *manifest.error().decodingFailure();
}

/// The manifest as JSON with one text replaced by another.
std::string with(const ManifestSpec& spec, const std::string& text, const std::string& other) {
  std::string json = manifestJSON(spec);
  const std::size_t at = json.find(text);
  if (at == std::string::npos) ADD_FAILURE() << text << " is not in " << json;
  return json.replace(at, text.size(), other);
}

TEST(Manifest, withoutVersionDecodesAsVersionOne) { EXPECT_EQ(decoded(manifestJSON(ManifestSpec{})).version, 1); }

TEST(Manifest, readsTheSamplesFromTheKeyThatNamesThemAbsoluteOnly) {
  ManifestSpec spec;
  spec.rawMembers = R"("verificationSampleRelativePaths":["/Users/ann/Photos/a"])";
  EXPECT_TRUE(decoded(manifestJSON(spec)).verificationSampleRelativePaths.empty());
  spec.rawMembers = R"("verificationSampleAbsolutePaths":["/Users/ann/Photos/a"])";
  const auto manifest = decoded(manifestJSON(spec));
  ASSERT_EQ(manifest.verificationSampleRelativePaths.size(), 1u);
  EXPECT_EQ(manifest.verificationSampleRelativePaths[0], "/Users/ann/Photos/a");
}

TEST(Manifest, anEntryWithRelativePathInsteadOfAbsolutePathFails) {
  const auto problem =
      failureOf(with(manifestOf({entryAt("/Users/ann/Photos/a")}), "\"absolutePath\"", "\"relativePath\""));
  EXPECT_EQ(problem.kind, Kind::keyNotFound);
  EXPECT_EQ(problem.codingPath, (Path{"entries", "0", "absolutePath"}));
}

TEST(Manifest, anEntryWithoutPermissionsGetsThoseOfItsKind) {
  const auto manifest =
      decoded(manifestJSON(manifestOf({entryAt("/Users/ann/Photos/f"), entryAt("/Users/ann/Photos/d", "directory"),
                                       entryAt("/Users/ann/Photos/l", "symlink")})));
  EXPECT_EQ(manifest.entries[0].posixPermissions, 0600);
  EXPECT_EQ(manifest.entries[1].posixPermissions, 0700);
  EXPECT_EQ(manifest.entries[2].posixPermissions, 0777);
}

TEST(Manifest, anEntryWithoutStoredSizeHasItsSizeAndIsRaw) {
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  entry.size = 12;
  const auto manifest = decoded(manifestJSON(manifestOf({entry})));
  EXPECT_EQ(manifest.entries[0].storedSize, 12);
  EXPECT_EQ(manifest.entries[0].payloadEncoding, TovrinWarpSharedPayloadEncoding::raw);
}

TEST(Manifest, anEntryWithoutOwnerBelongsToTheUserOfThisProcess) {
  const auto manifest = decoded(manifestJSON(manifestOf({entryAt("/Users/ann/Photos/a")})));
  EXPECT_EQ(manifest.entries[0].ownerUserID, currentUserID());
  EXPECT_EQ(manifest.entries[0].ownerGroupID, currentGroupID());
}

TEST(Manifest, aDateWithFractionalSecondsFails) {
  ManifestSpec spec;
  spec.createdAt = "2025-03-01T12:00:00.5Z";
  const auto problem = failureOf(manifestJSON(spec));
  EXPECT_EQ(problem.kind, Kind::dataCorrupted);
  EXPECT_EQ(problem.codingPath, Path{"createdAt"});
  EXPECT_EQ(problem.debugDescription, "Expected date string to be ISO8601-formatted.");
}

TEST(Manifest, anUnknownCaseFailsTheWholeManifest) {
  ManifestSpec spec;
  spec.status = "paused";
  EXPECT_EQ(failureOf(manifestJSON(spec)).codingPath, Path{"status"});
  EXPECT_EQ(failureOf(manifestJSON(manifestOf({entryAt("/Users/ann/Photos/a", "socket")}))).codingPath,
            (Path{"entries", "0", "kind"}));
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  entry.payloadEncoding = "zip";
  EXPECT_EQ(failureOf(manifestJSON(manifestOf({entry}))).codingPath, (Path{"entries", "0", "payloadEncoding"}));
  entry.payloadEncoding.reset();
  entry.payloadParts = {{"k", 0, 0, "attic"}};
  EXPECT_EQ(failureOf(manifestJSON(manifestOf({entry}))).codingPath,
            (Path{"entries", "0", "payloadParts", "0", "namespace"}));
}

TEST(Manifest, decodesEveryStatusKindEncodingAndNamespace) {
  for (const char* status : {"uploading", "verified", "replaced", "failed", "needsAttention"}) {
    ManifestSpec spec;
    spec.status = status;
    EXPECT_EQ(rawValue(decoded(manifestJSON(spec)).status), status);
  }
  EntrySpec entry = entryAt("/Users/ann/Photos/a");
  entry.payloadEncoding = "lzfse";
  entry.payloadParts = {{"k1", 0, 1, "backup"}, {"k2", 1, 2, "warp"}, {"k3", 3, 4, {}}};
  const auto manifest = decoded(manifestJSON(manifestOf({entry})));
  EXPECT_EQ(manifest.entries[0].payloadEncoding, TovrinWarpSharedPayloadEncoding::lzfse);
  ASSERT_EQ(manifest.entries[0].payloadParts.size(), 3u);
  EXPECT_EQ(manifest.entries[0].payloadParts[0].namespace_, TovrinPayloadNamespace::backup);
  EXPECT_EQ(manifest.entries[0].payloadParts[1].namespace_, TovrinPayloadNamespace::warp);
  EXPECT_EQ(manifest.entries[0].payloadParts[2].namespace_, std::nullopt);
}

const char* const kFullManifest =
    R"({"version":4,"warpID":"W1","deviceID":"D","manifestKey":"m/w1.json","originalFolderPath":"/p","displayName":"Name",)"
    R"("createdAt":"2025-03-01T12:00:00Z","uploadedAt":"2025-03-01T12:00:01Z","replacedAt":"2025-03-01T12:00:02Z",)"
    R"("status":"needsAttention","failureDescription":"text","verificationSampleAbsolutePaths":["/p/a"],"entries":[)"
    R"({"absolutePath":"/p/a","displayName":"a","kind":"file","size":10,"modificationTimeNanoseconds":1,)"
    R"("statusChangeTimeNanoseconds":2,"birthTimeNanoseconds":3,"ownerUserID":4294967295,"ownerGroupID":5,)"
    R"("posixPermissions":65535,"bsdFlags":6,"symlinkTarget":"t","payloadKey":"k","payloadParts":[)"
    R"({"key":"p1","offset":0,"size":4,"namespace":"warp"},{"key":"p2","offset":4,"size":4}],"uploadStrategy":"s",)"
    R"("multipartPartCount":7,"multipartPartSizeBytes":8,)"
    R"("contentChecksumSHA256":"0123456789abcdefABCDEF0123456789abcdef0123456789abcdef0123456789",)"
    R"("payloadEncoding":"lzfse","storedSize":8,"sparseExtents":[{"logicalOffset":2,"storedOffset":0,"length":8}],)"
    R"("hardLinkIdentity":{"deviceID":18446744073709551615,"inode":9},"hardLinkPrimaryPath":"/p/b"},)"
    R"({"absolutePath":"/p/b","displayName":"b","kind":"file","size":0,"modificationTimeNanoseconds":0,"ownerUserID":0,)"
    R"("ownerGroupID":0,"posixPermissions":384,"bsdFlags":0,"payloadParts":[],"payloadEncoding":"raw","storedSize":0,)"
    R"("sparseExtents":[]}]})";

TEST(Manifest, encodesEveryFieldInOrderAndLeavesOutWhatIsAbsent) {
  EXPECT_EQ(encodeManifest(decoded(kFullManifest)), kFullManifest);
}

TEST(Manifest, encodesItsDefaultsExplicitly) {
  const auto manifest = decoded(manifestJSON(manifestOf({entryAt("/Users/ann/Photos/a b.jpg")})));
  const std::string text = encodeManifest(manifest);
  EXPECT_NE(text.find(R"({"version":1,"warpID":"W1")"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("displayName":"Photos")"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("verificationSampleAbsolutePaths":[])"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("displayName":"a b.jpg")"), std::string::npos) << text;
  EXPECT_NE(
      text.find(
          R"("posixPermissions":384,"bsdFlags":0,"payloadParts":[],"payloadEncoding":"raw","storedSize":0,"sparseExtents":[])"),
      std::string::npos)
      << text;
  EXPECT_EQ(text.find("null"), std::string::npos) << text;
  EXPECT_EQ(decoded(text), manifest);
}

TEST(Manifest, namesTheRootAfterItself) {
  ManifestSpec spec = manifestOf({entryAt("/")});
  spec.originalFolderPath = "/";
  const auto manifest = decoded(manifestJSON(spec));
  EXPECT_EQ(manifest.displayName, "/");
  EXPECT_EQ(manifest.entries[0].displayName, "/");
}

TEST(Manifest, isEqualAndHashedByAllItsFields) {
  const auto one = decoded(kFullManifest);
  const auto same = decoded(kFullManifest);
  EXPECT_EQ(one, same);
  EXPECT_EQ(hashValue(one), hashValue(same));
  EXPECT_EQ(hashValue(one.entries[0]), hashValue(same.entries[0]));
  EXPECT_EQ(hashValue(one.entries[0].payloadParts[0]), hashValue(same.entries[0].payloadParts[0]));
  EXPECT_NE(hashValue(one.entries[0].payloadParts[0]), hashValue(one.entries[0].payloadParts[1]));
  EXPECT_EQ(hashValue(one.entries[0].rare->sparseExtents[0]), hashValue(same.entries[0].rare->sparseExtents[0]));
  EXPECT_EQ(hashValue(*one.entries[0].rare->hardLinkIdentity), hashValue(*same.entries[0].rare->hardLinkIdentity));
  for (const auto& [text, other] :
       std::vector<std::pair<std::string, std::string>>{{"\"version\":4", "\"version\":3"},
                                                        {"\"inode\":9", "\"inode\":8"},
                                                        {"\"length\":8", "\"length\":7"},
                                                        {"\"bsdFlags\":6", "\"bsdFlags\":7"},
                                                        {"\"s\"", "\"z\""},
                                                        {":02Z", ":03Z"},
                                                        {"\"/p/a\"],", "\"/p/c\"],"}}) {
    std::string changed = kFullManifest;
    changed.replace(changed.find(text), text.size(), other);
    const auto different = decoded(changed);
    EXPECT_FALSE(one == different) << text;
    EXPECT_NE(hashValue(one), hashValue(different)) << text;
  }
}

TEST(Manifest, keepsItsTextsWhenItMoves) {
  TovrinWarpSharedManifest manifest = decoded(kFullManifest);
  const TovrinWarpSharedManifest moved = std::move(manifest);
  EXPECT_EQ(encodeManifest(moved), kFullManifest);
}

TEST(Manifest, reportsEveryMissingRequiredKey) {
  for (const std::string key :
       {"warpID", "deviceID", "manifestKey", "originalFolderPath", "createdAt", "status", "entries"}) {
    std::string text = kFullManifest;
    text.replace(text.find("\"" + key + "\""), key.size() + 2, "\"x\"");
    const auto problem = failureOf(text);
    EXPECT_EQ(problem.kind, Kind::keyNotFound) << key;
    EXPECT_EQ(problem.codingPath, Path{key});
  }
  for (const std::string key : {"absolutePath", "kind", "size"}) {
    std::string text = kFullManifest;
    text.replace(text.find("\"" + key + "\""), key.size() + 2, "\"x\"");
    EXPECT_EQ(failureOf(text).codingPath, (Path{"entries", "0", key}));
  }
  for (const std::string key : {"logicalOffset", "storedOffset", "length"}) {
    std::string text = kFullManifest;
    text.replace(text.find("\"" + key + "\""), key.size() + 2, "\"x\"");
    EXPECT_EQ(failureOf(text).codingPath, (Path{"entries", "0", "sparseExtents", "0", key}));
  }
}

TEST(Manifest, refusesIntegersOutOfTheRangeOfTheirField) {
  for (const auto& [text, other] :
       std::vector<std::pair<std::string, std::string>>{{"\"posixPermissions\":65535", "\"posixPermissions\":65536"},
                                                        {"\"ownerUserID\":4294967295", "\"ownerUserID\":4294967296"},
                                                        {"\"bsdFlags\":6", "\"bsdFlags\":-1"},
                                                        {"\"inode\":9", "\"inode\":18446744073709551616"},
                                                        {"\"size\":10", "\"size\":9223372036854775808"}}) {
    std::string changed = kFullManifest;
    changed.replace(changed.find(text), text.size(), other);
    EXPECT_EQ(failureOf(changed).kind, Kind::dataCorrupted) << other;
  }
}

TEST(Manifest, decodesAHundredThousandEntries) {
  ManifestSpec spec;
  for (int i = 0; i < 100000; ++i) spec.entries.push_back(entryAt("/Users/ann/Photos/" + std::to_string(i)));
  EXPECT_EQ(decoded(manifestJSON(spec)).entries.size(), 100000u);
}

}  // namespace
}  // namespace tovrin
