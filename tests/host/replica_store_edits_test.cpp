#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "host/store/replica_store.h"
#include "host/store_fixture.h"
#include "provider/identifier.h"

namespace tovrin::host {
namespace {

using EditStates = std::multiset<std::pair<std::string, EditState>>;

class ReplicaStoreEdits : public StoreTest {
 protected:
  /// An edit of a kept copy, the edit's file no longer open.
  void beginEditOfCopy(const std::string& identifier) {
    keep(identifier, "1", "stored");
    const auto copy = store->openCopy(identifier, "1");
    append(*beginEdit(identifier, "1", copy.get()), " and edited");
  }
};

TEST_F(ReplicaStoreEdits, beginWithThePrivateCopyOfAFile) {
  keep("a", "1", "stored");
  const auto copy = store->openCopy("a", "1");
  const auto edit = beginEdit("a", "1", copy.get());
  EXPECT_EQ(readAll(*edit), "stored");
  EXPECT_EQ(fcntl(edit->descriptor(), F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_NE(fcntl(edit->descriptor(), F_GETFD) & FD_CLOEXEC, 0);
  append(*edit, " and edited");
  EXPECT_EQ(readAll(*copy), "stored");
  EXPECT_EQ(readFile(edit->path()), "stored and edited");

  const auto local = store->find("a");
  ASSERT_TRUE(local.has_value());
  EXPECT_FALSE(local->isCopy);
  EXPECT_EQ(local->edit, EditState::writing);
  EXPECT_EQ(local->version, "1");
  EXPECT_EQ(local->file, edit->path());
  EXPECT_EQ(editStates(), (EditStates{{"a", EditState::writing}}));
  EXPECT_EQ(store->edits().size(), 1U);
}

TEST_F(ReplicaStoreEdits, beginWithACopyThatWasDroppedWhileItIsOpen) {
  const auto copy = adopt("a", "1", "stored");
  store->dropCopy("a");
  EXPECT_EQ(readAll(*beginEdit("a", "1", copy.get())), "stored");
}

TEST_F(ReplicaStoreEdits, beginWithAnEmptyFile) {
  const auto edit = beginEdit("a", "1");
  EXPECT_EQ(readAll(*edit), "");
  EXPECT_EQ(store->items(), std::vector<std::string>{"a"});
}

TEST_F(ReplicaStoreEdits, keepHoles) {
  const auto file = scratch / "sparse";
  writeFile(file, "start");
  std::filesystem::resize_file(file, 64 << 20);
  const auto copy = store->adopt("a", "1", file, nullptr);
  ASSERT_TRUE(copy.has_value());
  EXPECT_LT(store->find("a")->allocatedBytes, 1 << 20);
  const auto edit = beginEdit("a", "1", copy->get());
  struct stat status{};
  ASSERT_EQ(fstat(edit->descriptor(), &status), 0);
  EXPECT_EQ(status.st_size, 64 << 20);
  EXPECT_LT(status.st_blocks * 512, 1 << 20);
}

TEST_F(ReplicaStoreEdits, areOnePerItem) {
  const auto edit = beginEdit("a", "1");
  EXPECT_FALSE(store->beginEdit("a", "1", nullptr).has_value());
  EXPECT_EQ(store->edits().size(), 1U);
  EXPECT_EQ(countFiles(edits()), 1U);
}

TEST_F(ReplicaStoreEdits, leaveNothingWhenTheyCannotBegin) {
  const auto copy = adopt("a", "1", "stored");
  std::filesystem::remove_all(folders.state / "beginning");
  EXPECT_FALSE(store->beginEdit("a", "1", copy.get()).has_value());
  EXPECT_FALSE(store->beginEdit("b", "1", nullptr).has_value());
  EXPECT_TRUE(store->edits().empty());
  EXPECT_FALSE(isHere("b"));
  EXPECT_TRUE(store->find("a")->isCopy);

  std::filesystem::create_directory(folders.state / "beginning");
  std::filesystem::remove(edits());
  EXPECT_FALSE(store->beginEdit("a", "1", copy.get()).has_value());
  EXPECT_EQ(countFiles(folders.state / "beginning"), 0U);
  std::filesystem::create_directory(edits());
  EXPECT_EQ(readAll(*beginEdit("a", "1", copy.get())), "stored");
  close();
  EXPECT_EQ(countFiles(edits()), 1U);
}

TEST_F(ReplicaStoreEdits, openForAllWithOneFile) {
  auto edit = beginEdit("a", "1");
  append(*edit, "first");
  EXPECT_EQ(store->openEdit("a")->descriptor(), edit->descriptor());
  edit.reset();
  edit = store->openEdit("a");
  ASSERT_NE(edit, nullptr);
  append(*edit, " second");
  EXPECT_EQ(readAll(*edit), "first second");
}

TEST_F(ReplicaStoreEdits, hideTheCopyUntilTheyAreGivenUp) {
  beginEditOfCopy("a");
  EXPECT_EQ(store->openCopy("a", "1"), nullptr);
  EXPECT_EQ(store->items(), std::vector<std::string>{"a"});
  store->forgetEdit("a");
  EXPECT_EQ(store->openEdit("a"), nullptr);
  EXPECT_TRUE(store->edits().empty());
  EXPECT_EQ(countFiles(edits()), 0U);
  ASSERT_TRUE(isHere("a"));
  EXPECT_TRUE(store->find("a")->isCopy);
  EXPECT_EQ(readAll(*store->openCopy("a", "1")), "stored");
}

TEST_F(ReplicaStoreEdits, stayWhenTheCopyIsDropped) {
  beginEditOfCopy("a");
  store->dropCopy("a");
  EXPECT_EQ(readAll(*store->openEdit("a")), "stored and edited");
  EXPECT_EQ(countFiles(copies()), 0U);
  store->forgetEdit("a");
  EXPECT_FALSE(isHere("a"));
}

TEST_F(ReplicaStoreEdits, areNotEvicted) {
  for (const EditState state : {EditState::writing, EditState::unsaved, EditState::saved}) {
    beginEditOfCopy("a");
    mark("a", state);
    EXPECT_EQ(store->evict("a"), Evicted::edited);
    EXPECT_EQ(readAll(*store->openEdit("a")), "stored and edited");
    store->forgetEdit("a");
  }
  EXPECT_EQ(store->evict("a"), Evicted::dropped);
}

TEST_F(ReplicaStoreEdits, areAsTheyWereAfterTheStoreWasClosed) {
  beginEditOfCopy("unsaved");
  mark("unsaved", EditState::unsaved, true);
  beginEditOfCopy("saved");
  mark("saved", EditState::unsaved, true);
  mark("saved", EditState::saved);
  open();
  EXPECT_EQ(editStates(), (EditStates{{"unsaved", EditState::unsaved}, {"saved", EditState::saved}}));
  EXPECT_EQ(store->find("unsaved")->edit, EditState::unsaved);
  EXPECT_EQ(store->find("unsaved")->version, "1");
  EXPECT_EQ(readAll(*store->openEdit("saved")), "stored and edited");
  store->forgetEdit("saved");
  EXPECT_EQ(readAll(*store->openCopy("saved", "1")), "stored");
}

TEST_F(ReplicaStoreEdits, canBeWrittenToAgain) {
  beginEditOfCopy("a");
  mark("a", EditState::unsaved, true);
  mark("a", EditState::writing);
  EXPECT_EQ(store->find("a")->edit, EditState::writing);
}

TEST_F(ReplicaStoreEdits, thatAreNotThereCannotBeMarked) {
  keep("a", "1", "stored");
  EXPECT_FALSE(store->markEdit("a", EditState::unsaved, true).has_value());
  EXPECT_FALSE(store->markEdit("a", EditState::unsaved, false).has_value());
  EXPECT_FALSE(store->markEdit("a", EditState::interrupted, false).has_value());
  EXPECT_FALSE(store->turnEditIntoCopy("a").has_value());
  store->forgetEdit("a");
  EXPECT_TRUE(store->find("a")->isCopy);
}

TEST_F(ReplicaStoreEdits, areSetAsideWhenTheStoreEndedBeforeTheyWereFlushed) {
  const std::string identifier = entryIdentifier("W1", "Summer/notes.txt");
  beginEditOfCopy(identifier);
  open();
  EXPECT_EQ(store->openEdit(identifier), nullptr);
  EXPECT_TRUE(store->find(identifier)->isCopy);
  EXPECT_EQ(readAll(*store->openCopy(identifier, "1")), "stored") << "the item shows its stored contents";

  ASSERT_EQ(store->edits().size(), 1U);
  const Edit edit = store->edits().front();
  EXPECT_EQ(edit.identifier, identifier);
  EXPECT_EQ(edit.baseVersion, "1");
  EXPECT_EQ(edit.state, EditState::interrupted);
  EXPECT_EQ(edit.file.parent_path(), interrupted());
  EXPECT_TRUE(edit.file.filename().native().starts_with("notes~")) << edit.file;
  EXPECT_EQ(edit.file.extension(), ".txt");
  EXPECT_EQ(readFile(edit.file), "stored and edited");
}

TEST_F(ReplicaStoreEdits, thatWereSetAsideLetTheItemBeEditedAgain) {
  beginEditOfCopy("a");
  open();
  const auto copy = store->openCopy("a", "1");
  append(*beginEdit("a", "1", copy.get()), " again");
  EXPECT_EQ(editStates(), (EditStates{{"a", EditState::interrupted}, {"a", EditState::writing}}));
  open();
  EXPECT_EQ(editStates(), (EditStates{{"a", EditState::interrupted}, {"a", EditState::interrupted}}));
  EXPECT_EQ(countFiles(interrupted()), 2U);
}

TEST_F(ReplicaStoreEdits, thatWereSetAsideAreListedUntilTheUserTookThem) {
  beginEditOfCopy("a");
  beginEditOfCopy("b");
  open();
  open();
  ASSERT_EQ(store->edits().size(), 2U);
  for (const Edit& edit : store->edits()) {
    if (edit.identifier == "a") std::filesystem::remove(edit.file);
  }
  EXPECT_EQ(editStates(), (EditStates{{"b", EditState::interrupted}}));
  open();
  EXPECT_EQ(editStates(), (EditStates{{"b", EditState::interrupted}}));
  store->forgetEdit("b");
  EXPECT_EQ(countFiles(interrupted()), 1U) << "nobody but the user removes it";
  std::filesystem::remove(store->edits().front().file);
  EXPECT_TRUE(store->edits().empty());
  open();
  EXPECT_TRUE(store->edits().empty());
}

TEST_F(ReplicaStoreEdits, thatWereSetAsideStayWhenAnotherEditOfTheItemIsForgotten) {
  beginEditOfCopy("a");
  open();
  static_cast<void>(beginEdit("a", "1"));
  store->forgetEdit("a");
  EXPECT_EQ(editStates(), (EditStates{{"a", EditState::interrupted}}));
  EXPECT_EQ(countFiles(interrupted()), 1U);
}

TEST_F(ReplicaStoreEdits, areSetAsideOnDemand) {
  beginEditOfCopy("a");
  mark("a", EditState::interrupted);
  EXPECT_EQ(editStates(), (EditStates{{"a", EditState::interrupted}}));
  EXPECT_TRUE(store->find("a")->isCopy);
  EXPECT_EQ(readFile(store->edits().front().file), "stored and edited");
  open();
  EXPECT_EQ(editStates(), (EditStates{{"a", EditState::interrupted}}));
}

TEST_F(ReplicaStoreEdits, becomeTheCopyWhenTheyAreTheStoredContents) {
  beginEditOfCopy("a");
  mark("a", EditState::unsaved);
  ASSERT_TRUE(store->turnEditIntoCopy("a").has_value());
  EXPECT_TRUE(store->edits().empty());
  EXPECT_TRUE(store->find("a")->isCopy);
  EXPECT_EQ(store->find("a")->version, "1");
  EXPECT_EQ(readAll(*store->openCopy("a", "1")), "stored and edited");
  EXPECT_EQ(countFiles(copies()), 1U);
  EXPECT_EQ(countFiles(edits()), 0U);
  EXPECT_EQ(store->usage().cachedItems, 1);
  open();
  EXPECT_EQ(readAll(*store->openCopy("a", "1")), "stored and edited");
  EXPECT_TRUE(store->edits().empty());
}

TEST_F(ReplicaStoreEdits, thatBecameCopiesArePinnedByThoseWhoWrote) {
  auto writer = beginEdit("a", "1");
  append(*writer, "contents");
  ASSERT_TRUE(store->turnEditIntoCopy("a").has_value());
  auto reader = store->openCopy("a", "1");
  EXPECT_EQ(fcntl(reader->descriptor(), F_GETFL) & O_ACCMODE, O_RDONLY);
  reader.reset();
  EXPECT_EQ(store->evict("a"), Evicted::open);
  writer.reset();
  EXPECT_EQ(store->evict("a"), Evicted::dropped);
}

TEST_F(ReplicaStoreEdits, outlastACleanedCache) {
  beginEditOfCopy("a");
  mark("a", EditState::unsaved, true);
  close();
  std::filesystem::remove_all(folders.cache);
  open();
  EXPECT_EQ(readAll(*store->openEdit("a")), "stored and edited");
}

TEST_F(ReplicaStoreEdits, areNeverRemovedForWantOfARow) {
  close();
  writeFile(edits() / "unknown.txt", "precious");
  writeFile(edits() / "._unknown", "hidden");
  writeFile(interrupted() / "put here", "too");
  open();
  EXPECT_EQ(editStates(),
            (EditStates{{"", EditState::interrupted}, {"", EditState::interrupted}, {"", EditState::interrupted}}));
  EXPECT_EQ(readFile(interrupted() / "unknown.txt"), "precious");
  EXPECT_EQ(readFile(interrupted() / "._unknown"), "hidden");
  EXPECT_EQ(countFiles(edits()), 0U);
  open();
  EXPECT_EQ(store->edits().size(), 3U) << "once each";
}

}  // namespace
}  // namespace tovrin::host
