#include "tools/warp_fixture.h"

#include <algorithm>

#include "materialize/payload_reconstruction.h"
#include "materialize/renterd_client.h"
#include "tovrin-worker/object_store.h"

namespace tovrin {

ProgramResult WarpTest::make(std::vector<std::string> words) {
  if (std::ranges::find(words, "--put") == words.end()) words.insert(words.end(), {"--objects", objects});
  if (std::ranges::find(words, "--warp-id") == words.end()) words.insert(words.end(), {"--warp-id", "W1"});
  words.push_back(folder);
  return run("make", std::move(words));
}

ProgramResult WarpTest::run(const std::string& command, std::vector<std::string> words) {
  words.insert(words.begin(), {TOVRIN_WARP_PROGRAM, command, "--container", container});
  return runProgram(words, {"TOVRIN_WORKER_PASSWORD=pass"});
}

TovrinWarpSharedManifest WarpTest::manifest(const std::string& warpID) {
  const std::string bytes = readFile(container / "Warp/ManifestMirror" / (warpID + ".json"));
  auto decoded = decodeManifest(bytes);
  EXPECT_TRUE(decoded) << bytes;
  return decoded ? std::move(*decoded) : TovrinWarpSharedManifest();
}

const TovrinWarpSharedEntry& WarpTest::entry(const TovrinWarpSharedManifest& manifest, std::string_view relativePath) {
  static const TovrinWarpSharedEntry kNone;
  const std::string path = std::string(manifest.originalFolderPath) + "/" + std::string(relativePath);
  const auto found = std::ranges::find(manifest.entries, path, &TovrinWarpSharedEntry::relativePath);
  EXPECT_NE(found, manifest.entries.end()) << path;
  return found == manifest.entries.end() ? kNone : *found;
}

std::string WarpTest::object(std::string_view bucket, std::string_view key) {
  return readFile(worker::ObjectStore(objects).objectPath(bucket, key));
}

void WarpTest::expectEveryFileToComeBack(const TovrinWarpSharedManifest& manifest) {
  LoopbackWorker worker({.root = objects, .password = "pass"});
  ASSERT_TRUE(worker.start());
  RenterdClient client(test.platform());
  const TovrinWarpRenterdConnectionSnapshot snapshot{worker.address(), "pass", {}};
  const std::filesystem::path destination = test.scratch / "opened";
  for (const TovrinWarpSharedEntry& entry : manifest.entries) {
    if (entry.kind != TovrinWarpSharedEntryKind::file) continue;
    const TovrinWarpSharedEntry* payload = &entry;
    if (entry.rare->hardLinkPrimaryPath && !entry.payloadKey && entry.payloadParts.empty()) {
      payload =
          &*std::ranges::find(manifest.entries, *entry.rare->hardLinkPrimaryPath, &TovrinWarpSharedEntry::relativePath);
    }
    const auto opened =
        reconstruct(client, snapshot, {entry, *payload, destination, test.scratch.path()}, [](double) {}, {});
    ASSERT_TRUE(opened) << entry.relativePath << ": " << opened.error().localizedDescription();
    const std::string_view relativePath = entry.relativePath.substr(manifest.originalFolderPath.size() + 1);
    EXPECT_TRUE(readFile(destination) == readFile(folder / relativePath)) << entry.relativePath;
  }
}

std::string repetitiveBytes(std::size_t count) {
  std::string bytes;
  for (std::size_t line = 0; bytes.size() < count; ++line) bytes += "line " + std::to_string(line % 977) + " of many\n";
  bytes.resize(count);
  return bytes;
}

}  // namespace tovrin
