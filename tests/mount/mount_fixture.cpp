#include "mount/mount_fixture.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <random>
#include <thread>

namespace tovrin {

namespace fs = std::filesystem;

MountTest::MountTest()
    : worker_({.root = scratch_ / "objects"}),
      originals_(scratch_ / "Users/ann/Docs"),
      mountpoint_(scratch_ / "mount"),
      shown_(shownAt(originals_)) {
  for (const char* folder : {"objects", "mount", "work", "home", "run"}) fs::create_directory(scratch_ / folder);
  fs::permissions(scratch_ / "run", fs::perms::owner_all);
  fs::create_directories(originals_);
}

MountTest::~MountTest() {
  if (!mount_) return;
  mount_->signal(SIGTERM);
  if (mount_->finish(std::chrono::seconds(5)).status != 0) detach();
}

void MountTest::SetUp() {
  const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (device < 0) GTEST_SKIP() << "this machine has no /dev/fuse that can be opened";
  close(device);
  ASSERT_TRUE(worker_.start());
  installConnection(platform_, worker_.address(), worker_.password());
}

fs::path MountTest::shownAt(const fs::path& original) const {
  return mountpoint_ / "Warped Files" / original.relative_path();
}

void MountTest::write(std::string_view name, std::string_view bytes) {
  writeFile(originals_ / name, bytes);
  setOldTime(name);
}

void MountTest::setOldTime(std::string_view name) {
  ++old_;
  const std::array times{timespec{1'600'000'000, 0}, timespec{1'600'000'000 + old_, 123'456'789 + old_}};
  ASSERT_EQ(utimensat(AT_FDCWD, (originals_ / name).c_str(), times.data(), AT_SYMLINK_NOFOLLOW), 0);
}

void MountTest::makeWarp(const std::vector<std::string>& options) {
  std::vector<std::string> words{"make", originals_,  "--warp-id",         "Docs", "--mark", "--encoding",
                                 "raw",  "--objects", scratch_ / "objects"};
  words.insert(words.end(), options.begin(), options.end());
  warp(std::move(words));
}

void MountTest::warp(std::vector<std::string> words) {
  words.insert(words.begin(), TOVRIN_WARP_PROGRAM);
  words.insert(words.begin() + 2, {"--container", *platform_.directories.container});
  const Ended ended = RunningProgram(std::move(words), place()).finish();
  ASSERT_EQ(ended.status, 0) << ended.output;
}

void MountTest::replaceShared(std::string_view name, std::string_view bytes) {
  const fs::path draft = platform_.warpDirectory() / ".draft";
  writeFile(draft, bytes);
  fs::rename(draft, platform_.warpDirectory() / name);
}

void MountTest::mount(std::vector<std::string> options) {
  ASSERT_FALSE(mount_);
  options.insert(options.begin(), {TOVRIN_TEST_MOUNT, *platform_.directories.container, mountpoint_});
  mount_ = std::make_unique<RunningProgram>(std::move(options), place());
  ASSERT_TRUE(mount_->waitForOutput("mounted\n")) << mount_->output();
}

void MountTest::unmount() {
  mount_->signal(SIGTERM);
  const Ended ended = mount_->finish();
  mount_.reset();
  EXPECT_EQ(ended.status, 0) << ended.output;
}

void MountTest::killMount() {
  mount_->signal(SIGKILL);
  mount_->finish();
  mount_.reset();
  detach();
}

void MountTest::detach() const {
  if (umount2(mountpoint_.c_str(), MNT_DETACH) != 0) run("fusermount3 -uzq $M");
}

RunningProgram::Place MountTest::place() const {
  return {
      work(),
      {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "HOME=" + (scratch_ / "home").string(),
       "XDG_CACHE_HOME=" + (scratch_ / "home/cache").string(), "XDG_STATE_HOME=" + (scratch_ / "home/state").string(),
       "XDG_RUNTIME_DIR=" + (scratch_ / "run").string(), "LC_ALL=C.UTF-8", "TERM=dumb", "GIT_CONFIG_NOSYSTEM=1",
       "M=" + mountpoint_.string(), "D=" + shown_.string(), "O=" + originals_.string()}};
}

std::unique_ptr<RunningProgram> MountTest::start(const std::string& script) const {
  return std::make_unique<RunningProgram>(std::vector<std::string>{"/bin/bash", "-c", "IFS=$'\\n'\n" + script},
                                          place());
}

std::size_t MountTest::downloads() const {
  std::size_t count = 0;
  for (const WorkerRequest& request : worker_.requests()) count += request.target.starts_with("/api/worker/object");
  return count;
}

std::optional<std::string> MountTest::attribute(const fs::path& file, const char* name) {
  std::array<char, 4096> value{};
  const ssize_t size = getxattr(file.c_str(), name, value.data(), value.size());
  return size < 0 ? std::nullopt : std::optional(std::string(value.data(), static_cast<std::size_t>(size)));
}

bool MountTest::eventually(const std::function<bool()>& condition, std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::string noise(std::size_t size, unsigned seed) {
  std::mt19937 numbers(seed);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(numbers());
  return bytes;
}

}  // namespace tovrin
