#include "cli/mounted_fixture.h"
#include "host/domain_key.h"
#include "host/store/replica_store.h"

namespace tovrin {
namespace {

using host::Evicted;

class Evict : public MountedCommand {
 protected:
  void SetUp() override { installPhotos(); }

  host::StoreFolders storeFolders() const {
    const std::string key = host::domainKey(warp());
    return {.cache = scratch_ / "cache/tovrin/replica" / key, .state = scratch_ / "home/.local/state/tovrin" / key};
  }
  std::unique_ptr<host::ReplicaStore> openStore() const {
    auto store = host::ReplicaStore::open(storeFolders(), {.keepFree = 0});
    EXPECT_TRUE(store) << store.error().localizedDescription();
    return store ? *std::move(store) : nullptr;
  }
  std::shared_ptr<host::LocalFile> adopt(host::ReplicaStore& store, const NSFileProviderItemIdentifier& identifier) {
    writeFile(storeFolders().cache / "delivered", "picture");
    auto file = store.adopt(identifier, "version", storeFolders().cache / "delivered", store.reserve(7).value());
    EXPECT_TRUE(file) << file.error().localizedDescription();
    return file ? *std::move(file) : nullptr;
  }
};

TEST_F(Evict, asksTheMount) {
  startMount();
  const Ended ended = run({"evict", kPhotos + "/a.jpg", entryID("/Users/ann/Photos/notes")});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, "Dropped: 2 files\n");
  EXPECT_EQ(ended.err, "");
}

TEST_F(Evict, saysWhatStaysAndWhy) {
  startMount();
  const std::string photo = entryID("/Users/ann/Photos/a.jpg");
  const std::string notes = entryID("/Users/ann/Photos/notes");
  mount_.evictions = {{photo, Evicted::open}, {notes, Evicted::edited}};
  const Ended ended = run({"evict", photo, notes, "warped-root"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "Dropped: 1 file\nStays here: 2 files\n  name of " + photo +
                           ": a program has it open\n  name of " + notes + ": its changes are not uploaded yet\n");
  EXPECT_EQ(ended.err, "");
}

TEST_F(Evict, isContentWithWhatIsNotHere) {
  startMount();
  mount_.evictions = {{"a", Evicted::notHere}, {"b", Evicted::dropped}};
  const Ended ended = run({"evict", "--all"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.out, "Dropped: 1 file\n");
}

TEST_F(Evict, tellsToolsWhatBecameOfEachFile) {
  startMount();
  mount_.evictions = {{"a", Evicted::dropped}, {"b", Evicted::open}, {"c", Evicted::notHere}};
  const Ended ended = run({"evict", "--all", "--json"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, R"([{"itemIdentifier":"a","filename":"name of a","result":"dropped"},)"
                       R"({"itemIdentifier":"b","filename":"name of b","result":"open"},)"
                       R"({"itemIdentifier":"c","filename":"name of c","result":"notHere"}])"
                       "\n");
}

TEST_F(Evict, needsToBeToldWhat) {
  EXPECT_EQ(run({"evict"}).status, 2);
  EXPECT_EQ(run({"evict", "--all", "x"}).status, 2);
}

TEST_F(Evict, ofAPathThatIsNotThereDropsNothing) {
  startMount();
  const Ended ended = run({"evict", kPhotos + "/a.jpg", kPhotos + "/nope"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "tovrin: " + kPhotos + "/nope: There is no such item.\n");
}

TEST_F(Evict, withoutAMountDropsFilesFromTheStore) {
  const std::string photo = entryID("/Users/ann/Photos/a.jpg");
  const std::string deep = entryID("/Users/ann/Photos/sub/x.txt");
  const std::string other = entryID("/Users/ann/Photos/notes");
  {
    const auto store = openStore();
    for (const std::string& item : {photo, deep, other}) adopt(*store, item);
  }
  EXPECT_EQ(run({"evict", kPhotos + "/sub", photo}).out, "Dropped: 2 files\n");
  const auto store = openStore();
  EXPECT_EQ(store->items(), std::vector<std::string>{other});
}

TEST_F(Evict, withoutAMountKeepsEdits) {
  const std::string photo = entryID("/Users/ann/Photos/a.jpg");
  const std::string notes = entryID("/Users/ann/Photos/notes");
  {
    const auto store = openStore();
    adopt(*store, photo);
    ASSERT_TRUE(store->beginEdit(notes, "version", nullptr));
    ASSERT_TRUE(store->markEdit(notes, host::EditState::unsaved, true));
  }
  const Ended ended = run({"evict", "--all"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "Dropped: 1 file\nStays here: 1 file\n  notes: its changes are not uploaded yet\n");
  EXPECT_EQ(openStore()->edits().size(), 1u);
}

TEST_F(Evict, withoutAMountDropsEditsThatAreUploaded) {
  const std::string notes = entryID("/Users/ann/Photos/notes");
  {
    const auto store = openStore();
    ASSERT_TRUE(store->beginEdit(notes, "version", nullptr));
    ASSERT_TRUE(store->markEdit(notes, host::EditState::saved, true));
  }
  EXPECT_EQ(run({"evict", "--all"}).status, 0);
  EXPECT_TRUE(openStore()->edits().empty());
}

TEST_F(Evict, withoutAStoreMakesNone) {
  EXPECT_EQ(run({"evict", "--all"}).out, "Dropped: 0 files\n");
  EXPECT_EQ(run({"evict", kPhotos}).out, "Dropped: 0 files\n");
  EXPECT_FALSE(std::filesystem::exists(storeFolders().state));
  EXPECT_FALSE(std::filesystem::exists(storeFolders().cache));
}

TEST_F(Evict, ofAStoreThatSomebodyElseHasSaysWho) {
  const auto store = openStore();
  const Ended ended = run({"evict", "--all"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_NE(ended.err.find(std::to_string(getpid())), std::string::npos) << ended.err;
}

}  // namespace
}  // namespace tovrin
