#include "host/earlier_mount.h"

#include <thread>

#include "host/control_fixture.h"
#include "host/mounting/mount_table.h"
#include "support/child_process.h"
#include "support/unserved_mount.h"

namespace tovrin::host {
namespace {

/// The store of a container whose earlier mount has not left it.
class EarlierMount : public Control {
 protected:
  EarlierMount() : earlier_(*ReplicaStore::open(folders_, {})) {}

  Result<std::unique_ptr<ReplicaStore>> open(std::stop_token stop = {}) {
    return openStoreAfterEarlierMount(folders_, {}, platform_.directories, std::move(stop));
  }

  const StoreFolders folders_{.cache = platform_.scratch / "cache", .state = platform_.scratch / "state"};
  std::unique_ptr<ReplicaStore> earlier_;
};

TEST_F(EarlierMount, thatHasEndedIsNoMatter) {
  earlier_.reset();
  EXPECT_TRUE(open());
}

TEST_F(EarlierMount, isWaitedForWhileItEnds) {
  const std::jthread ending([this] { earlier_.reset(); });
  EXPECT_TRUE(open());
}

TEST_F(EarlierMount, isWaitedForNoLongerThanTheUserLikes) {
  std::stop_source stop;
  const std::jthread interrupting([&stop] { stop.request_stop(); });
  const auto opened = open(stop.get_token());
  ASSERT_FALSE(opened);
  EXPECT_TRUE(opened.error().is(CocoaErrorCode::userCancelled)) << opened.error().localizedDescription();
}

TEST_F(EarlierMount, thatIsUnmountedButStillAnswersIsWaitedFor) {
  MountStatus status;
  status.mountpoint = platform_.scratch / "mount";
  mount_.setStatus(status);
  const auto server = serve();
  std::stop_source stop;
  stop.request_stop();
  const auto opened = open(stop.get_token());
  ASSERT_FALSE(opened);
  EXPECT_TRUE(opened.error().is(CocoaErrorCode::userCancelled)) << opened.error().localizedDescription();
}

TEST_F(EarlierMount, thatIsMountedIsNamedAtOnce) {
  const std::filesystem::path mountpoint = std::filesystem::canonical(platform_.scratch.path()) / "mount";
  std::filesystem::create_directory(mountpoint);
  const int outcome = inChild([&] {
    keepMountsPrivate();
    const int device = mountUnserved(mountpoint, "fuse.tovrin");
    MountStatus status;
    status.mountpoint = mountpoint;
    status.processID = 4711;
    mount_.setStatus(status);
    const auto server = serve();
    const auto opened = open();
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error(), NSError::posix(EBUSY, "The container is mounted already, at " + mountpoint.string() +
                                                        " by process 4711."));
    close(device);
  });
  if (outcome == kCannotTest) GTEST_SKIP() << "cannot mount";
  EXPECT_EQ(outcome, 0);
}

}  // namespace
}  // namespace tovrin::host
