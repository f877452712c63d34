#include "mount/pending_edits.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "platform/sha256.h"
#include "support/scratch_folder.h"

namespace tovrin {

std::vector<PendingEdit> pendingEdits(const std::filesystem::path& warpDirectory) {
  std::vector<PendingEdit> found;
  const std::string text = readFile(warpDirectory / "file-provider-cached-items.json");
  if (text.empty()) return found;
  rapidjson::Document journal;
  journal.Parse(text.data(), text.size());
  if (!journal.IsObject() || !journal.HasMember("records")) {
    ADD_FAILURE() << "this is no journal: " << text;
    return found;
  }
  for (const auto& record : journal["records"].GetArray()) {
    if (!record.HasMember("pendingWritebackFilePath")) continue;
    const std::string bytes = readFile(record["pendingWritebackFilePath"].GetString());
    EXPECT_EQ(record["pendingWritebackSize"].GetInt64(), static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(record["pendingWritebackChecksumSHA256"].GetString(), sha256Hex(bytes));
    found.push_back({record["relativePath"].GetString(), bytes});
  }
  return found;
}

}  // namespace tovrin
