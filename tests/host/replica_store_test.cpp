#include "host/store/replica_store.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "host/store_fixture.h"

namespace tovrin::host {
namespace {

using ReplicaStoreTest = StoreTest;

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status{};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 0777;
}

TEST_F(ReplicaStoreTest, hasNothingAtFirst) {
  EXPECT_FALSE(store->find("a").has_value());
  EXPECT_EQ(store->openCopy("a", "1"), nullptr);
  EXPECT_EQ(store->openEdit("a"), nullptr);
  EXPECT_TRUE(store->items().empty());
  EXPECT_TRUE(store->edits().empty());
  EXPECT_EQ(store->evict("a"), Evicted::notHere);
  EXPECT_EQ(store->usage().cachedBytes, 0);
  EXPECT_EQ(store->usage().cachedItems, 0);
}

TEST_F(ReplicaStoreTest, takesOverAVerifiedFile) {
  const auto file = delivered("contents");
  const auto adopted = store->adopt("a", "1", file, nullptr);
  ASSERT_TRUE(adopted.has_value());
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_EQ(readAll(**adopted), "contents");
  EXPECT_EQ(readFile((*adopted)->path()), "contents");

  const auto local = store->find("a");
  ASSERT_TRUE(local.has_value());
  EXPECT_TRUE(local->isCopy);
  EXPECT_FALSE(local->edit.has_value());
  EXPECT_EQ(local->version, "1");
  EXPECT_EQ(local->file, (*adopted)->path());
  struct stat status{};
  ASSERT_EQ(stat(local->file.c_str(), &status), 0);
  EXPECT_EQ(local->allocatedBytes, status.st_blocks * 512);
  EXPECT_EQ(store->usage().cachedBytes, local->allocatedBytes);
  EXPECT_EQ(store->usage().cachedItems, 1);
  EXPECT_EQ(store->items(), std::vector<std::string>{"a"});
}

TEST_F(ReplicaStoreTest, keepsItsFilesToItsUser) {
  keep("a", "1", "contents");
  const auto edit = beginEdit("b", "1");
  for (const auto& folder : {folders.cache, folders.state, copies(), edits(), interrupted()}) {
    EXPECT_EQ(modeOf(folder), 0700U) << folder;
  }
  EXPECT_EQ(modeOf(store->find("a")->file), 0600U);
  EXPECT_EQ(modeOf(edit->path()), 0600U);
  for (const auto& entry : std::filesystem::directory_iterator(folders.state)) {
    EXPECT_EQ(modeOf(entry.path()), entry.is_directory() ? 0700U : 0600U) << entry.path();
  }
}

TEST_F(ReplicaStoreTest, opensCopiesForReadingAlone) {
  const auto file = adopt("a", "1", "contents");
  EXPECT_EQ(fcntl(file->descriptor(), F_GETFL) & O_ACCMODE, O_RDONLY);
  EXPECT_NE(fcntl(file->descriptor(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(ReplicaStoreTest, servesACopyOfExactlyItsVersion) {
  keep("a", "1", "contents");
  EXPECT_EQ(store->openCopy("a", "2"), nullptr);
  EXPECT_EQ(store->openCopy("a", ""), nullptr);
  const auto file = store->openCopy("a", "1");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(readAll(*file), "contents");
}

TEST_F(ReplicaStoreTest, takesIdentifiersAndVersionsAsBytes) {
  const std::string identifier("entry:W\0\xff'\"", 10);
  const std::string version("\0\xfe", 2);
  keep(identifier, version, "contents");
  keep("", "", "empty");
  open();
  EXPECT_NE(store->openCopy(identifier, version), nullptr);
  EXPECT_NE(store->openCopy("", ""), nullptr);
}

TEST_F(ReplicaStoreTest, replacesTheCopyOfAnotherVersion) {
  keep("a", "1", "old");
  keep("a", "2", "new");
  EXPECT_EQ(store->openCopy("a", "1"), nullptr);
  EXPECT_EQ(readAll(*store->openCopy("a", "2")), "new");
  EXPECT_EQ(store->usage().cachedItems, 1);
  EXPECT_EQ(countFiles(copies()), 1U);
}

TEST_F(ReplicaStoreTest, keepsCopiesWhenItIsClosed) {
  keep("a", "1", "contents");
  const auto before = store->usage();
  open();
  EXPECT_EQ(store->usage().cachedBytes, before.cachedBytes);
  const auto file = store->openCopy("a", "1");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(readAll(*file), "contents");
}

TEST_F(ReplicaStoreTest, takesNoLinkAndNoPipeForAFile) {
  const auto target = delivered("elsewhere");
  const auto link = scratch / "link";
  std::filesystem::create_symlink(target, link);
  EXPECT_FALSE(store->adopt("a", "1", link, nullptr).has_value());
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(link)));
  EXPECT_EQ(readFile(target), "elsewhere");

  const auto pipe = scratch / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_FALSE(store->adopt("a", "1", pipe, nullptr).has_value());
  EXPECT_FALSE(std::filesystem::exists(pipe));
  EXPECT_FALSE(store->adopt("a", "1", scratch / "missing", nullptr).has_value());
  EXPECT_FALSE(isHere("a"));
  EXPECT_EQ(countFiles(copies()), 0U);
}

TEST_F(ReplicaStoreTest, dropsACopyThatSomebodyWroteTo) {
  keep("a", "1", "contents");
  const auto file = store->find("a")->file;
  writeFile(file, "CONTENTS");
  const timespec times[2] = {{1, 0}, {1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  EXPECT_EQ(store->openCopy("a", "1"), nullptr);
  EXPECT_FALSE(isHere("a"));
  EXPECT_EQ(countFiles(copies()), 0U);
  EXPECT_EQ(store->usage().cachedBytes, 0);
}

TEST_F(ReplicaStoreTest, dropsACopyOfAnotherSize) {
  keep("a", "1", "contents");
  writeFile(store->find("a")->file, "con");
  EXPECT_EQ(store->openCopy("a", "1"), nullptr);
  EXPECT_FALSE(isHere("a"));
}

TEST_F(ReplicaStoreTest, dropsACopyThatSomebodyReplaced) {
  keep("a", "1", "contents");
  const auto file = store->find("a")->file;
  struct stat status{};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  const auto other = delivered("CONTENTS");
  const timespec times[2] = {status.st_atim, status.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, other.c_str(), times, 0), 0);
  std::filesystem::rename(other, file);
  EXPECT_EQ(store->openCopy("a", "1"), nullptr);
  EXPECT_FALSE(isHere("a"));
}

TEST_F(ReplicaStoreTest, livesWithACacheThatWasCleaned) {
  keep("a", "1", "contents");
  std::filesystem::remove_all(folders.cache);
  EXPECT_EQ(store->openCopy("a", "1"), nullptr);
  EXPECT_FALSE(isHere("a"));
  keep("a", "1", "again");
  EXPECT_EQ(readAll(*store->openCopy("a", "1")), "again");

  close();
  std::filesystem::remove_all(folders.cache);
  open();
  EXPECT_FALSE(isHere("a"));
}

TEST_F(ReplicaStoreTest, dropsACopyWhenItIsTold) {
  keep("a", "1", "contents");
  const auto file = store->openCopy("a", "1");
  store->dropCopy("a");
  store->dropCopy("never here");
  EXPECT_FALSE(isHere("a"));
  EXPECT_EQ(countFiles(copies()), 0U);
  EXPECT_EQ(readAll(*file), "contents") << "an open file stays";
  open();
  EXPECT_FALSE(isHere("a"));
}

TEST_F(ReplicaStoreTest, evictsWhatIsNotOpen) {
  auto file = adopt("a", "1", "contents");
  EXPECT_EQ(store->evict("a"), Evicted::open);
  file = store->openCopy("a", "1");
  EXPECT_EQ(store->evict("a"), Evicted::open);
  file.reset();
  EXPECT_EQ(store->evict("a"), Evicted::dropped);
  EXPECT_FALSE(isHere("a"));
  EXPECT_EQ(countFiles(copies()), 0U);
  EXPECT_EQ(store->evict("a"), Evicted::notHere);
}

}  // namespace
}  // namespace tovrin::host
