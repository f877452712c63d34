#include <gtest/gtest.h>

#include <string>

#include "host/store/replica_store.h"
#include "host/store_fixture.h"

namespace tovrin::host {
namespace {

class ReplicaStoreDamage : public StoreTest {
 protected:
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

TEST_F(ReplicaStoreDamage, keepsEditsWhenTheIndexIsGarbage) {
  keepCopiesAndEdits();
  close();
  writeFile(index(), std::string(100000, '#'));
  expectOnlyEdits();
}

TEST_F(ReplicaStoreDamage, keepsEditsWhenTheIndexIsEmpty) {
  keepCopiesAndEdits();
  close();
  writeFile(index(), "");
  expectOnlyEdits();
}

TEST_F(ReplicaStoreDamage, keepsEditsWhenTheIndexIsGone) {
  keepCopiesAndEdits();
  close();
  std::filesystem::remove(index());
  expectOnlyEdits();
}

TEST_F(ReplicaStoreDamage, keepsEditsWhenTheIndexIsCutOff) {
  keepCopiesAndEdits();
  close();
  std::filesystem::resize_file(index(), std::filesystem::file_size(index()) / 2);
  expectOnlyEdits();
}

TEST_F(ReplicaStoreDamage, keepsEditsWhenTheIndexHasOtherTables) {
  keepCopiesAndEdits();
  close();
  execute("DROP TABLE copies; CREATE TABLE copies (something)");
  expectOnlyEdits();
}

TEST_F(ReplicaStoreDamage, keepsEditsWhereverTheIndexIsDamaged) {
  keepCopiesAndEdits();
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

TEST_F(ReplicaStoreDamage, failsWithoutHarmWhenTheIndexCannotBeRead) {
  keepCopiesAndEdits();
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

}  // namespace
}  // namespace tovrin::host
