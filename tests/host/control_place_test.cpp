#include "host/control_fixture.h"

#include <sys/stat.h>

#include <cerrno>
#include <set>

namespace tovrin::host {
namespace {

using ControlPlace = Control;

MountStatus mountedAt(const std::filesystem::path& mountpoint) {
  MountStatus status;
  status.mountpoint = mountpoint;
  return status;
}

TEST_F(ControlPlace, isFoundByItsMountpoint) {
  mount_.setStatus(mountedAt(platform_.scratch / "mnt"));
  std::filesystem::create_directory_symlink(platform_.scratch.path(), platform_.scratch / "link");
  const auto server = serve();
  EXPECT_TRUE(runningMountAt(platform_.scratch / "mnt", platform_.directories));
  EXPECT_TRUE(runningMountAt(platform_.scratch / "x/../mnt/", platform_.directories));
  EXPECT_TRUE(runningMountAt(platform_.scratch / "link/mnt", platform_.directories));
  EXPECT_FALSE(runningMountAt(platform_.scratch / "mnt2", platform_.directories));
}

TEST_F(ControlPlace, findsEveryMountOfTheUser) {
  mount_.setStatus(mountedAt("/mnt/a"));
  const auto server = serve();
  TestPlatform other;
  std::filesystem::create_directories(other.warpDirectory());
  FakeMount otherMount;
  otherMount.setStatus(mountedAt("/mnt/b"));
  const auto otherServer = ControlServer::start(otherMount, other.directories);
  ASSERT_TRUE(otherServer);
  std::set<std::filesystem::path> found;
  for (const RunningMount& mount : runningMounts(platform_.directories)) found.insert(mount.status.mountpoint);
  EXPECT_EQ(found, (std::set<std::filesystem::path>{"/mnt/a", "/mnt/b"}));
  EXPECT_EQ(ControlClient::find(other.directories)->status()->mountpoint, "/mnt/b");
}

TEST_F(ControlPlace, isNotFoundWhereNoMountRuns) {
  EXPECT_FALSE(client());
  EXPECT_TRUE(runningMounts(platform_.directories).empty());
  EXPECT_FALSE(std::filesystem::exists(runtime_ / "tovrin"));
}

TEST_F(ControlPlace, ofADeadHostIsReplaced) {
  {
    OtherProcess host([&](const auto& ready) {
      const auto server = serve();
      ready();
      pause();
    });
    ASSERT_TRUE(host.isReady());
    ASSERT_TRUE(client());
  }
  ASSERT_TRUE(std::filesystem::exists(socket()));
  EXPECT_FALSE(client());
  const auto server = serve();
  EXPECT_TRUE(client()->status());
}

TEST_F(ControlPlace, refusesASecondHost) {
  const auto server = serve();
  FakeMount second;
  const auto refused = ControlServer::start(second, platform_.directories);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code(), EADDRINUSE);
  EXPECT_TRUE(client()->status());
}

TEST_F(ControlPlace, leavesASocketThatIsNotItsOwn) {
  auto server = serve();
  std::filesystem::remove(socket());
  const auto other = ControlSocket::listen(socket());
  ASSERT_TRUE(other);
  server.reset();
  EXPECT_TRUE(std::filesystem::exists(socket()));
}

TEST_F(ControlPlace, isForThisUserOnly) {
  const auto server = serve();
  struct stat folder{};
  struct stat file{};
  ASSERT_EQ(stat((runtime_ / "tovrin").c_str(), &folder), 0);
  ASSERT_EQ(stat(socket().c_str(), &file), 0);
  EXPECT_EQ(folder.st_mode & 0777, 0700u);
  EXPECT_EQ(file.st_mode & 0777, 0600u);
}

TEST_F(ControlPlace, isNotInAFolderThatOthersCanEnter) {
  std::filesystem::create_directory(runtime_ / "tovrin");
  std::filesystem::permissions(runtime_ / "tovrin", std::filesystem::perms::all);
  const auto server = serve();  // in another place
  EXPECT_FALSE(std::filesystem::exists(socket()));
  EXPECT_TRUE(client()->status());
}

TEST_F(ControlPlace, isNotBehindALink) {
  std::filesystem::create_directory(platform_.scratch / "elsewhere");
  std::filesystem::create_directory_symlink(platform_.scratch / "elsewhere", runtime_ / "tovrin");
  const auto server = serve();
  EXPECT_TRUE(std::filesystem::is_empty(platform_.scratch / "elsewhere"));
}

TEST_F(ControlPlace, isFoundWithoutTheVariablesOfASession) {
  std::filesystem::remove(runtime_);
  const auto server = serve();
  const EnvironmentVariable none("XDG_RUNTIME_DIR", std::nullopt);
  EXPECT_TRUE(client()->status());
}

TEST_F(ControlPlace, worksUnderAVeryLongPath) {
  const auto deep = runtime_ / std::string(120, 'd') / std::string(120, 'e');
  std::filesystem::create_directories(deep);
  const EnvironmentVariable deepRuntime("XDG_RUNTIME_DIR", deep);
  const auto server = serve();
  EXPECT_TRUE(std::filesystem::exists(deep / "tovrin" / socket().filename()));
  EXPECT_TRUE(client()->status());
}

}  // namespace
}  // namespace tovrin::host
