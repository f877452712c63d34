#include <fmt/core.h>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

/// The Warp W1 of a real folder, which carries its marker, so that edits are accepted.
class Put : public Command {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder_);
    installMarker(folder_, "W1");
    ManifestSpec warp;
    warp.originalFolderPath = folder_.string();
    EntrySpec directory;
    directory.path = (folder_ / "sub").string();
    directory.kind = "directory";
    warp.entries = {fileEntry(folder_ / "notes.txt", kNoteBytes, "notes"), directory};
    installManifest(platform_, warp);
    writeFile(work() / "new", "Buy the milk.");
    writeFile(work() / "same", kNoteBytes);
  }

  std::string itemPath() const { return "/Warped Files" + (folder_ / "notes.txt").string(); }

  std::filesystem::path folder_ = scratch_ / "Notes";
};

const std::string kReadOnly =
    "{\"error\":{\"domain\":\"NSCocoaErrorDomain\",\"code\":3328,"
    "\"localizedDescription\":\"Tovrin warped files are read-only from Finder.\"}}\n";

TEST_F(Put, queuesChangedContentsForUpload) {
  const Ended ended = run({"put", itemPath(), "new"});
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, "notes.txt: saved, waits for Tovrin to upload it\n");
  EXPECT_EQ(ended.err, "");
  const auto records = parsed(run({"inspect", "journal"}).out);
  ASSERT_EQ(records.Size(), 1u);
  EXPECT_EQ(readFile(records[0]["pendingWritebackFilePath"].GetString()), "Buy the milk.");
}

TEST_F(Put, namesTheSharedFileThatIsAtFault) {
  writeFile(warp() / "file-provider-cached-items.json", "no journal");
  EXPECT_EQ(run({"put", itemPath(), "new"}).err,
            "tovrin: " + itemPath() + ": The given data was not valid JSON. (file-provider-cached-items.json)\n");
  std::filesystem::remove(warp() / "file-provider-cached-items.json");
  writeFile(warp() / "destroyed-manifest-index.json", R"({"version":2})");
  EXPECT_TRUE(run({"put", itemPath(), "new"}).err.ends_with(" (destroyed-manifest-index.json)\n"));
}

TEST_F(Put, saysWhenNothingChanged) {
  const Ended ended = run({"put", itemPath(), "same"});
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.out, "notes.txt: unchanged, Tovrin has these contents already\n");
  EXPECT_EQ(countFiles(warp() / "FileProviderPendingWriteback"), 0u);
}

TEST_F(Put, printsTheNewItemAsJSON) {
  const Ended ended = run({"put", "--json", entryID((folder_ / "notes.txt").string()), "new"});
  ASSERT_EQ(ended.status, 0) << ended.err;
  const auto answer = parsed(ended.out);
  EXPECT_EQ(answer.MemberCount(), 1u);
  EXPECT_EQ(answer["item"]["documentSize"].GetInt(), 13);
  EXPECT_FALSE(answer["item"]["isUploaded"].GetBool());
}

TEST_F(Put, ofWhatTakesNoContentsFailsWithTheReadOnlyError) {
  for (const std::string& item : {std::string("warped-root"), std::string("bogus"), std::string("manifest:W1"),
                                  entryID((folder_ / "sub").string())}) {
    const Ended ended = run({"put", "--json", item, "new"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.err, kReadOnly);
  }
}

TEST_F(Put, intoAWarpThatIsBeingRestoredFails) {
  std::filesystem::remove(folder_ / ".tovrin-warped.json");
  const Ended ended = run({"put", itemPath(), "new"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "tovrin: " + itemPath() +
                           ": This Warp is being restored or removed. Finder kept the local edit; try again after "
                           "Tovrin finishes.\n");
}

TEST_F(Put, ofAFileThatCannotBeReadLeavesNoTrace) {
  const Ended missing = run({"put", "--json", itemPath(), "missing"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.out, "");
  EXPECT_EQ(parsed(missing.err)["error"]["code"].GetInt(), 260);
  EXPECT_EQ(run({"put", itemPath(), "."}).err, "tovrin: .: It is not a file.\n");
  EXPECT_EQ(run({"put", itemPath(), "/dev/null"}).err, "tovrin: /dev/null: It is not a file.\n");
  EXPECT_FALSE(std::filesystem::exists(warp() / "file-provider-materialization-state.json"));
}

}  // namespace
}  // namespace tovrin
