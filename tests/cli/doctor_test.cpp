#include <signal.h>
#include <unistd.h>

#include "cli/command_fixture.h"
#include "support/lock_holder.h"

namespace tovrin {
namespace {

class Doctor : public Command {
 protected:
  /// The line of a finding, or an empty text.
  std::string finding(const std::string& start) {
    const std::string text = "\n" + run({"doctor"}).out;
    const std::size_t found = text.find("\n" + start);
    return found == std::string::npos ? "" : text.substr(found + 1, text.find('\n', found + 1) - found - 1);
  }
  void installHealthyContainer() {
    installPhotos();
    installVisibilityIndex(platform_, {"W1"});
    startWorker();
  }
};

TEST_F(Doctor, findsAHealthyContainerWell) {
  installHealthyContainer();
  const Ended ended = run({"doctor"});
  EXPECT_EQ(ended.status, 0) << ended.out;
  EXPECT_EQ(ended.err, "");
  EXPECT_TRUE(ended.out.ends_with("All is well.\n")) << ended.out;
  const Ended json = run({"doctor", "--json"});
  EXPECT_EQ(json.status, 0);
  EXPECT_TRUE(parsed(json.out)["healthy"].GetBool());
}

TEST_F(Doctor, missesAContainer) {
  const Ended ended = run({"doctor", "--json"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.err, "");
  EXPECT_FALSE(parsed(ended.out)["healthy"].GetBool());
  EXPECT_TRUE(finding("problem  manifests").ends_with("there is no such file.") ||
              finding("problem  manifests").find("doesn’t exist") != std::string::npos)
      << finding("problem  manifests");
}

TEST_F(Doctor, namesEveryManifestThatIsSkippedAndWhy) {
  installHealthyContainer();
  ManifestSpec warp{.warpID = "W2", .originalFolderPath = "/Users/ann/Two"};
  EntrySpec entry = fileEntry("/Users/ann/Two/x", "x", "x");
  entry.size = -1;
  warp.entries = {entry};
  installManifest(platform_, warp);
  writeFile(this->warp() / "ManifestMirror/W3.json", "{");
  EXPECT_EQ(finding("problem  manifests  W2.json"),
            "problem  manifests  W2.json: entries.0.size: Shared Warp entry sizes cannot be negative.");
  EXPECT_EQ(finding("problem  manifests  W3.json"), "problem  manifests  W3.json: The given data was not valid JSON.");
  const Ended json = run({"doctor", "--json"});
  EXPECT_EQ(json.status, 1);
  EXPECT_NE(json.out.find(R"({"level":"problem","check":"manifests","subject":"W2.json",)"
                          R"("message":"entries.0.size: Shared Warp entry sizes cannot be negative.",)"
                          R"("domain":"NSCocoaErrorDomain","code":4864,"codingPath":["entries","0","size"],)"
                          R"("debugDescription":"Shared Warp entry sizes cannot be negative."})"),
            std::string::npos)
      << json.out;
}

TEST_F(Doctor, namesAManifestInAFileOfAnotherName) {
  installHealthyContainer();
  std::filesystem::rename(warp() / "ManifestMirror/W1.json", warp() / "ManifestMirror/other.json");
  EXPECT_NE(finding("problem  manifests  /Users/ann/Photos (W1)").find("“W1.json”"), std::string::npos);
}

TEST_F(Doctor, tellsWhichRuleHidesAWarp) {
  installHealthyContainer();
  const auto install = [&](const std::string& warpID, const std::string& status, bool withFile) {
    ManifestSpec warp{.warpID = warpID, .originalFolderPath = "/h/" + warpID, .status = status};
    if (withFile) warp.entries = {fileEntry("/h/" + warpID + "/x", "x", "x")};
    installManifest(platform_, warp);
  };
  install("uploading", "uploading", true);
  install("empty", "replaced", false);
  install("destroyed", "replaced", true);
  install("unnamed", "replaced", true);
  installVisibilityIndex(platform_, {"W1", "uploading", "empty", "destroyed"});
  installTombstones(platform_, {{"destroyed", "manifests/destroyed.json"}});
  EXPECT_EQ(finding("note     hidden     /h/uploading"),
            "note     hidden     /h/uploading (uploading): Hidden: its status is “uploading”.");
  EXPECT_EQ(finding("note     hidden     /h/empty"), "note     hidden     /h/empty (empty): Hidden: it holds no file.");
  EXPECT_EQ(finding("note     hidden     /h/destroyed"),
            "note     hidden     /h/destroyed (destroyed): Hidden: it was restored "
            "(destroyed-manifest-index.json names it).");
  EXPECT_EQ(finding("note     hidden     /h/unnamed"),
            "note     hidden     /h/unnamed (unnamed): Hidden: manifest-visibility-index.json does not name it.");
  EXPECT_EQ(run({"doctor"}).status, 0);
}

TEST_F(Doctor, saysWhenAWarpTakesNoEdits) {
  installHealthyContainer();
  EXPECT_EQ(
      finding("note     edits"),
      "note     edits      /Users/ann/Photos (W1): Edits are refused: the folder does not carry the marker of this "
      "Warp.");
}

TEST_F(Doctor, namesTheHolderOfALock) {
  installHealthyContainer();
  const LockHolderProcess holder(warp() / "warp-mutation.lock");
  EXPECT_TRUE(finding("note     locks      warp-mutation.lock: Held by process ").ends_with(")."));
}

TEST_F(Doctor, passesOnWhyAWarpFailed) {
  installHealthyContainer();
  ManifestSpec warp{.warpID = "F", .originalFolderPath = "/f", .status = "needsAttention"};
  warp.rawMembers = R"("failureDescription":"Disk full.")";
  installManifest(platform_, warp);
  EXPECT_EQ(finding("problem  warps"), "problem  warps      /f (F): Its status is “needsAttention”: Disk full.");
}

TEST_F(Doctor, findsUnreadableIndexesAndJournal) {
  installHealthyContainer();
  writeFile(warp() / "manifest-visibility-index.json", R"({"generatedAt":"yesterday","visibleWarpIDs":[]})");
  writeFile(warp() / "destroyed-manifest-index.json", R"({"version":2})");
  writeFile(warp() / "file-provider-cached-items.json", R"({"version":2})");
  EXPECT_TRUE(finding("problem  indexes    manifest-visibility-index.json").find(": generatedAt: ") !=
              std::string::npos);
  EXPECT_EQ(finding("problem  indexes    destroyed"),
            "problem  indexes    destroyed-manifest-index.json: version: "
            "Unsupported restored-Warp tombstone index version.");
  EXPECT_EQ(
      finding("problem  journal"),
      "problem  journal    file-provider-cached-items.json: version: Unsupported Warp cached-item journal version.");
  EXPECT_EQ(run({"doctor"}).status, 1);
}

TEST_F(Doctor, findsCopiesOfEditsThatAreMissingOrLeftOver) {
  installHealthyContainer();
  const std::string missing = (warp() / "FileProviderPendingWriteback/gone.txt").string();
  writeFile(warp() / "FileProviderPendingWriteback/left-over.txt", "edit");
  writeFile(warp() / "file-provider-cached-items.json",
            R"({"updatedAt":"2025-03-01T12:00:00Z","records":[{"warpID":"W1","relativePath":"/p/notes","size":4,)"
            R"("cachedAt":"2025-03-01T12:00:00Z","pendingWritebackFilePath":")" +
                missing + R"(","pendingWritebackSize":4,"pendingWritebackChecksumSHA256":")" + std::string(64, 'a') +
                "\"}]}");
  EXPECT_EQ(finding("problem  edits"), "problem  edits      /p/notes: The copy of its edit is missing: " + missing);
  EXPECT_TRUE(finding("note     edits      left-over.txt").ends_with("Nothing will upload it."));
}

TEST_F(Doctor, asksTheWorker) {
  installPhotos();
  EXPECT_TRUE(finding("problem  worker     renterd-connection.json").ends_with("there is no such file."))
      << finding("problem  worker");
  startWorker();
  EXPECT_EQ(finding("well     worker"), "well     worker     " + worker_.address() + ": Ready.");
}

TEST_F(Doctor, tellsTheFaultsOfAWorkerApart) {
  installHealthyContainer();
  const std::string problem = "problem  worker     " + worker_.address() + ": ";
  ASSERT_TRUE(worker_.setAccounts("3"));
  EXPECT_EQ(finding("problem  worker"), problem + "Not ready: 3 of 10 accounts are ready.");
  installConnection(platform_, worker_.address(), "not it");
  EXPECT_EQ(finding("problem  worker"),
            problem + "It answered with status 401: the password in renterd-connection.json is not the worker’s.");
  installConnection(platform_, worker_.address(), worker_.password());
  ASSERT_TRUE(worker_.addFault("status code=503 route=accounts"));
  EXPECT_EQ(finding("problem  worker"), problem + "It answered, but not as expected: status 503.");
  installConnection(platform_, "/api", "x");
  EXPECT_TRUE(finding("problem  worker").starts_with("problem  worker     /api: Does not answer: "));
  const std::string gone = worker_.address();
  worker_.stop();
  installConnection(platform_, gone, worker_.password());
  EXPECT_TRUE(finding("problem  worker").starts_with(problem + "Does not answer: ")) << finding("problem  worker");
}

TEST_F(Doctor, findsAContainerThatIsNotThere) {
  const std::string nowhere = (scratch_ / "nowhere").string();
  const Ended ended = run({"--container", nowhere, "doctor"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_TRUE(ended.out.starts_with("problem  container  " + nowhere + ": There is no such folder.\n")) << ended.out;
  EXPECT_FALSE(std::filesystem::exists(nowhere));
}

TEST_F(Doctor, findsACacheThatCannotBeWritten) {
  installHealthyContainer();
  writeFile(scratch_ / "file", "in the way");
  std::erase_if(environment_, [](const std::string& variable) { return variable.starts_with("XDG_CACHE_HOME="); });
  environment_.push_back("XDG_CACHE_HOME=" + (scratch_ / "file/cache").string());
  EXPECT_EQ(finding("problem  cache"), "problem  cache      " + (scratch_ / "file/cache/tovrin").string() +
                                           ": Cannot be written to: no file can be opened.");
}

TEST_F(Doctor, findsAContainerThatCannotBeWritten) {
  if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
  installHealthyContainer();
  std::filesystem::permissions(warp(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  EXPECT_TRUE(finding("problem  container").find(": Cannot be written to: ") != std::string::npos);
  std::filesystem::permissions(warp(), std::filesystem::perms::owner_all);
}

TEST_F(Doctor, saysWhatCanBeWrongWithARecord) {
  installHealthyContainer();
  writeFile(warp() / "file-provider-cached-items.json",
            R"({"updatedAt":"2025-03-01T12:00:00Z","records":[{"warpID":"W1","relativePath":"/p/notes","size":-1,)"
            R"("cachedAt":"2025-03-01T12:00:00Z"}]})");
  EXPECT_TRUE(finding("problem  journal    file-provider-cached-items.json: A record breaks a rule: ")
                  .ends_with("outside FileProviderPendingWriteback."))
      << finding("problem  journal");
}

TEST_F(Doctor, neverShowsThePassword) {
  installPhotos();
  installConnection(platform_, "127.0.0.1:1", "hunter2");
  EXPECT_EQ(run({"doctor"}).out.find("hunter2"), std::string::npos);
  EXPECT_EQ(run({"doctor", "--json"}).out.find("hunter2"), std::string::npos);
}

TEST_F(Doctor, namesItemsThatAreShownUnderAnotherName) {
  installHealthyContainer();
  ManifestSpec warp{.warpID = "W2", .originalFolderPath = "/Users/ann/Two"};
  EntrySpec entry = fileEntry("/Users/ann/Two/a:b", "x", "x");
  entry.displayName = "a/b";
  warp.entries = {entry};
  installManifest(platform_, warp);
  installVisibilityIndex(platform_, {"W1", "W2"});
  EXPECT_EQ(finding("note     names"), "note     names      a/b: Shown as “a:b” in manifest:W2.");
}

}  // namespace
}  // namespace tovrin
