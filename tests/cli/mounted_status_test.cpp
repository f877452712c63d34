#include <signal.h>

#include "cli/mounted_fixture.h"

namespace tovrin {
namespace {

using host::EditState;
using host::MountStatus;

MountStatus idle() {
  MountStatus status;
  status.mountpoint = "/home/ann/Warped";
  status.processID = 4711;
  status.usage = {.cachedBytes = 3 << 20, .cachedItems = 12};
  status.limits.cacheBytes = std::int64_t{10} << 30;
  return status;
}

MountStatus opening(double fraction) {
  MountStatus status = idle();
  status.openings = {{"entry:W1:YQ", "film.mov", 4 << 20, fraction, false}, {"entry:W1:Yg", "b\n.jpg", 1000, 0, true}};
  return status;
}

class MountedStatus : public MountedCommand {};

TEST_F(MountedStatus, namesTheMountAndItsCopies) {
  mount_.setStatus(idle());
  startMount();
  EXPECT_EQ(run({"status"}).out,
            "Nothing has been opened or saved yet.\n"
            "Mounted at /home/ann/Warped by process 4711\n"
            "Local copies: 12 files, 3.0 MiB of 10.0 GiB\n"
            "Opened here: 0 files, 0 bytes\n");
}

TEST_F(MountedStatus, saysHowFarEachOpeningIs) {
  mount_.setStatus(opening(0.429));
  startMount();
  const std::string text = run({"status"}).out;
  EXPECT_NE(text.find("Opening: 2 files\n"
                      "  film.mov: 42% of 4.0 MiB\n"
                      "  b\\n.jpg: waits for its turn, 1000 bytes\n"),
            std::string::npos)
      << text;
}

TEST_F(MountedStatus, namesEditsThatAreOnlyHere) {
  MountStatus status = idle();
  status.edits = {{"a", "notes", EditState::unsaved, "/state/edits/notes", "The lock is busy."},
                  {"b", "letter", EditState::interrupted, "/state/interrupted/letter", ""},
                  {"c", "uploaded soon", EditState::saved, "/state/edits/c", ""}};
  mount_.setStatus(status);
  startMount();
  const std::string text = run({"status"}).out;
  EXPECT_NE(text.find("Edits kept here: 2 files\n"
                      "  notes: waits to be handed over: The lock is busy.\n"
                      "    /state/edits/notes\n"
                      "  letter: was being written when the mount ended\n"
                      "    /state/interrupted/letter\n"),
            std::string::npos)
      << text;
}

TEST_F(MountedStatus, countsWhatCrawlersWereRefused) {
  MountStatus status = idle();
  status.refusedCrawlers = 3;
  mount_.setStatus(status);
  startMount();
  EXPECT_NE(run({"status"}).out.find("Refused to crawlers: 3 opens\n"), std::string::npos);
}

TEST_F(MountedStatus, tellsEachProblemOnce) {
  installPhotos();
  startWorker();
  ASSERT_TRUE(worker_.addFault("status code=500 route=object"));
  ASSERT_EQ(run({"cat", kPhotos + "/notes"}).status, 1);
  MountStatus status = idle();
  status.problems = {{"x", "notes", "Ombrel Cloud is not reachable for on-demand file download."},
                     {"y", "a.jpg", "Ombrel Cloud is not reachable for on-demand file download."}};
  mount_.setStatus(status);
  startMount();
  const std::string text = run({"status"}).out;
  const std::size_t start = text.find("Needs attention:\n");
  ASSERT_NE(start, std::string::npos) << text;
  EXPECT_EQ(text.substr(start),
            "Needs attention:\n"
            "  notes: Ombrel Cloud is not reachable for on-demand file download.\n"
            "  a.jpg: Ombrel Cloud is not reachable for on-demand file download.\n");
}

TEST_F(MountedStatus, isOneObjectForTools) {
  MountStatus status = opening(0.5);
  status.edits = {{"a", "notes", EditState::unsaved, "/state/\xff", "Busy."}};
  status.problems = {{"y", "a.jpg", "Gone."}};
  status.refusedCrawlers = 3;
  mount_.setStatus(status);
  startMount();
  const auto answer = parsed(run({"status", "--json"}).out);
  const auto& mount = answer["mount"];
  EXPECT_STREQ(mount["mountpoint"].GetString(), "/home/ann/Warped");
  EXPECT_EQ(mount["processID"].GetInt(), 4711);
  EXPECT_EQ(mount["cachedBytes"].GetInt64(), 3 << 20);
  EXPECT_EQ(mount["cachedItems"].GetInt(), 12);
  EXPECT_EQ(mount["cacheLimitBytes"].GetInt64(), std::int64_t{10} << 30);
  EXPECT_STREQ(mount["openings"][0]["itemIdentifier"].GetString(), "entry:W1:YQ");
  EXPECT_EQ(mount["openings"][0]["fraction"].GetDouble(), 0.5);
  EXPECT_EQ(mount["openings"][0]["bytes"].GetInt64(), 4 << 20);
  EXPECT_TRUE(mount["openings"][1]["isQueued"].GetBool());
  EXPECT_STREQ(mount["edits"][0]["state"].GetString(), "unsaved");
  EXPECT_STREQ(mount["edits"][0]["error"].GetString(), "Busy.");
  EXPECT_STREQ(mount["problems"][0]["error"].GetString(), "Gone.");
  EXPECT_EQ(mount["refusedCrawlers"].GetInt(), 3);
  EXPECT_EQ(answer["needsAttention"].Size(), 1u);
}

TEST_F(MountedStatus, isLeftOutWithoutAMount) {
  startMount();
  stopMount();
  EXPECT_EQ(run({"status", "--json"}).out, "{\"cached\":[],\"waitingForUpload\":[],\"needsAttention\":[]}\n");
}

TEST_F(MountedStatus, followsAMountFromItsStartToItsEnd) {
  const auto command = start({"status", "--follow", "--json"});
  ASSERT_TRUE(command->waitForOutput("\"cached\":[]"));
  mount_.setStatus(opening(0.25));
  startMount();
  EXPECT_TRUE(command->waitForOutput("\"fraction\":0.25"));
  mount_.setStatus(opening(0.75));
  EXPECT_TRUE(command->waitForOutput("\"fraction\":0.75"));
  mount_.setStatus(idle());
  EXPECT_TRUE(command->waitForOutput("\"openings\":[]"));
  stopMount();
  EXPECT_TRUE(
      command->waitForOutput("\"openings\":[],\"edits\":[],\"problems\":[],\"refusedCrawlers\":0},\"cached\":[],"
                             "\"waitingForUpload\":[],\"needsAttention\":[]}\n{\"cached\":[]"));
  command->signal(SIGINT);
  EXPECT_EQ(command->finish().status, 130);
}

TEST_F(MountedStatus, isNotRepeatedWhileNothingChanges) {
  mount_.setStatus(opening(0.25));
  startMount();
  const auto command = start({"status", "--follow"});
  ASSERT_TRUE(command->waitForOutput("film.mov: 25%"));
  mount_.waitForQuestions(3);
  mount_.setStatus(opening(0.5));
  ASSERT_TRUE(command->waitForOutput("film.mov: 50%"));
  command->signal(SIGINT);
  const std::string text = command->finish().out;
  EXPECT_EQ(text.find("film.mov: 25%"), text.rfind("film.mov: 25%")) << text;
}

TEST_F(MountedStatus, isDrawnInPlaceOnATerminal) {
  mount_.setStatus(opening(0.25));
  startMount();
  const auto command = startOnTerminal({"status", "--follow"});
  EXPECT_TRUE(command->waitForOutput("   25% [######------------------] 1.0 MiB of 4.0 MiB"));
  mount_.setStatus(opening(0.5));
  EXPECT_TRUE(command->waitForOutput("\x1b[7A\x1b[J"));
  EXPECT_TRUE(command->waitForOutput("   50% [############------------] 2.0 MiB of 4.0 MiB"));
  EXPECT_TRUE(command->waitForOutput("/s  film.mov"));
  EXPECT_TRUE(command->waitForOutput("    0% [------------------------] waits for its turn, 1000 bytes  b\\n.jpg"));
  command->signal(SIGINT);
  EXPECT_EQ(command->finish().status, 130);
}

}  // namespace
}  // namespace tovrin
