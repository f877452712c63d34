#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "mount/edit_fixture.h"
#include "support/lock_holder.h"

namespace tovrin {

namespace {

class Refusal : public EditTest {
 protected:
  /// The mutation lock, which an edit needs, is someone else's.
  LockHolderProcess keepEditsOut() const { return LockHolderProcess(platform_.warpDirectory() / "warp-mutation.lock"); }

  std::string path(const char* name) const { return shown() / name; }
};

int errorOf(int result) { return result < 0 ? errno : 0; }

TEST_F(Refusal, ofChangesToTheTreeIsAReadOnlyFileSystem) {
  const std::string notes = path("notes.txt");
  EXPECT_EQ(errorOf(open(path("new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)), EROFS);
  EXPECT_EQ(errorOf(mkdir(path("new").c_str(), 0755)), EROFS);
  EXPECT_EQ(errorOf(symlink("target", path("new").c_str())), EROFS);
  EXPECT_EQ(errorOf(link(notes.c_str(), path("new").c_str())), EROFS);
  EXPECT_EQ(errorOf(mknod(path("new").c_str(), S_IFIFO | 0644, 0)), EROFS);
  EXPECT_EQ(errorOf(rename(notes.c_str(), path("new").c_str())), EROFS);
  EXPECT_EQ(errorOf(rename(notes.c_str(), path("big.bin").c_str())), EROFS);
  EXPECT_EQ(errorOf(unlink(notes.c_str())), EROFS);
  EXPECT_EQ(errorOf(rmdir(path("folder").c_str())), EROFS);
  expectNoLeftovers();
}

TEST_F(Refusal, ofExtendedAttributesIsAReadOnlyFileSystem) {
  const std::string notes = path("notes.txt");
  EXPECT_EQ(errorOf(setxattr(notes.c_str(), "user.mine", "1", 1, 0)), EROFS);
  EXPECT_EQ(errorOf(removexattr(notes.c_str(), "user.tovrin.state")), EROFS);
}

TEST_F(Refusal, ofMetadataIsAReadOnlyFileSystem) {
  const std::string notes = path("notes.txt");
  EXPECT_EQ(errorOf(chmod(notes.c_str(), 0600)), EROFS);
  EXPECT_EQ(errorOf(chmod(path("folder").c_str(), 0700)), EROFS);
  if (geteuid() == 0) {
    EXPECT_EQ(errorOf(chown(notes.c_str(), 1234, 1234)), EROFS);
  }
  const timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
  EXPECT_EQ(errorOf(utimensat(AT_FDCWD, notes.c_str(), times, 0)), EROFS);
  EXPECT_EQ(errorOf(utimensat(AT_FDCWD, notes.c_str(), nullptr, 0)), EROFS);
  EXPECT_TRUE(edits().empty());
}

TEST_F(Refusal, doesNotMeetWhatIsSetAlready) {
  for (const char* name : {"notes.txt", "folder"}) {
    struct stat status{};
    ASSERT_EQ(stat(path(name).c_str(), &status), 0);
    EXPECT_EQ(errorOf(chmod(path(name).c_str(), status.st_mode & 07777)), 0);
    EXPECT_EQ(errorOf(chown(path(name).c_str(), status.st_uid, status.st_gid)), 0);
    EXPECT_EQ(errorOf(chown(path(name).c_str(), static_cast<uid_t>(-1), static_cast<gid_t>(-1))), 0);
    const timespec times[2] = {{1'000'000'000, 0}, status.st_mtim};
    EXPECT_EQ(errorOf(utimensat(AT_FDCWD, path(name).c_str(), times, 0)), 0);
  }
  EXPECT_TRUE(edits().empty());
}

TEST_F(Refusal, doesNotMeetMetadataThatIsPartOfASave) {
  const int file = open(notes().c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(pwrite(file, "ONE", 3, 0), 3);
  EXPECT_EQ(errorOf(fchmod(file, 0600)), 0);
  const timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 5}};
  EXPECT_EQ(errorOf(futimens(file, times)), 0);
  EXPECT_EQ(close(file), 0);
  struct stat status{};
  ASSERT_EQ(stat(notes().c_str(), &status), 0);
  EXPECT_EQ(status.st_mtim.tv_sec, 1'000'000'000);
  EXPECT_EQ(status.st_mode & 07777, 0644U) << "the permissions are not carried in an edit";
  expectOneEdit("notes.txt", "ONE\ntwo\nthree\n");
}

TEST_F(Refusal, ofWhatIsNotThereSaysSo) {
  EXPECT_EQ(errorOf(unlink(path("missing").c_str())), ENOENT);
  EXPECT_EQ(errorOf(rmdir(path("missing").c_str())), ENOENT);
  EXPECT_EQ(errorOf(rename(path("missing").c_str(), path("new").c_str())), ENOENT);
  EXPECT_EQ(errorOf(open(path("missing").c_str(), O_RDONLY | O_CLOEXEC)), ENOENT);
}

TEST_F(Refusal, ofAFolderThatCannotBeWrittenToIsFoundBeforehand) {
  struct stat status{};
  ASSERT_EQ(stat(path("folder").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0222, 0U);
}

TEST_F(Refusal, isToldByCloseWhileAnotherHoldsTheLock) {
  auto holder = keepEditsOut();
  const int file = open(notes().c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(pwrite(file, "ONE", 3, 0), 3);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(errorOf(close(file)), EBUSY);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
  EXPECT_EQ(readFile(notes()), "ONE\ntwo\nthree\n") << "what was typed is kept";
  EXPECT_EQ(state(notes()), "issue");
  EXPECT_EQ(attribute(notes(), "user.tovrin.error"),
            "Another Tovrin file change is still finishing. Please try again.");
  EXPECT_TRUE(edits().empty());
  holder.release();
  EXPECT_TRUE(eventually([&] { return state(notes()) == "edited"; })) << "it is handed over again unasked";
  expectOneEdit("notes.txt", "ONE\ntwo\nthree\n");
}

TEST_F(Refusal, isToldByTruncate) {
  const auto holder = keepEditsOut();
  EXPECT_EQ(errorOf(truncate(notes().c_str(), 0)), EBUSY);
  EXPECT_EQ(readFile(notes()), "");
}

TEST_F(Refusal, keepsAnEditThroughAKill) {
  {
    const auto holder = keepEditsOut();
    EXPECT_EQ(append(notes(), "four\n"), EBUSY);
    killMount();
  }
  mount();
  EXPECT_EQ(readFile(notes()), text_ + "four\n");
  EXPECT_TRUE(eventually([&] { return !edits().empty(); }));
  expectOneEdit("notes.txt", text_ + "four\n");
}

TEST_F(Refusal, ofADestroyedWarpKeepsTheEdit) {
  const int file = open(notes().c_str(), O_WRONLY | O_CLOEXEC);
  warp({"destroy", "--keep-manifest", "Docs"});
  ASSERT_EQ(pwrite(file, "ONE", 3, 0), 3);
  EXPECT_EQ(errorOf(close(file)), EBUSY);
  EXPECT_TRUE(edits().empty());
  replaceShared("destroyed-manifest-index.json", tombstonesJSON({}));
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(notes()); }));
  EXPECT_EQ(readFile(notes()), "ONE\ntwo\nthree\n");
  EXPECT_TRUE(eventually([&] { return state(notes()) == "edited"; }));
  expectOneEdit("notes.txt", "ONE\ntwo\nthree\n");
}

TEST_F(Refusal, ofALostMarkerIsTold) {
  std::filesystem::remove(originals() / ".tovrin-warped.json");
  EXPECT_EQ(append(notes(), "four\n"), EBUSY);
  EXPECT_EQ(readFile(notes()), text_ + "four\n");
  EXPECT_EQ(state(notes()), "issue");
}

TEST_F(Refusal, isTriedAgainBeforeUnmounting) {
  auto holder = keepEditsOut();
  EXPECT_EQ(append(notes(), "four\n"), EBUSY);
  holder.release();
  unmount();
  EXPECT_EQ(edits(), (std::vector<PendingEdit>{{originals() / "notes.txt", text_ + "four\n"}}));
}

TEST_F(Refusal, ofAReadOnlyMountMeetsEverything) {
  remount({"ro"});
  EXPECT_EQ(errorOf(open(notes().c_str(), O_WRONLY | O_CLOEXEC)), EROFS);
  EXPECT_EQ(errorOf(truncate(notes().c_str(), 0)), EROFS);
  EXPECT_EQ(readFile(notes()), text_);
}

}  // namespace

}  // namespace tovrin
