#include <sys/stat.h>

#include "materialize/renterd_client.h"
#include "shared/manifest_indexes.h"
#include "tools/warp_fixture.h"

namespace tovrin {
namespace {

class WarpContainer : public WarpTest {
 protected:
  void makeWarps(const std::vector<std::string>& warpIDs) {
    writeFile(folder / "a", "bytes");
    for (const std::string& warpID : warpIDs) ASSERT_EQ(make({"--warp-id", warpID}).status, 0);
  }
  std::vector<std::string> visible() {
    auto index = loadVisibilityIndex(test.directories);
    EXPECT_TRUE(index);
    return index ? index->visibleWarpIDs : std::vector<std::string>();
  }
  std::vector<std::string> destroyed() {
    std::vector<std::string> warpIDs;
    const auto tombstones = ManifestIndexes(test.platform()).tombstones();
    EXPECT_TRUE(tombstones);
    if (tombstones) {
      for (const auto& record : (*tombstones)->records()) warpIDs.push_back(record.warpID);
    }
    return warpIDs;
  }
  bool hasManifest(const std::string& warpID) {
    return std::filesystem::exists(container / "Warp/ManifestMirror" / (warpID + ".json"));
  }
  using Strings = std::vector<std::string>;
};

TEST_F(WarpContainer, holdsAConnectionThatTheProviderReads) {
  writeFile(test.scratch / "password", "se\"cret\n");
  ASSERT_EQ(run("connect", {"--address", "127.0.0.1:9980", "--password-file", test.scratch / "password"}).status, 0);
  const auto snapshot = readConnectionSnapshot(test.warpDirectory());
  ASSERT_TRUE(snapshot);
  EXPECT_EQ(snapshot->httpAddress, "127.0.0.1:9980");
  EXPECT_EQ(snapshot->apiPassword, "se\"cret");
}

TEST_F(WarpContainer, keepsTheConnectionToItsOwner) {
  writeFile(test.warpDirectory() / "renterd-connection.json", "{}");
  ASSERT_EQ(::chmod((test.warpDirectory() / "renterd-connection.json").c_str(), 0644), 0);
  ASSERT_EQ(run("connect", {"--address", "127.0.0.1:9980"}).status, 0);
  struct stat attributes{};
  ASSERT_EQ(::stat((test.warpDirectory() / "renterd-connection.json").c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode & 0777, 0600u);
}

TEST_F(WarpContainer, hasNoVisibilityIndexUntilSomethingIsShownOrHidden) {
  makeWarps({"W1"});
  EXPECT_FALSE(std::filesystem::exists(container / "Warp/manifest-visibility-index.json"));
}

TEST_F(WarpContainer, showsWarpsOnce) {
  makeWarps({"W1", "W2"});
  ASSERT_EQ(run("show", {"W2"}).status, 0);
  ASSERT_EQ(run("show", {"W1", "W2"}).status, 0);
  EXPECT_EQ(visible(), (Strings{"W2", "W1"}));
}

TEST_F(WarpContainer, addsANewWarpToAnIndexThatExists) {
  makeWarps({"W1"});
  ASSERT_EQ(run("show", {"W1"}).status, 0);
  makeWarps({"W2"});
  EXPECT_EQ(visible(), (Strings{"W1", "W2"}));
}

TEST_F(WarpContainer, hidesOneWarpAndKeepsTheOthersWithoutAnIndex) {
  makeWarps({"W1", "W2", "W3"});
  ASSERT_EQ(run("hide", {"W2"}).status, 0);
  EXPECT_EQ(visible(), (Strings{"W1", "W3"}));
  ASSERT_EQ(run("hide", {"W1", "W3"}).status, 0);
  EXPECT_EQ(visible(), Strings());
}

TEST_F(WarpContainer, leavesATombstoneOfADestroyedWarp) {
  makeWarps({"W1", "W2"});
  ASSERT_EQ(run("show", {"W1", "W2"}).status, 0);
  ASSERT_EQ(run("destroy", {"W1"}).status, 0);
  EXPECT_EQ(destroyed(), (Strings{"W1"}));
  EXPECT_EQ(visible(), (Strings{"W2"}));
  EXPECT_FALSE(hasManifest("W1"));
  ASSERT_EQ(run("destroy", {"W2", "--keep-manifest"}).status, 0);
  EXPECT_EQ(destroyed(), (Strings{"W1", "W2"}));
  EXPECT_TRUE(hasManifest("W2"));
}

TEST_F(WarpContainer, doesNotDestroyAWarpTwice) {
  makeWarps({"W1"});
  ASSERT_EQ(run("destroy", {"W1", "--keep-manifest"}).status, 0);
  const ProgramResult again = run("destroy", {"W1"});
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.errors, "tovrin-warp: The Warp \"W1\" is destroyed already.\n");
  EXPECT_EQ(run("destroy", {"unknown"}).status, 1);
  EXPECT_EQ(destroyed(), (Strings{"W1"}));
}

TEST_F(WarpContainer, isNotOverwrittenWhenItsIndexesCannotBeRead) {
  makeWarps({"W1"});
  writeFile(container / "Warp/manifest-visibility-index.json", "garbage");
  EXPECT_EQ(run("show", {"W1"}).status, 1);
  EXPECT_EQ(run("hide", {"W1"}).status, 1);
  EXPECT_EQ(readFile(container / "Warp/manifest-visibility-index.json"), "garbage");
  writeFile(container / "Warp/destroyed-manifest-index.json", "garbage");
  EXPECT_EQ(run("destroy", {"W1"}).status, 1);
  EXPECT_EQ(readFile(container / "Warp/destroyed-manifest-index.json"), "garbage");
  EXPECT_TRUE(hasManifest("W1"));
}

TEST_F(WarpContainer, isTakenFromTheEnvironmentToo) {
  writeFile(folder / "a", "bytes");
  const auto made = runProgram({TOVRIN_WARP_PROGRAM, "make", folder, "--objects", objects, "--warp-id", "W1"},
                               {"TOVRIN_CONTAINER=" + container.native()});
  EXPECT_EQ(made.status, 0) << made.errors;
  EXPECT_TRUE(hasManifest("W1"));
}

TEST_F(WarpContainer, isTheOneThatIsNamedWhateverTheEnvironmentSays) {
  writeFile(folder / "a", "bytes");
  const std::vector<std::string> environment{"TOVRIN_CONTAINER=" + (test.scratch / "another").native(),
                                             "TOVRIN_WORKER_PASSWORD=secret"};
  const auto made = runProgram(
      {TOVRIN_WARP_PROGRAM, "make", folder, "--objects", objects, "--warp-id", "W1", "--container", container.native()},
      environment);
  EXPECT_EQ(made.status, 0) << made.errors;
  const auto connected = runProgram(
      {TOVRIN_WARP_PROGRAM, "connect", "--container", container.native(), "--address", "127.0.0.1:9980"}, environment);
  EXPECT_EQ(connected.status, 0) << connected.errors;
  EXPECT_TRUE(hasManifest("W1"));
  EXPECT_TRUE(readConnectionSnapshot(test.warpDirectory()));
  EXPECT_FALSE(std::filesystem::exists(test.scratch / "another"));
}

TEST(WarpProgram, explainsItselfAndItsCommands) {
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{{"--help"},
                                                                                     {"make", "--help"},
                                                                                     {"connect", "--help"},
                                                                                     {"show", "--help"},
                                                                                     {"hide", "--help"},
                                                                                     {"destroy", "--help"}}) {
    std::vector<std::string> all{TOVRIN_WARP_PROGRAM};
    all.insert(all.end(), words.begin(), words.end());
    const ProgramResult help = runProgram(all);
    EXPECT_EQ(help.status, 0) << words[0];
    EXPECT_EQ(help.errors, "");
    EXPECT_NE(help.output.find("Usage: "), std::string::npos);
  }
}

TEST(WarpProgram, refusesWrongWordsWithStatusTwo) {
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {}, {"nonsense"}, {"make"}, {"show", "--container", "x"}, {"connect", "--container", "x"}, {"--nonsense"}}) {
    std::vector<std::string> all{TOVRIN_WARP_PROGRAM};
    all.insert(all.end(), words.begin(), words.end());
    const ProgramResult result = runProgram(all);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_NE(result.errors, "");
  }
}

}  // namespace
}  // namespace tovrin
