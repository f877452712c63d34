#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

/// The commands that ask a mount which another process serves.
class CommandBesideAMount : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("big.bin", noise(3'000'000));
    write("small.txt", "hello\n");
    write("sub/deep.txt", "deep\n");
    makeWarp();
    mount();
  }

  /// `tovrin` is the program with the test's container, $P the folder as the domain shows it.
  std::unique_ptr<RunningProgram> startShell(const std::string& script) const {
    return start("export TOVRIN_CONTAINER='" + platform_.directories.container->string() +
                 "'\n"
                 "tovrin() { '" TOVRIN_PROGRAM
                 "' \"$@\"; }\n"
                 "P=${D#$M}\n" +
                 script);
  }
  Ended shell(const std::string& script) const { return startShell(script)->finish(); }
};

TEST_F(CommandBesideAMount, bringsAFolderDownAndDropsItAgain) {
  EXPECT_EQ(shell("tovrin fetch -R $P && tovrin status").status, 0);
  for (const char* name : {"big.bin", "small.txt", "sub/deep.txt"}) EXPECT_EQ(state(shown() / name), "cached") << name;
  EXPECT_EQ(downloads(), 3U);
  EXPECT_EQ(shell("tovrin evict $P").output, "Dropped: 3 files\n");
  for (const char* name : {"big.bin", "small.txt", "sub/deep.txt"}) EXPECT_EQ(state(shown() / name), "remote") << name;
}

TEST_F(CommandBesideAMount, dropsNeitherWhatIsOpenNorWhatIsEdited) {
  const int open = ::open((shown() / "big.bin").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(open, 0);
  const Ended ended = shell("echo more >> $D/small.txt && tovrin evict $P");
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.output,
            "Dropped: 0 files\nStays here: 2 files\n  big.bin: a program has it open\n"
            "  small.txt: its changes are not uploaded yet\n");
  close(open);
  EXPECT_EQ(shell("tovrin evict $P/big.bin").output, "Dropped: 1 file\n");
  EXPECT_EQ(readFile(shown() / "small.txt"), "hello\nmore\n");
}

TEST_F(CommandBesideAMount, dropsFromTheStoreOnceItIsUnmounted) {
  EXPECT_EQ(readFile(shown() / "small.txt"), "hello\n");
  unmount();
  EXPECT_EQ(shell("tovrin evict --all").output, "Dropped: 1 file\n");
  mount();
  EXPECT_EQ(state(shown() / "small.txt"), "remote");
}

TEST_F(CommandBesideAMount, namesEditsThatAreNotTakenWhenItUnmounts) {
  std::filesystem::remove(originals() / ".tovrin-warped.json");
  const Ended ended = shell("echo more >> $D/small.txt 2>/dev/null; tovrin unmount $M");
  EXPECT_EQ(ended.status, 0);
  EXPECT_TRUE(ended.output.starts_with("tovrin: small.txt: The changes wait for the next mount, in " +
                                       (scratch_ / "home/state/tovrin/").string()))
      << ended.output;
  EXPECT_TRUE(
      ended.output.ends_with(": This Warp is being restored or removed. Finder kept the local edit; try again "
                             "after Tovrin finishes.\n"))
      << ended.output;
}

TEST_F(CommandBesideAMount, showsWhatIsBeingOpened) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object"));
  const auto reader = start("cat $D/big.bin");
  const auto follower = startShell("exec '" TOVRIN_PROGRAM "' status --follow --json");
  EXPECT_TRUE(follower->waitForOutput("\"filename\":\"big.bin\",\"bytes\":3000000"));
  reader->signal(SIGKILL);
  EXPECT_TRUE(follower->waitForOutput("\"openings\":[],"));
  follower->signal(SIGINT);
  EXPECT_EQ(follower->finish().status, 130);
}

TEST_F(CommandBesideAMount, givesAFetchUpThatIsInterrupted) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object"));
  const auto fetch = startShell("exec '" TOVRIN_PROGRAM "' fetch -R $P/big.bin");
  ASSERT_TRUE(eventually([&] { return state(shown() / "big.bin") == "opening"; }));
  fetch->signal(SIGINT);
  EXPECT_EQ(fetch->finish().status, 130);
  EXPECT_TRUE(eventually([&] { return state(shown() / "big.bin") == "remote"; }));
}

TEST_F(CommandBesideAMount, countsWhatACrawlerIsRefused) {
  const Ended ended = shell("cp /bin/cat $PWD/tumblerd; ./tumblerd $D/small.txt; tovrin status");
  EXPECT_NE(ended.output.find("Permission denied"), std::string::npos) << ended.output;
  EXPECT_NE(ended.output.find("Refused to crawlers: 1 open\n"), std::string::npos) << ended.output;
  EXPECT_EQ(downloads(), 0U);
  EXPECT_EQ(shell("cat $D/small.txt && ./tumblerd $D/small.txt").output, "hello\nhello\n");
}

TEST_F(CommandBesideAMount, isWellToTheDoctor) {
  const Ended ended = shell("tovrin doctor");
  EXPECT_NE(ended.output.find("well     mount      " + mountpoint().string() + ": Answers."), std::string::npos)
      << ended.output;
}

}  // namespace

}  // namespace tovrin
