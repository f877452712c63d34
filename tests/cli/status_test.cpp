#include <signal.h>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

using Status = Command;

TEST_F(Status, ofANewContainerIsEmpty) {
  std::filesystem::create_directories(warp());
  const Ended plain = run({"status"});
  EXPECT_EQ(plain.status, 0);
  EXPECT_EQ(plain.out, "Nothing has been opened or saved yet.\nOpened here: 0 files, 0 bytes\n");
  EXPECT_EQ(plain.err, "");
  EXPECT_EQ(run({"status", "--json"}).out, "{\"cached\":[],\"waitingForUpload\":[],\"needsAttention\":[]}\n");
}

TEST_F(Status, ofAContainerThatHoldsNothingHintsAtIt) {
  const std::string nowhere = (scratch_ / "nowhere").string();
  const std::string hint = "tovrin: " + nowhere + " has no Warp directory: nothing is shared there yet\n";
  const Ended ended = run({"--container", nowhere, "status"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, "Nothing has been opened or saved yet.\nOpened here: 0 files, 0 bytes\n");
  EXPECT_EQ(ended.err, hint);
  EXPECT_TRUE(start({"--container", nowhere, "status", "--follow"})->waitForErrorOutput(hint));
  EXPECT_EQ(run({"--container", nowhere, "status", "--json"}).err, "");
}

TEST_F(Status, namesWhatWasOpened) {
  installPhotos();
  startWorker();
  ASSERT_EQ(run({"cat", kPhotos + "/notes"}).status, 0);
  const std::string text = run({"status"}).out;
  EXPECT_NE(text.find("Open complete: Opened /Users/ann/Photos/notes."), std::string::npos) << text;
  EXPECT_NE(text.find("Opened here: 1 file, 19 bytes\n  /Warped Files/Users/ann/Photos/notes  19 bytes\n"),
            std::string::npos)
      << text;
  const auto status = parsed(run({"status", "--json"}).out);
  EXPECT_STREQ(status["operation"]["title"].GetString(), "Open complete");
  EXPECT_STREQ(status["cached"][0]["relativePath"].GetString(), "/Users/ann/Photos/notes");
}

TEST_F(Status, namesEditsThatWaitForUpload) {
  writeFile(warp() / "FileProviderPendingWriteback/x.txt", "edit");
  writeFile(warp() / "file-provider-cached-items.json",
            R"({"version":1,"updatedAt":"2025-03-01T12:00:00Z","records":[{"warpID":"W1","relativePath":"/p/notes",)"
            R"("size":4,"cachedAt":"2025-03-01T12:00:00Z","modifiedAt":"2025-03-01T12:00:00Z",)"
            R"("pendingWritebackFilePath":")" +
                (warp() / "FileProviderPendingWriteback/x.txt").string() +
                R"(","pendingWritebackSize":4,"pendingWritebackChecksumSHA256":")" + std::string(64, 'a') + "\"}]}");
  const std::string text = run({"status"}).out;
  EXPECT_NE(text.find("Waiting for upload: 1 file\n  /Warped Files/p/notes  4 bytes since 2025-03-01 12:00\n"),
            std::string::npos)
      << text;
  EXPECT_EQ(parsed(run({"status", "--json"}).out)["waitingForUpload"].Size(), 1u);
}

TEST_F(Status, namesWhatNeedsAttention) {
  ManifestSpec failed{.warpID = "F", .originalFolderPath = "/Users/ann/Failed", .status = "failed"};
  failed.rawMembers = R"("failureDescription":"Disk full.")";
  installManifest(platform_, failed);
  writeFile(warp() / "ManifestMirror/bad.json", "{}");
  writeFile(warp() / "file-provider-cached-items.json", "no journal");
  installPhotos();
  startWorker();
  ASSERT_TRUE(worker_.addFault("status code=500 route=object"));
  ASSERT_EQ(run({"cat", kPhotos + "/notes"}).status, 1);
  const std::string text = run({"status"}).out;
  EXPECT_NE(text.find("Open failed: Could not open /Users/ann/Photos/notes."), std::string::npos) << text;
  EXPECT_NE(text.find("Needs attention:\n  /Users/ann/Photos/notes: Ombrel Cloud is not reachable"), std::string::npos);
  EXPECT_NE(text.find("  file-provider-cached-items.json: The given data was not valid JSON.\n"), std::string::npos)
      << text;
  EXPECT_NE(text.find("  /Users/ann/Failed: Disk full.\n"), std::string::npos) << text;
  EXPECT_NE(text.find("  bad.json: warpID: "), std::string::npos) << text;
  EXPECT_EQ(parsed(run({"status", "--json"}).out)["needsAttention"].Size(), 4u);
}

TEST_F(Status, followsEveryChangeWithOneObjectPerLine) {
  installPhotos();
  startWorker();
  const auto command = start({"status", "--follow", "--json"});
  ASSERT_TRUE(command->waitForOutput("\"cached\":[]"));
  ASSERT_EQ(run({"cat", kPhotos + "/notes"}).status, 0);
  EXPECT_TRUE(command->waitForOutput("Open complete"));
  EXPECT_TRUE(command->waitForOutput("\"relativePath\":\"/Users/ann/Photos/notes\",\"size\":19"));
  writeFile(warp() / "ManifestMirror/bad.json", "{}");
  EXPECT_TRUE(command->waitForOutput("bad.json"));
  command->signal(SIGTERM);
  const Ended ended = command->finish();
  EXPECT_EQ(ended.status, 130);
  std::size_t start = 0;
  while (start < ended.out.size()) {
    const std::size_t end = ended.out.find('\n', start);
    ASSERT_NE(end, std::string::npos);
    parsed(ended.out.substr(start, end - start));
    start = end + 1;
  }
}

TEST_F(Status, endsWithItsReader) {
  installPhotos();
  const auto command = start({"status", "--follow"});
  ASSERT_TRUE(command->waitForOutput("Opened here: 0 files"));
  command->closeOutput();
  EXPECT_EQ(command->finish().status, -SIGPIPE);
}

TEST_F(Status, followsAContainerThatIsMadeLater) {
  const auto command = start({"status", "--follow"});
  ASSERT_TRUE(command->waitForOutput("Opened here: 0 files"));
  writeFile(warp() / "ManifestMirror/bad.json", "{}");
  EXPECT_TRUE(command->waitForOutput("bad.json"));
}

}  // namespace
}  // namespace tovrin
