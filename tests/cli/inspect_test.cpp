#include <sys/stat.h>

#include <unistd.h>

#include "cli/command_fixture.h"
#include "lzfse_encoder/lzfse_encoder.h"
#include "platform/sha256.h"

namespace tovrin {
namespace {

using Inspect = Command;

void expectData(const Ended& ended, const std::string& json) {
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, json + "\n");
  EXPECT_EQ(ended.err, "");
}

void expectNull(const Ended& ended) {
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "null\n");
  EXPECT_EQ(ended.err, "");
}

void expectError(const Ended& ended, const std::string& json) {
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "{\"error\":{" + json + "}}\n");
}

/// The decoder's error for a value of the right kind that breaks a rule.
std::string corruptAt(const std::string& codingPath, const std::string& message) {
  return "\"domain\":\"NSCocoaErrorDomain\",\"code\":4864,"
         "\"localizedDescription\":\"The data couldn’t be read because it isn’t in the correct format.\","
         "\"codingPath\":[" +
         codingPath + "],\"debugDescription\":\"" + message + "\"";
}

const std::string kCorruptFile =
    "\"domain\":\"NSCocoaErrorDomain\",\"code\":259,"
    "\"localizedDescription\":\"The file couldn’t be opened because it isn’t in the correct format.\"";

std::string photoItem(std::uint32_t userID, std::uint32_t groupID) {
  return R"({"itemIdentifier":")" + entryID("/Users/ann/Photos/a.jpg") +
         R"(","parentItemIdentifier":"manifest:W1","filename":"a.jpg","contentType":"public.jpeg","documentSize":7,)"
         R"("creationDate":1.5,"contentModificationDate":1700000000.5,"capabilities":3,)"
         R"("contentPolicy":"downloadLazily","isUploaded":true,"itemVersion":"a.jpg-7-1700000000.5","warpID":"W1",)"
         R"("entry":{"absolutePath":"/Users/ann/Photos/a.jpg","displayName":"a.jpg","kind":"file","size":7,)"
         R"("modificationTimeNanoseconds":1700000000500000000,"birthTimeNanoseconds":1500000000,"ownerUserID":)" +
         std::to_string(userID) + R"(,"ownerGroupID":)" + std::to_string(groupID) +
         R"(,"posixPermissions":384,"bsdFlags":0,"payloadKey":"photos/a","payloadParts":[],"contentChecksumSHA256":")" +
         sha256Hex("picture") + R"(","payloadEncoding":"raw","storedSize":7,"sparseExtents":[]}})";
}

ManifestSpec onePhoto() {
  EntrySpec photo = fileEntry("/Users/ann/Photos/a.jpg", "picture", "photos/a");
  photo.birthTimeNanoseconds = 1500000000;
  photo.modificationTimeNanoseconds = 1700000000500000000;
  ManifestSpec warp;
  warp.entries = {photo};
  return warp;
}

TEST_F(Inspect, itemPrintsEveryMemberOfAnEntry) {
  installManifest(platform_, onePhoto());
  expectData(run({"inspect", "item", entryID("/Users/ann/Photos/a.jpg")}), photoItem(getuid(), getgid()));
}

TEST_F(Inspect, itemLeavesAbsentMembersOut) {
  expectData(run({"inspect", "item", "NSFileProviderRootContainerItemIdentifier"}),
             R"({"itemIdentifier":"NSFileProviderRootContainerItemIdentifier",)"
             R"("parentItemIdentifier":"NSFileProviderRootContainerItemIdentifier","filename":"Tovrin",)"
             R"("contentType":"public.folder","capabilities":1,"contentPolicy":"inherited","isUploaded":true,)"
             R"("itemVersion":"Tovrin-0-0.0"})");
  installManifest(platform_, onePhoto());
  expectData(run({"inspect", "item", "manifest:W1"}),
             R"({"itemIdentifier":"manifest:W1","parentItemIdentifier":"absolute:L1VzZXJzL2Fubg","filename":"Photos",)"
             R"("contentType":"public.folder","creationDate":1740830400.0,"contentModificationDate":1740830400.0,)"
             R"("capabilities":1,"contentPolicy":"inherited","isUploaded":true,)"
             R"("itemVersion":"Photos-0-1740830400.0","warpID":"W1"})");
}

TEST_F(Inspect, itemIsNullForWhatIsNotThere) {
  for (const std::string id :
       {"bogus", "manifest:W1", "entry:W1:YQ", "", "NSFileProviderTrashContainerItemIdentifier"}) {
    expectNull(run({"inspect", "item", id}));
  }
}

TEST_F(Inspect, childrenAreInTheEnumeratorsOrder) {
  installPhotos();
  const Ended ended = run({"inspect", "children", "manifest:W1"});
  EXPECT_EQ(fileNamesIn(ended.out), (std::vector<std::string>{"a.jpg", "link", "notes", "sub"}));
  expectData(run({"inspect", "children", "bogus"}), "[]");
  expectData(run({"inspect", "children", "NSFileProviderTrashContainerItemIdentifier"}), "[]");
}

TEST_F(Inspect, anchorIsAString) {
  expectData(run({"inspect", "anchor"}), "\"" + sha256Hex("") + "\"");
  installManifest(platform_, onePhoto());
  expectData(run({"inspect", "anchor"}), "\"" + sha256Hex("W1:replaced:1:0.0:0.0") + "\"");
}

TEST_F(Inspect, changesLeaveTheItemsOutWhenTheAnchorIsCurrent) {
  installManifest(platform_, onePhoto());
  const std::string anchor = sha256Hex("W1:replaced:1:0.0:0.0");
  expectData(run({"inspect", "changes", "manifest:W1", anchor}),
             R"({"anchor":")" + anchor + R"(","moreComing":false})");
  expectData(
      run({"inspect", "changes", "manifest:W1", "x"}),
      R"({"updated":[)" + photoItem(getuid(), getgid()) + R"(],"anchor":")" + anchor + R"(","moreComing":false})");
  expectData(run({"inspect", "changes", "bogus", "x"}),
             R"({"updated":[],"anchor":")" + anchor + R"(","moreComing":false})");
}

TEST_F(Inspect, identifierTellsTheCase) {
  expectData(run({"inspect", "identifier", "entry:W1:YQ"}), R"({"case":"entry","warpID":"W1","relativePath":"a"})");
  expectData(run({"inspect", "identifier", "manifest:W:1"}), R"({"case":"manifest","warpID":"W:1"})");
  expectData(run({"inspect", "identifier", "manifest:"}), R"({"case":"manifest","warpID":""})");
  expectData(run({"inspect", "identifier", "absolute:L1VzZXJz"}), R"({"case":"absoluteDirectory","path":"/Users"})");
  expectData(run({"inspect", "identifier", "warped-root"}), R"({"case":"warpedRoot"})");
  for (const std::string text :
       {"Warped-root", "entry:W1", "absolute:!", "", "NSFileProviderRootContainerItemIdentifier"}) {
    expectNull(run({"inspect", "identifier", text}));
  }
}

TEST_F(Inspect, identifierStaysJSONWhateverTheBytes) {
  expectData(run({"inspect", "identifier", "manifest:a\xff\"\n"}),
             "{\"case\":\"manifest\",\"warpID\":\"a\uFFFD\\\"\\n\"}");
}

TEST_F(Inspect, manifestIsEncodedAgainWithItsDefaults) {
  writeFile(work() / "m.json", R"({"warpID":"W","deviceID":"d","manifestKey":"m","originalFolderPath":"/a/b",)"
                               R"("createdAt":"2025-03-01T12:00:00Z","status":"verified","entries":[]})");
  expectData(run({"inspect", "manifest", "m.json"}),
             R"({"version":1,"warpID":"W","deviceID":"d","manifestKey":"m","originalFolderPath":"/a/b",)"
             R"("displayName":"b","createdAt":"2025-03-01T12:00:00Z","status":"verified",)"
             R"("verificationSampleAbsolutePaths":[],"entries":[]})");
}

TEST_F(Inspect, manifestTellsTheKeyPathAndTheRule) {
  ManifestSpec warp = onePhoto();
  warp.entries[0].size = -1;
  writeFile(work() / "m.json", manifestJSON(warp));
  expectError(run({"inspect", "manifest", "m.json"}),
              corruptAt(R"("entries","0","size")", "Shared Warp entry sizes cannot be negative."));
  writeFile(work() / "m.json", "no JSON");
  expectError(run({"inspect", "manifest", "m.json"}), corruptAt("", "The given data was not valid JSON."));
  const Ended missing = run({"inspect", "manifest", "missing.json"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(parsed(missing.err)["error"]["code"].GetInt(), 260);
  EXPECT_FALSE(parsed(missing.err)["error"].HasMember("codingPath"));
}

TEST_F(Inspect, visibleIsInTheTreesOrder) {
  ManifestSpec old{.warpID = "old", .originalFolderPath = "/a", .createdAt = "2020-01-01T00:00:00Z"};
  ManifestSpec fresh{.warpID = "fresh", .originalFolderPath = "/b", .createdAt = "2025-01-01T00:00:00Z"};
  ManifestSpec hidden{.warpID = "hidden", .originalFolderPath = "/c", .status = "uploading"};
  old.entries = {fileEntry("/a/x", "x", "x")};
  fresh.entries = {fileEntry("/b/x", "x", "x")};
  hidden.entries = {fileEntry("/c/x", "x", "x")};
  for (const ManifestSpec& warp : {old, fresh, hidden}) installManifest(platform_, warp);
  expectData(run({"inspect", "visible"}), R"(["fresh","old"])");
}

TEST_F(Inspect, liveAsksForTheMarkerAndTheTombstones) {
  expectNull(run({"inspect", "live", "W1"}));
  ManifestSpec warp;
  warp.originalFolderPath = (scratch_ / "Photos").string();
  installManifest(platform_, warp);
  expectData(run({"inspect", "live", "W1"}), "false");
  installMarker(scratch_ / "Photos", "W1");
  expectData(run({"inspect", "live", "W1"}), "true");
  installTombstones(platform_, {{"W1", "manifests/other.json"}});
  expectData(run({"inspect", "live", "W1"}), "false");
  writeFile(this->warp() / "ManifestMirror/W2.json", "{}");
  EXPECT_EQ(run({"inspect", "live", "W2"}).status, 1);
  EXPECT_EQ(run({"inspect", "live", "W2"}).out, "");
}

TEST_F(Inspect, tombstonesAreThoseOfTheFileOrItsError) {
  expectData(run({"inspect", "tombstones"}), "[]");
  installTombstones(platform_, {{"W1", "manifests/W1.json"}});
  expectData(run({"inspect", "tombstones"}),
             R"([{"warpID":"W1","manifestKey":"manifests/W1.json","originalFolderPath":"/Users/ann/Photos",)"
             R"("destroyedAt":"2025-03-02T12:00:00Z"}])");
  installTombstones(platform_, {{"W1", "k"}, {"W2", "k"}});
  expectError(run({"inspect", "tombstones"}), kCorruptFile);
  writeFile(this->warp() / "destroyed-manifest-index.json",
            R"({"version":2,"generatedAt":"2025-03-02T12:00:00Z","records":[]})");
  expectError(run({"inspect", "tombstones"}),
              corruptAt(R"("version")", "Unsupported restored-Warp tombstone index version."));
}

TEST_F(Inspect, journalIsWhatALoadReturns) {
  expectData(run({"inspect", "journal"}), "[]");
  const std::string kept = R"({"warpID":"W1","relativePath":"/a","size":3,"cachedAt":"2001-01-01T00:00:00Z",)"
                           R"("materializedModificationTimeNanoseconds":1,"modifiedAt":"2001-01-01T00:00:00Z",)"
                           R"("recoveryCheckpointPendingSince":"2001-01-01T00:00:00Z"})";
  const std::string old = R"({"warpID":"W1","relativePath":"/b","size":3,"cachedAt":"2001-01-01T00:00:00Z"})";
  const auto journal = this->warp() / "file-provider-cached-items.json";
  writeFile(journal, R"({"updatedAt":"2025-03-01T12:00:00Z","records":[)" + kept + "," + old + "]}");
  expectData(run({"inspect", "journal"}), "[" + kept + "]");
  writeFile(journal, R"({"updatedAt":"2025-03-01T12:00:00Z","records":[)" + kept + "," + kept + "]}");
  expectError(run({"inspect", "journal"}), kCorruptFile);
  writeFile(journal, R"({"version":2,"updatedAt":"2025-03-01T12:00:00Z","records":[]})");
  expectError(run({"inspect", "journal"}), corruptAt(R"("version")", "Unsupported Warp cached-item journal version."));
}

TEST_F(Inspect, lzfseDecodesABareStream) {
  const std::string bytes(100000, 'z');
  writeFile(work() / "z.lzfse", encodeLZFSE(bytes));
  expectData(run({"inspect", "lzfse", "z.lzfse", "-o", "z"}), R"({"bytes":100000})");
  EXPECT_EQ(readFile(work() / "z"), bytes);
  EXPECT_EQ(countFiles(work()), 2u);
}

TEST_F(Inspect, lzfseKeepsTheTargetWhenTheStreamIsBroken) {
  writeFile(work() / "z", "old");
  const std::string stream = encodeLZFSE("some bytes");
  writeFile(work() / "short.lzfse", std::string_view(stream).substr(0, stream.size() - 5));
  const Ended cutShort = run({"inspect", "lzfse", "short.lzfse", "-o", "z"});
  EXPECT_EQ(cutShort.status, 1);
  EXPECT_EQ(cutShort.out, "");
  EXPECT_EQ(parsed(cutShort.err)["error"]["code"].GetInt(), 4866);
  writeFile(work() / "bad.lzfse", "not a stream at all");
  EXPECT_EQ(parsed(run({"inspect", "lzfse", "bad.lzfse", "-o", "z"}).err)["error"]["code"].GetInt(), 4864);
  EXPECT_EQ(parsed(run({"inspect", "lzfse", "missing", "-o", "z"}).err)["error"]["code"].GetInt(), 260);
  EXPECT_EQ(run({"inspect", "lzfse", "bad.lzfse", "-o", "no/z"}).status, 1);
  EXPECT_EQ(readFile(work() / "z"), "old");
  EXPECT_EQ(countFiles(work()), 3u);
}

TEST_F(Inspect, neverReplacesADeviceOrPipe) {
  writeFile(work() / "bad.lzfse", "not a stream");
  ASSERT_EQ(mkfifo((work() / "pipe").c_str(), 0600), 0);
  const Ended ended = run({"inspect", "lzfse", "bad.lzfse", "-o", "pipe"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_STREQ(parsed(ended.err)["error"]["localizedDescription"].GetString(),
               "The target is a device, pipe or socket, not a file.");
  EXPECT_TRUE(std::filesystem::is_fifo(work() / "pipe"));
}

}  // namespace
}  // namespace tovrin
