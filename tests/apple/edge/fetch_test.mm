#include "edge/driver.h"

namespace tovrin {

namespace {

class Fetch : public Driver {
 protected:
  void SetUp() override { installWarp(); }
};

TEST_F(Fetch, deliversTheFileAndItsItem) {
  const auto answer = fetch(entry("a.txt"));
  EXPECT_EQ(answer->progress.get().totalUnitCount, 100);
  const auto values = answer->wait();
  EXPECT_EQ(text(values.error.get()), "(nil)");
  ASSERT_NE(values.file.get(), nil);
  EXPECT_TRUE(values.file.get().isFileURL);
  EXPECT_EQ(readFile(*toPath(values.file.get())), "stored bytes");
  EXPECT_EQ(text(values.item.get().itemIdentifier), text(entry("a.txt")));
  finish();
  EXPECT_EQ(answer->completions(), 1);
  EXPECT_EQ(answer->progress.get().completedUnitCount, 100);
  EXPECT_NE(readFile(stateFile()).find("Open complete"), std::string::npos);
}

TEST_F(Fetch, deliversIntoTheManagersTemporaryDirectory) {
  const auto values = fetch(entry("a.txt"))->wait();
  EXPECT_EQ(toPath(values.file.get())->parent_path(),
            test.directories.providerTemporary->value() / "TovrinFileProvider");
  EXPECT_EQ(text(values.file.get().pathExtension), "txt");
}

TEST_F(Fetch, deliversALinkWithoutAskingTheWorker) {
  const auto values = fetch(entry("link"))->wait();
  ASSERT_NE(values.file.get(), nil);
  EXPECT_EQ(std::filesystem::read_symlink(*toPath(values.file.get())), "a.txt");
  EXPECT_TRUE(worker.requests().empty());
}

TEST_F(Fetch, refusesAFolderAtOnce) {
  const auto answer = fetch(entry("sub"));
  EXPECT_EQ(answer->completions(), 1);
  EXPECT_EQ(text(answer->wait().error.get()), "NSCocoaErrorDomain 262 Only warped files can be opened on demand.");
  EXPECT_EQ(answer->wait().file.get(), nil);
  EXPECT_EQ(answer->wait().item.get(), nil);
  EXPECT_EQ(answer->progress.get().completedUnitCount, 100);
  EXPECT_FALSE(std::filesystem::exists(stateFile()));
}

TEST_F(Fetch, passesTheFailureOnAsItIs) {
  ASSERT_TRUE(worker.putObject("tovrin", "a", "STORED BYTES"));
  const auto answer = fetch(entry("a.txt"));
  const auto values = answer->wait();
  EXPECT_EQ(values.file.get(), nil);
  EXPECT_EQ(values.item.get(), nil);
  EXPECT_EQ(text(values.error.get().domain), "NSCocoaErrorDomain");
  EXPECT_EQ(values.error.get().code, 259);
  EXPECT_NE(text(values.error.get().localizedDescription), "");
  finish();
  EXPECT_EQ(answer->completions(), 1);
  EXPECT_EQ(answer->progress.get().completedUnitCount, 100);
}

TEST_F(Fetch, failsWithoutAManagerForTheDomain) {
  test.directories.providerTemporary.reset();
  const auto values = fetch(entry("a.txt"))->wait();
  EXPECT_EQ(text(values.error.get().domain), "NSCocoaErrorDomain");
  EXPECT_EQ(values.error.get().code, -1004);
}

TEST_F(Fetch, passesTheManagersErrorOn) {
  test.directories.providerTemporary = failure(NSError("SomeDomain", 7, "No room for files."));
  EXPECT_EQ(text(fetch(entry("a.txt"))->wait().error.get()), "SomeDomain 7 No room for files.");
}

TEST_F(Fetch, endsEarlyWhenItsProgressIsCancelled) {
  ASSERT_TRUE(worker.addFault("silent key=a"));
  const auto answer = fetch(entry("a.txt"));
  ASSERT_TRUE(worker.waitForArrivals(2));
  [answer->progress.get() cancel];
  EXPECT_EQ(text(answer->wait().error.get()).substr(0, 23), "NSCocoaErrorDomain 3072");
  finish();
  EXPECT_EQ(answer->completions(), 1);
  EXPECT_EQ(answer->progress.get().completedUnitCount, 100);
}

TEST_F(Fetch, isNotDisturbedByACancellationAfterItsEnd) {
  const auto answer = fetch(entry("a.txt"));
  answer->wait();
  finish();
  [answer->progress.get() cancel];
  EXPECT_EQ(answer->completions(), 1);
  EXPECT_EQ(text(answer->wait().error.get()), "(nil)");
}

TEST_F(Fetch, isEndedWhenTheExtensionGoes) {
  ASSERT_TRUE(worker.addFault("silent key=a"));
  const auto answer = fetch(entry("a.txt"));
  ASSERT_TRUE(worker.waitForArrivals(2));
  finish();
  EXPECT_EQ(answer->completions(), 1);
  EXPECT_EQ(answer->wait().error.get().code, 3072);
}

TEST_F(Fetch, runsBesideOthers) {
  const auto a = fetch(entry("a.txt"));
  const auto b = fetch(entry("sub/b"));
  EXPECT_EQ(readFile(*toPath(a->wait().file.get())), "stored bytes");
  EXPECT_EQ(readFile(*toPath(b->wait().file.get())), "more");
}

}  // namespace

}  // namespace tovrin
