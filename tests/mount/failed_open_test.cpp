#include <fcntl.h>
#include <unistd.h>

#include "mount/edit_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

class FailedOpen : public EditTest {
 protected:
  /// The errno of an open.
  static int openingOf(const fs::path& file, int flags = O_RDONLY) {
    const int descriptor = open(file.c_str(), flags | O_CLOEXEC);
    if (descriptor < 0) return errno;
    close(descriptor);
    return 0;
  }
  void fault(std::string_view line) { ASSERT_TRUE(worker_.addFault(line)); }
};

TEST_F(FailedOpen, offlineIsAnUnreachableHost) {
  remount({"offline"});
  EXPECT_EQ(openingOf(notes()), EHOSTUNREACH);
  EXPECT_EQ(attribute(notes(), "user.tovrin.error"), "Ombrel Cloud is not reachable for on-demand file download.");
  EXPECT_EQ(run("cat $D/notes.txt").output, "cat: '" + notes().native() + "': No route to host\n");
  EXPECT_EQ(downloads(), 0U);
}

TEST_F(FailedOpen, withoutAConnectionIsAnUnreachableHost) {
  const fs::path connection = platform_.warpDirectory() / "renterd-connection.json";
  fs::rename(connection, scratch_ / "connection");
  EXPECT_EQ(openingOf(notes()), EHOSTUNREACH);
  fs::rename(scratch_ / "connection", connection);
  EXPECT_TRUE(eventually([&] { return openingOf(notes()) == 0; }));
  EXPECT_EQ(state(notes()), "cached");
}

TEST_F(FailedOpen, ofWrongBytesIsAnInputError) {
  fault("flip at=0 route=object times=1");
  EXPECT_EQ(openingOf(notes()), EIO);
  EXPECT_EQ(openingOf(notes()), 0);
}

TEST_F(FailedOpen, ofTooFewBytesIsAnInputError) {
  fault("resize bytes=3 route=object times=1");
  EXPECT_EQ(openingOf(notes()), EIO);
}

TEST_F(FailedOpen, ofALostObjectIsAnUnreachableHostAndLeavesOthersAlone) {
  fault("status code=404 route=object times=1");
  EXPECT_EQ(openingOf(notes()), EHOSTUNREACH);
  EXPECT_EQ(openingOf(big()), 0);
}

TEST_F(FailedOpen, ofALostConnectionIsAnUnreachableHost) {
  fault("cut after=3 route=object");
  EXPECT_EQ(openingOf(notes()), EHOSTUNREACH);
}

TEST_F(FailedOpen, withoutRoomSaysSo) {
  remount({"cache_size=100K"});
  EXPECT_EQ(openingOf(big()), ENOSPC);
  EXPECT_EQ(openingOf(notes()), 0);
  EXPECT_EQ(openingOf(big()), ENOSPC);
  EXPECT_EQ(state(notes()), "cached") << "nothing is given up for what does not fit anyway";
}

TEST_F(FailedOpen, ofAFolderForWritingIsToldByTheKernel) { EXPECT_EQ(openingOf(shown() / "folder", O_WRONLY), EISDIR); }

TEST_F(FailedOpen, forWritingIsTheSame) {
  fault("flip at=0 route=object times=1");
  EXPECT_EQ(openingOf(notes(), O_RDWR), EIO);
  EXPECT_TRUE(edits().empty());
}

TEST_F(FailedOpen, leavesNothingBehind) {
  fault("flip at=0 route=object times=1");
  EXPECT_EQ(openingOf(big()), EIO);
  expectNoLeftovers();
  EXPECT_EQ(run("find $HOME/cache -path '*/copies/*'").output, "");
}

TEST_F(FailedOpen, meetsCrawlersOfWhatIsNotHere) {
  ASSERT_EQ(run("cp /bin/cat tumblerd && cp /bin/cat mine").status, 0);
  EXPECT_EQ(run("./tumblerd $D/notes.txt").output, "./tumblerd: '" + notes().native() + "': Permission denied\n");
  EXPECT_EQ(downloads(), 0U);
  EXPECT_EQ(state(notes()), "remote") << "to refuse a crawler is no issue";
  EXPECT_EQ(run("./mine $D/notes.txt").output, text_);
  EXPECT_EQ(run("./tumblerd $D/notes.txt").output, text_);
}

TEST_F(FailedOpen, meetsProgramsThatAreNamedAsCrawlers) {
  remount({"crawler=mine"});
  EXPECT_EQ(run("cp /bin/cat mine && ./mine $D/notes.txt").status, 1);
  EXPECT_EQ(run("cat $D/notes.txt").output, text_);
}

TEST_F(FailedOpen, meetsNobodyWhenCrawlersAreAllowed) {
  remount({"crawlers=allow"});
  EXPECT_EQ(run("cp /bin/cat tumblerd && ./tumblerd $D/notes.txt").output, text_);
  EXPECT_EQ(openingOf(big(), O_RDONLY | O_NOATIME), 0);
}

TEST_F(FailedOpen, meetsSniffersThatHideTheirAccess) {
  EXPECT_EQ(openingOf(notes(), O_RDONLY | O_NOATIME), EACCES);
  EXPECT_EQ(downloads(), 0U);
  EXPECT_EQ(openingOf(notes()), 0);
  EXPECT_EQ(openingOf(notes(), O_RDONLY | O_NOATIME), 0);
}

}  // namespace

}  // namespace tovrin
