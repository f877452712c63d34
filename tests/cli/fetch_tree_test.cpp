#include <signal.h>

#include <algorithm>
#include <cerrno>

#include "cli/mounted_fixture.h"
#include "materialize/errors.h"

namespace tovrin {
namespace {

const std::string kPhoto = entryID("/Users/ann/Photos/a.jpg");
const std::string kNotes = entryID("/Users/ann/Photos/notes");
const std::string kDeep = entryID("/Users/ann/Photos/sub/x.txt");

class FetchTree : public MountedCommand {
 protected:
  void SetUp() override {
    installPhotos();
    host::MountStatus status;
    status.limits.cacheBytes = 1 << 20;
    mount_.setStatus(status);
  }
  /// A Warp of so many files.
  std::set<std::string> installMany(int count) {
    ManifestSpec warp{.warpID = "W1", .originalFolderPath = "/Users/ann/Photos"};
    std::set<std::string> identifiers;
    for (int i = 0; i < count; ++i) {
      const std::string path = "/Users/ann/Photos/" + std::to_string(i);
      warp.entries.push_back(fileEntry(path, "x", "photos/" + std::to_string(i)));
      identifiers.insert(entryID(path));
    }
    installManifest(platform_, warp);
    return identifiers;
  }
};

TEST_F(FetchTree, bringsEveryFileDownButLinks) {
  startMount();
  const Ended ended = run({"fetch", "-R", "/Warped Files"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "3 files, 30 bytes\n");
  EXPECT_EQ(mount_.fetched(), (std::set<std::string>{kPhoto, kNotes, kDeep}));
  EXPECT_EQ(countFiles(work()), 0u);
}

TEST_F(FetchTree, takesASingleFile) {
  startMount();
  EXPECT_EQ(run({"fetch", "-R", kPhoto}).err, "1 file, 7 bytes\n");
  EXPECT_EQ(mount_.fetched(), std::set<std::string>{kPhoto});
}

TEST_F(FetchTree, takesAnEmptyFolder) {
  ManifestSpec warp;
  EntrySpec folder;
  folder.path = "/Users/ann/Photos/empty";
  folder.kind = "directory";
  warp.entries = {folder, fileEntry("/Users/ann/Photos/a.jpg", "picture", "photos/a")};
  installManifest(platform_, warp);
  startMount();
  const Ended ended = run({"fetch", "-R", kPhotos + "/empty"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.err, "0 files, 0 bytes\n");
}

TEST_F(FetchTree, goesOnAfterSingleFailuresAndNamesThem) {
  mount_.failures = {{kPhoto, checksumError()}, {kDeep, notReachableError()}};
  startMount();
  const Ended ended = run({"fetch", "-R", kPhotos});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(mount_.fetched().size(), 3u);
  EXPECT_NE(ended.err.find("tovrin: " + kPhotos +
                           "/a.jpg: The downloaded warped file did not match its manifest checksum.\n"),
            std::string::npos)
      << ended.err;
  EXPECT_NE(ended.err.find("tovrin: " + kPhotos + "/sub/x.txt: Ombrel Cloud is not reachable"), std::string::npos)
      << ended.err;
  EXPECT_EQ(ended.err.find("notes"), std::string::npos);
}

TEST_F(FetchTree, tellsToolsWhatFailed) {
  mount_.failures = {{kDeep, checksumError()}};
  startMount();
  const Ended ended = run({"fetch", "-R", "--json", kPhotos});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.err, "");
  const auto answer = parsed(ended.out);
  EXPECT_EQ(answer["files"].GetInt(), 3);
  EXPECT_EQ(answer["bytes"].GetInt(), 30);
  ASSERT_EQ(answer["failed"].Size(), 1u);
  EXPECT_EQ(answer["failed"][0]["itemIdentifier"].GetString(), kDeep);
  EXPECT_EQ(answer["failed"][0]["path"].GetString(), kPhotos + "/sub/x.txt");
  EXPECT_EQ(answer["failed"][0]["code"].GetInt(), 259);
}

TEST_F(FetchTree, givesUpWhenTheWorkerIsAway) {
  for (const std::string& item : installMany(40)) mount_.failures.emplace(item, notReachableError());
  startMount();
  const Ended ended = run({"fetch", "-R", kPhotos});
  EXPECT_EQ(ended.status, 1);
  EXPECT_LT(mount_.fetched().size(), 16u);
  EXPECT_NE(ended.err.find("tovrin: " + kPhotos + ": Ombrel Cloud is not reachable"), std::string::npos) << ended.err;
}

TEST_F(FetchTree, asksForFourFilesAtOnce) {
  mount_.stalled = installMany(10);
  startMount();
  const auto command = start({"fetch", "-R", kPhotos});
  mount_.waitForStalls(4);
  command->signal(SIGINT);
  const Ended ended = command->finish();
  EXPECT_EQ(ended.status, 130);
  EXPECT_EQ(ended.out, "");
  mount_.waitForStops(4);
  EXPECT_EQ(mount_.fetched().size(), 4u);
}

TEST_F(FetchTree, endsWithTheMount) {
  mount_.stalled = {kPhoto, kNotes, kDeep};
  startMount();
  const auto command = start({"fetch", "-R", kPhotos});
  mount_.waitForStalls(3);
  stopMount();
  const Ended ended = command->finish();
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 2) << ended.err;
}

TEST_F(FetchTree, warnsOfMoreThanThereIsRoomFor) {
  host::MountStatus status;
  status.limits.cacheBytes = 29;
  mount_.setStatus(status);
  startMount();
  EXPECT_EQ(run({"fetch", "-R", kPhotos}).err,
            "3 files, 30 bytes\nLocal copies may take 29 bytes only: the first ones will be dropped again.\n");
}

TEST_F(FetchTree, drawsOneBarOverAllFiles) {
  mount_.stalled = {kDeep};
  host::MountStatus status;
  status.openings = {{kDeep, "x.txt", 4, 0.5, false}, {"another", "other", 1000, 0.5, false}};
  mount_.setStatus(status);
  startMount();
  const auto command = start({"fetch", "-R", kPhotos}, RunningCommand::ErrorOutput::terminal);
  EXPECT_TRUE(command->waitForErrorOutput(" 2 of 3 files, 28 bytes"));
  command->signal(SIGINT);
  EXPECT_TRUE(command->finish().err.find(" 93% [") != std::string::npos);
}

TEST_F(FetchTree, needsAMount) {
  const Ended ended = run({"fetch", "-R", kPhotos});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.err, "tovrin: " + kPhotos +
                           ": The container is not mounted. Files of a folder are fetched into the local copies of a "
                           "mount.\n");
  const auto error = parsed(run({"fetch", "-R", "--json", kPhotos}).err);
  EXPECT_EQ(error["error"]["code"].GetInt(), ENOTCONN);
}

TEST_F(FetchTree, needsAnItemThatIsThere) {
  startMount();
  EXPECT_EQ(run({"fetch", "-R", kPhotos + "/nope"}).status, 1);
  EXPECT_EQ(run({"fetch", "-R", "entry:W1:bm9wZQ"}).status, 1);
  EXPECT_EQ(run({"fetch", "-R", "-o", "x", kPhotos}).status, 2);
  EXPECT_TRUE(mount_.fetched().empty());
}

}  // namespace
}  // namespace tovrin
