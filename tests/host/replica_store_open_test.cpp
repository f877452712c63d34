#include <gtest/gtest.h>

#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <string>

#include "host/replica_store.h"
#include "host/store_fixture.h"
#include "provider/identifier.h"
#include "support/child_process.h"

namespace tovrin::host {
namespace {

using EditStates = std::multiset<std::pair<std::string, EditState>>;

class ReplicaStoreOpen : public StoreTest {
 protected:
  std::filesystem::path index() const { return folders.state / "index.sqlite"; }

  /// Runs SQL on the index of the closed store.
  void execute(const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(index().c_str(), &database), SQLITE_OK);
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message;
    sqlite3_close(database);
  }

  /// Two copies, and edits in two states.
  void fill() {
    keep("a", "1", "copy a");
    keep("b", "1", "copy b");
    append(*beginEdit(entryIdentifier("W1", "notes.txt"), "1"), "unsaved edit");
    mark(entryIdentifier("W1", "notes.txt"), EditState::unsaved, true);
    append(*beginEdit("saved", "1"), "saved edit");
    mark("saved", EditState::saved);
  }

  /// After an index was lost: no copy, and every edit among the interrupted ones under its own name.
  void expectOnlyEdits() {
    open();
    EXPECT_TRUE(store->items().empty());
    EXPECT_EQ(countFiles(copies()), 0U);
    EXPECT_EQ(countFiles(edits()), 0U);
    std::multiset<std::string> contents;
    bool hasName = false;
    for (const Edit& edit : store->edits()) {
      EXPECT_EQ(edit.state, EditState::interrupted);
      contents.insert(readFile(edit.file));
      hasName |= edit.file.filename().native().starts_with("notes~") && edit.file.extension() == ".txt";
    }
    EXPECT_EQ(contents, (std::multiset<std::string>{"saved edit", "unsaved edit"}));
    EXPECT_TRUE(hasName);
    keep("a", "1", "again");
    open();
    EXPECT_NE(store->openCopy("a", "1"), nullptr) << "the new index works";
    EXPECT_EQ(store->edits().size(), 2U);
  }
};

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
  fill();
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

TEST_F(ReplicaStoreOpen, keepsEditsWhenTheIndexIsGarbage) {
  fill();
  close();
  writeFile(index(), std::string(100000, '#'));
  expectOnlyEdits();
}

TEST_F(ReplicaStoreOpen, keepsEditsWhenTheIndexIsEmpty) {
  fill();
  close();
  writeFile(index(), "");
  expectOnlyEdits();
}

TEST_F(ReplicaStoreOpen, keepsEditsWhenTheIndexIsGone) {
  fill();
  close();
  std::filesystem::remove(index());
  expectOnlyEdits();
}

TEST_F(ReplicaStoreOpen, keepsEditsWhenTheIndexIsCutOff) {
  fill();
  close();
  std::filesystem::resize_file(index(), std::filesystem::file_size(index()) / 2);
  expectOnlyEdits();
}

TEST_F(ReplicaStoreOpen, keepsEditsWhenTheIndexHasOtherTables) {
  fill();
  close();
  execute("DROP TABLE copies; CREATE TABLE copies (something)");
  expectOnlyEdits();
}

TEST_F(ReplicaStoreOpen, keepsEditsWhereverTheIndexIsDamaged) {
  fill();
  close();
  const std::string whole = readFile(index());
  for (std::size_t place = 0; place < whole.size(); place += 512) {
    std::string damaged = whole;
    damaged.replace(place, 300, 300, '\xa5');
    writeFile(index(), damaged);
    open();
    std::multiset<std::string> contents;
    for (const Edit& edit : store->edits()) contents.insert(readFile(edit.file));
    EXPECT_EQ(contents, (std::multiset<std::string>{"saved edit", "unsaved edit"})) << place;
    EXPECT_EQ(countFiles(copies()), static_cast<std::size_t>(store->usage().cachedItems)) << place;
    for (const auto& identifier : store->items()) {
      const auto copy = store->openCopy(identifier, "1");
      if (copy) {
        EXPECT_EQ(readAll(*copy), "copy " + identifier) << place;
      }
    }
    close();
  }
}

TEST_F(ReplicaStoreOpen, failsWithoutHarmWhenTheIndexCannotBeRead) {
  fill();
  close();
  std::filesystem::rename(index(), scratch / "index");
  std::filesystem::create_directory(index());
  EXPECT_FALSE(tryToOpen().has_value());
  EXPECT_EQ(countFiles(copies()), 2U);
  EXPECT_EQ(countFiles(edits()), 2U);
  std::filesystem::remove(index());
  std::filesystem::rename(scratch / "index", index());
  open();
  EXPECT_EQ(store->items().size(), 4U);
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
  fill();
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
  fill();
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
