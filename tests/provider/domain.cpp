#include "provider/domain.h"

#include <utility>

namespace tovrin {

ManifestSpec warp(std::string warpID, std::string originalFolderPath, std::vector<EntrySpec> entries) {
  if (entries.empty()) entries.push_back({.path = originalFolderPath + "/a.txt"});
  return {
      .warpID = std::move(warpID), .originalFolderPath = std::move(originalFolderPath), .entries = std::move(entries)};
}

void Domain::installJournalRecord(std::string_view warpID, std::string_view relativePath,
                                  const std::optional<std::string>& pendingFile) {
  const std::string folder = (platform.warpDirectory() / "FileProviderPendingWriteback").string();
  std::string record = R"("warpID":")" + std::string(warpID) + R"(","relativePath":")" + std::string(relativePath) +
                       R"(","size":1,"cachedAt":")" + formatISO8601(platform.clock.now()) + R"(")";
  if (pendingFile) {
    const std::string path = pendingFile->empty() ? "" : folder + "/" + *pendingFile;
    record += R"(,"pendingWritebackFilePath":")" + path + R"(","pendingWritebackSize":1,)" +
              R"("pendingWritebackChecksumSHA256":")" + std::string(64, '0') + R"(")";
  }
  writeFile(platform.warpDirectory() / "file-provider-cached-items.json",
            R"({"version":1,"updatedAt":"2025-03-01T12:00:00Z","records":[{)" + record + "}]}");
}

Names filenames(std::span<const SharedItem> items) {
  Names names;
  for (const SharedItem& item : items) names.push_back(item->filename());
  return names;
}

Names identifiers(std::span<const SharedItem> items) {
  Names texts;
  for (const SharedItem& item : items) texts.push_back(item->itemIdentifier());
  return texts;
}

Names warpIDs(std::span<const SharedManifest> manifests) {
  Names texts;
  for (const SharedManifest& manifest : manifests) texts.emplace_back(manifest->manifest().warpID);
  return texts;
}

}  // namespace tovrin
