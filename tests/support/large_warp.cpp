#include "support/large_warp.h"

#include "support/warp_fixture.h"

namespace tovrin {

std::string LargeWarp::filePath(int file) const {
  return folderPath(file / kFilesPerFolder) + "/IMG_" + std::to_string(file) + ".jpeg";
}

std::string LargeWarp::json() const {
  std::string json = manifestJSON({.warpID = warpID(), .originalFolderPath = originalFolderPath()});
  // The list of entries comes last. Written entry by entry: as values, a million of them would not fit everywhere.
  json.resize(json.size() - std::string_view("]}").size());
  for (int file = 0; file < files_; ++file) {
    if (file % kFilesPerFolder == 0) {
      json += entryJSON({.path = folderPath(file / kFilesPerFolder), .kind = "directory"}) + ",";
    }
    const std::string number = std::to_string(file);
    const std::int64_t size = 2'000'000 + file;
    json += entryJSON(
        {.path = filePath(file),
         .size = size,
         .displayName = "IMG_" + number + ".jpeg",
         .modificationTimeNanoseconds = 1'700'000'000'123'456'789,
         .birthTimeNanoseconds = 1'690'000'000'123'456'789,
         .posixPermissions = 0644,
         .payloadParts = {{.key = "warps/" + warpID() + "/" + number, .size = size, .payloadNamespace = "warp"}},
         .uploadStrategy = "direct",
         .contentChecksumSHA256 = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08",
         .payloadEncoding = "raw",
         .storedSize = size,
         .rawMembers = R"("statusChangeTimeNanoseconds":1700000001123456789,"ownerUserID":501,"ownerGroupID":20,)"
                       R"("bsdFlags":0)"});
    json += file + 1 < files_ ? "," : "";
  }
  return json + "]}";
}

void LargeWarp::install(const TestPlatform& platform) const {
  writeFile(platform.warpDirectory() / "ManifestMirror" / (warpID() + ".json"), json());
}

}  // namespace tovrin
