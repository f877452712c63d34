#include "support/large_warp.h"

namespace tovrin {

std::string largeWarpFolder(int folder) { return "/Users/ann/Pictures/Album " + std::to_string(folder); }

std::string largeWarpFile(int file) {
  return largeWarpFolder(file / kFilesPerFolder) + "/IMG_" + std::to_string(file) + ".jpeg";
}

ManifestSpec largeWarp(int files) {
  ManifestSpec warp{.warpID = "0B5C3A52-6C11-4A8E-9E0B-7D2D1B9C4F10", .originalFolderPath = "/Users/ann/Pictures"};
  warp.entries.reserve(static_cast<std::size_t>(files) + static_cast<std::size_t>(files / kFilesPerFolder) + 1);
  for (int file = 0; file < files; ++file) {
    if (file % kFilesPerFolder == 0) {
      warp.entries.push_back({.path = largeWarpFolder(file / kFilesPerFolder), .kind = "directory"});
    }
    const std::int64_t size = 2'000'000 + file;
    warp.entries.push_back(
        {.path = largeWarpFile(file),
         .size = size,
         .displayName = "IMG_" + std::to_string(file) + ".jpeg",
         .modificationTimeNanoseconds = 1'700'000'000'123'456'789,
         .birthTimeNanoseconds = 1'690'000'000'123'456'789,
         .posixPermissions = 0644,
         .payloadParts = {{.key = "warps/" + warp.warpID + "/" + std::to_string(file) + ".bin",
                           .size = size,
                           .payloadNamespace = "warp"}},
         .uploadStrategy = "direct",
         .contentChecksumSHA256 = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08",
         .payloadEncoding = "raw",
         .storedSize = size,
         .rawMembers = R"("statusChangeTimeNanoseconds":1700000001123456789,"ownerUserID":501,"ownerGroupID":20,)"
                       R"("bsdFlags":0)"});
  }
  return warp;
}

}  // namespace tovrin
