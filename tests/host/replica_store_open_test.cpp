#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <string>

#include "host/store/replica_store.h"
#include "host/store_fixture.h"
#include "support/child_process.h"

namespace tovrin::host {
namespace {

using EditStates = std::multiset<std::pair<std::string, EditState>>;

using ReplicaStoreOpen = StoreTest;

TEST_F(ReplicaStoreOpen, refusesASecondProcessWithTheNumberOfTheFirst) {
  close();
  std::array<int, 2> isOpen{};
  std::array<int, 2> mayEnd{};
  ASSERT_EQ(pipe(isOpen.data()), 0);
  ASSERT_EQ(pipe(mayEnd.data()), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    ::close(mayEnd[1]);
    const auto opened = tryToOpen();
    const char report = opened ? 'y' : 'n';
    char end = 0;
    _exit(write(isOpen[1], &report, 1) == 1 && read(mayEnd[0], &end, 1) == 0 && opened ? 0 : 1);
  }
  ::close(isOpen[1]);
  ::close(mayEnd[0]);
  char report = 0;
  ASSERT_EQ(read(isOpen[0], &report, 1), 1);
  ASSERT_EQ(report, 'y');

  const auto refused = tryToOpen();
  ::close(mayEnd[1]);
  ::close(isOpen[0]);
  int status = 0;
  EXPECT_EQ(waitpid(holder, &status, 0), holder);
  EXPECT_EQ(status, 0);
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(refused.error().code(), EBUSY);
  EXPECT_EQ(refused.error().localizedDescription(), "The local copies in “" + folders.state.string() +
                                                        "” are in use by process " + std::to_string(holder) + ".");
  open();
}

TEST_F(ReplicaStoreOpen, refusesASecondStoreOfTheSameProcess) {
  const auto refused = tryToOpen();
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().code(), EBUSY);
  keep("a", "1", "the first one is unharmed");
}

TEST_F(ReplicaStoreOpen, refusesANewerVersionAndNamesTheWayOut) {
  keepCopiesAndEdits();
  close();
  execute("PRAGMA user_version = 2; CREATE TABLE news (x)");
  const std::string before = readFile(index());
  const auto refused = tryToOpen();
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().code(), ENOTSUP);
  const std::string sentence = refused.error().localizedDescription();
  EXPECT_NE(sentence.find("newer version"), std::string::npos) << sentence;
  EXPECT_NE(sentence.find("“" + edits().string() + "”"), std::string::npos) << sentence;
  EXPECT_NE(sentence.find("remove “" + folders.state.string() + "”"), std::string::npos) << sentence;
  EXPECT_EQ(readFile(index()), before) << "left as it was";
  EXPECT_EQ(countFiles(copies()), 2U);
  EXPECT_EQ(countFiles(edits()), 2U);

  std::filesystem::remove_all(folders.state);
  open();
  EXPECT_TRUE(store->items().empty());
  EXPECT_EQ(countFiles(copies()), 0U);
}

TEST_F(ReplicaStoreOpen, dropsCopiesThatWereNotOnDiskWhenTheMachineStopped) {
  keep("on disk", "1", "contents");
  keep("lost", "1", "contents");
  keep("new", "1", "contents");
  close();
  execute(
      "UPDATE copies SET synced = 0 WHERE identifier <> CAST('on disk' AS BLOB);"
      "UPDATE copies SET boot = CAST('an earlier start' AS BLOB) WHERE identifier <> CAST('new' AS BLOB)");
  open();
  EXPECT_TRUE(isHere("on disk"));
  EXPECT_FALSE(isHere("lost"));
  EXPECT_TRUE(isHere("new"));
  EXPECT_EQ(countFiles(copies()), 2U);
}

TEST_F(ReplicaStoreOpen, keepsCopiesOfAnEarlierStartOfTheMachineWhenItWasClosed) {
  keep("a", "1", "contents");
  close();
  execute("UPDATE copies SET boot = CAST('an earlier start' AS BLOB)");
  open();
  EXPECT_TRUE(isHere("a"));
}

TEST_F(ReplicaStoreOpen, sweepsWhatTheIndexDoesNotKnow) {
  keepCopiesAndEdits();
  close();
  writeFile(copies() / "stray", "x");
  writeFile(copies() / "._stray", "x");
  writeFile(folders.state / "beginning" / "half", "x");
  open();
  EXPECT_EQ(store->items().size(), 4U);
  EXPECT_EQ(countFiles(copies()), 2U);
  EXPECT_EQ(countFiles(folders.state / "beginning"), 0U);
}

TEST_F(ReplicaStoreOpen, dropsRowsWithoutFiles) {
  keepCopiesAndEdits();
  const auto copy = store->find("a")->file;
  const auto edit = store->find("saved")->file;
  close();
  std::filesystem::remove(copy);
  std::filesystem::remove(edit);
  open();
  EXPECT_FALSE(isHere("a"));
  EXPECT_FALSE(isHere("saved"));
  EXPECT_EQ(store->items().size(), 2U);
}

TEST_F(ReplicaStoreOpen, finishesWhatAnEarlierSweepBegan) {
  append(*beginEdit("a", "1"), "edited");
  const auto file = store->find("a")->file;
  close();
  std::filesystem::rename(file, interrupted() / file.filename());
  open();
  EXPECT_EQ(editStates(), (EditStates{{"a", EditState::interrupted}}));
  EXPECT_EQ(readFile(store->edits().front().file), "edited");
}

TEST_F(ReplicaStoreOpen, failsWhereItCannotMakeItsFolders) {
  close();
  writeFile(scratch / "file", "x");
  folders.state = scratch / "file" / "state";
  EXPECT_FALSE(tryToOpen().has_value());
}

TEST_F(ReplicaStoreOpen, servesNothingAndLosesNothingOnAFullDisk) {
  close();
  const int status = inChild([this] {
    keepMountsPrivate();
    const auto disk = scratch / "disk";
    std::filesystem::create_directory(disk);
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=2m") != 0) _exit(kCannotTest);
    folders = {.cache = disk / "cache", .state = disk / "state"};
    open();
    append(*beginEdit("edit", "1"), "edited");
    mark("edit", EditState::unsaved, true);
    keep("a", "1", std::string(512 << 10, 'a'));

    std::ofstream filler(disk / "filler", std::ios::binary);
    while (filler.write(std::string(4096, 'x').data(), 4096).flush()) continue;
    auto begun = store->beginEdit("a", "1", store->openCopy("a", "1").get());
    EXPECT_FALSE(begun.has_value());
    EXPECT_EQ(countFiles(folders.state / "beginning"), 0U);
    EXPECT_FALSE(store->adopt("b", "1", delivered(std::string(1 << 20, 'b')), nullptr).has_value());
    EXPECT_TRUE(store->find("a")->isCopy);
    EXPECT_EQ(countFiles(copies()), 1U);
    EXPECT_EQ(store->reserve(64 << 10).has_value(), true) << "by evicting";
    EXPECT_FALSE(isHere("a"));

    filler.close();
    std::filesystem::remove(disk / "filler");
    open();
    EXPECT_EQ(readAll(*store->openEdit("edit")), "edited");
    close();
  });
  if (status == kCannotTest) GTEST_SKIP() << "this user may not mount";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tovrin::host
