#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "local/cached_items.h"
#include "support/test_platform.h"

/// Journals as the main application writes them: JSON made here, not by the code under test, so it may break any rule.
namespace tovrin {

struct RecordSpec {
  std::string warpID = "w1";
  std::string relativePath = "/x";
  std::int64_t size = 1;
  std::string cachedAt = "2023-11-14T00:00:00Z";  // on the day of the tests' clock
  std::string rawMembers = {};                    // JSON members added as they stand
};

inline std::string recordJSON(const RecordSpec& record) {
  std::string text = R"({"warpID":")" + record.warpID + R"(","relativePath":")" + record.relativePath + R"(","size":)" +
                     std::to_string(record.size) + R"(,"cachedAt":")" + record.cachedAt + "\"";
  if (!record.rawMembers.empty()) text += "," + record.rawMembers;
  return text + "}";
}

inline std::string journalJSON(const std::vector<RecordSpec>& records) {
  std::string list;
  for (const RecordSpec& record : records) list += (list.empty() ? "" : ",") + recordJSON(record);
  return R"({"version":1,"updatedAt":"2023-11-14T00:00:00Z","records":[)" + list + "]}";
}

inline std::filesystem::path journalFile(const TestPlatform& platform) {
  return platform.warpDirectory() / "file-provider-cached-items.json";
}

inline std::filesystem::path pendingDirectory(const TestPlatform& platform) {
  return platform.warpDirectory() / "FileProviderPendingWriteback";
}

inline constexpr std::string_view kSomeChecksum = "0123456789abcdef0123456789ABCDEF0123456789abcdef0123456789abcdef";

/// The three members of a queued edit, for `RecordSpec::rawMembers`.
inline std::string pendingMembers(const std::string& path, std::int64_t size = 3,
                                  std::string_view checksum = kSomeChecksum) {
  return R"("pendingWritebackFilePath":")" + path + R"(","pendingWritebackSize":)" + std::to_string(size) +
         R"(,"pendingWritebackChecksumSHA256":")" + std::string(checksum) + "\"";
}

/// A record in hand, as a caller of `save` makes it.
inline TovrinWarpSharedCachedItemRecord someRecord(std::string relativePath, std::string warpID = "w1") {
  TovrinWarpSharedCachedItemRecord record;
  record.warpID = std::move(warpID);
  record.relativePath = std::move(relativePath);
  record.size = 1;
  record.cachedAt = {1700000000};
  return record;
}

/// One that names a queued edit.
inline TovrinWarpSharedCachedItemRecord pendingRecord(const TestPlatform& platform, std::string relativePath) {
  TovrinWarpSharedCachedItemRecord record = someRecord(std::move(relativePath));
  record.pendingWritebackFilePath = (pendingDirectory(platform) / "A.txt").string();
  record.pendingWritebackSize = 3;
  record.pendingWritebackChecksumSHA256 = kSomeChecksum;
  return record;
}

}  // namespace tovrin
