#include <sstream>

#include "cli/mounted_fixture.h"
#include "support/child_process.h"
#include "support/unserved_mount.h"

namespace tovrin {
namespace {

class DoctorOfMounts : public MountedCommand {
 protected:
  void SetUp() override {
    installPhotos();
    installVisibilityIndex(platform_, {"W1"});
    startWorker();
  }
  /// The lines of findings that begin so.
  std::string findings(const std::string& start) {
    std::istringstream lines(run({"doctor"}).out);
    std::string found;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(start)) found += line + '\n';
    }
    return found;
  }
};

TEST_F(DoctorOfMounts, saysThatNothingIsMounted) {
  EXPECT_NE(findings("note     mount").find("note     mount      The container is not mounted.\n"), std::string::npos);
  EXPECT_EQ(run({"doctor"}).status, 0);
}

TEST_F(DoctorOfMounts, findsAMountThatAnswers) {
  host::MountStatus status;
  status.mountpoint = "/home/ann/Warped";
  status.usage = {.cachedBytes = 3 << 20, .cachedItems = 12};
  status.limits.cacheBytes = std::int64_t{10} << 30;
  status.refusedCrawlers = 5;
  mount_.setStatus(status);
  startMount();
  EXPECT_EQ(findings("well     mount"),
            "well     mount      /home/ann/Warped: Answers. Its local copies are 12 files, 3.0 MiB of 10.0 GiB.\n");
  EXPECT_EQ(findings("note     crawlers"),
            "note     crawlers   /home/ann/Warped: Refused 5 opens by indexers and makers of thumbnails of files that "
            "are not here.\n");
  EXPECT_EQ(run({"doctor"}).status, 0);
}

TEST_F(DoctorOfMounts, findsEditsThatWereNotTaken) {
  host::MountStatus status;
  status.edits = {{"x", "notes", host::EditState::unsaved, "/state/notes", "This Warp is being restored."}};
  mount_.setStatus(status);
  startMount();
  EXPECT_EQ(findings("problem  mount"),
            "problem  mount      notes: Its edit was not taken: This Warp is being restored.\n");
  EXPECT_EQ(run({"doctor"}).status, 1);
}

TEST_F(DoctorOfMounts, findsAMountWhoseProcessHasDied) {
  const int status = inChild([&] {
    keepMountsPrivate();
    const auto mountpoint = scratch_ / "dead";
    std::filesystem::create_directory(mountpoint);
    mountDead(mountpoint, "fuse.tovrin");
    EXPECT_NE(findings("note     mount")
                  .find("note     mount      " + mountpoint.string() +
                        ": Left by a process that has died: take it off with “tovrin unmount”.\n"),
              std::string::npos)
        << findings("note     mount");
  });
  if (status == kCannotTest) GTEST_SKIP() << "file systems cannot be mounted here";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tovrin
