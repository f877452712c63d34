#include <signal.h>

#include "cli/command_fixture.h"

namespace tovrin {
namespace {

class Interruption : public Command {
 protected:
  void SetUp() override {
    installPhotos();
    startWorker();
  }
};

TEST_F(Interruption, ofAStalledFetchLeavesNothing) {
  ASSERT_TRUE(worker_.addFault("stall after=5 route=object"));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    worker_.clearRequests();
    const auto command = start({"fetch", kPhotos + "/notes"});
    ASSERT_TRUE(worker_.waitForArrivals(2));
    command->signal(signal);
    const Ended ended = command->finish();
    EXPECT_EQ(ended.status, 130);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(countFiles(work()), 0u);
    EXPECT_EQ(temporaryFiles(), 0u);
  }
}

TEST_F(Interruption, ofAStalledCatLeavesNothing) {
  ASSERT_TRUE(worker_.addFault("stall after=5 route=object"));
  const auto command = start({"cat", kPhotos + "/notes"});
  ASSERT_TRUE(worker_.waitForArrivals(2));
  command->signal(SIGINT);
  const Ended ended = command->finish();
  EXPECT_EQ(ended.status, 130);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(temporaryFiles(), 0u);
}

TEST_F(Interruption, endsTheWaitForTheWorker) {
  ASSERT_TRUE(worker_.setAccounts("0"));
  const auto command = start({"fetch", "--json", kPhotos + "/notes"});
  ASSERT_TRUE(worker_.waitForArrivals(1));
  command->signal(SIGINT);
  const Ended ended = command->finish();
  EXPECT_EQ(ended.status, 130);
  EXPECT_EQ(parsed(ended.err)["error"]["code"].GetInt(), 3072);
  EXPECT_EQ(countFiles(work()), 0u);
}

TEST_F(Interruption, ofAFetchKeepsTheTarget) {
  writeFile(work() / "notes", "old");
  ASSERT_TRUE(worker_.addFault("stall after=5 route=object"));
  const auto command = start({"fetch", kPhotos + "/notes"});
  ASSERT_TRUE(worker_.waitForArrivals(2));
  command->signal(SIGINT);
  EXPECT_EQ(command->finish().status, 130);
  EXPECT_EQ(readFile(work() / "notes"), "old");
}

TEST_F(Interruption, isRememberedAsAFailedOpening) {
  ASSERT_TRUE(worker_.addFault("stall after=5 route=object"));
  const auto command = start({"fetch", kPhotos + "/notes"});
  ASSERT_TRUE(worker_.waitForArrivals(2));
  command->signal(SIGINT);
  command->finish();
  const auto status = parsed(run({"status", "--json"}).out);
  EXPECT_STREQ(status["operation"]["title"].GetString(), "Open failed");
}

TEST_F(Interruption, endsFollowingTheStatus) {
  const auto command = start({"status", "--follow"});
  ASSERT_TRUE(command->waitForOutput("Opened here: 0 files"));
  command->signal(SIGINT);
  EXPECT_EQ(command->finish().status, 130);
}

}  // namespace
}  // namespace tovrin
