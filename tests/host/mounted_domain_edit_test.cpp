#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <future>

#include "host/mounted_domain_fixture.h"
#include "support/lock_holder.h"

namespace tovrin::host {
namespace {

bool holds(const std::vector<std::string>& lines, const std::string& line) {
  return std::ranges::find(lines, line) != lines.end();
}

using EditedDomain = MountedDomainTest;

TEST_F(EditedDomain, handsOverWhatWasWrittenAsOneEdit) {
  const Shown shown = find("a.txt");
  const auto opened = open(shown.node.id, O_RDWR);
  ASSERT_TRUE(opened);
  EXPECT_EQ(append(**opened, " and"), 0);
  EXPECT_EQ(append(**opened, " more"), 0);
  EXPECT_TRUE(pendingCopies().empty());
  ASSERT_TRUE(handOver(**opened));
  ASSERT_EQ(pendingCopies().size(), 1U);
  EXPECT_EQ(readFile(pendingCopies().front()), "first contents and more");
  EXPECT_EQ(mounted_->itemStatus(shown.node).state, ItemState::edited);
  EXPECT_EQ(find("a.txt").attributes.st_size, 23);
  EXPECT_EQ(find("a.txt").node.id, shown.node.id);
}

TEST_F(EditedDomain, handsOverNothingWhenNothingWasWrittenSince) {
  const auto opened = open(find("a.txt").node.id, O_RDWR);
  ASSERT_TRUE(opened);
  EXPECT_TRUE(handOver(**opened));
  EXPECT_TRUE(pendingCopies().empty());
  append(**opened, "!");
  ASSERT_TRUE(handOver(**opened));
  ASSERT_TRUE(handOver(**opened));
  EXPECT_EQ(pendingCopies().size(), 1U);
}

TEST_F(EditedDomain, needsNoDownloadToEmptyAFile) {
  const auto opened = open(find("a.txt").node.id, O_WRONLY | O_TRUNC);
  ASSERT_TRUE(opened);
  EXPECT_EQ(append(**opened, "new"), 0);
  ASSERT_TRUE(handOver(**opened));
  EXPECT_EQ(downloads(), 0U);
  EXPECT_EQ(readFile(pendingCopies().front()), "new");
}

TEST_F(EditedDomain, showsTheChangeToThoseWhoHadTheFileOpenBefore) {
  const NodeID id = find("a.txt").node.id;
  const auto reader = open(id, O_RDONLY);
  const auto writer = open(id, O_RDWR);
  ASSERT_TRUE(reader && writer);
  append(**writer, "!");
  EXPECT_EQ(bytesOf(**reader), "first contents!");
}

TEST_F(EditedDomain, becomesThePlainCopyAgainWhenTheContentsAreTheStoredOnes) {
  const Shown shown = find("b.txt");
  const auto opened = open(shown.node.id, O_WRONLY | O_TRUNC);
  ASSERT_TRUE(opened);
  append(**opened, "second");
  ASSERT_TRUE(handOver(**opened));
  EXPECT_TRUE(pendingCopies().empty());
  EXPECT_EQ(mounted_->itemStatus(shown.node).state, ItemState::cached);
  EXPECT_EQ(find("b.txt").attributes.st_mtim.tv_sec, 1600000000);

  // Who has it open still can write, which begins another edit and leaves the copy alone.
  append(**opened, "!");
  ASSERT_TRUE(handOver(**opened));
  ASSERT_EQ(pendingCopies().size(), 1U);
  EXPECT_EQ(readFile(pendingCopies().front()), "second!");
}

TEST_F(EditedDomain, keepsARefusedEditAndHandsItOverLater) {
  const Shown shown = find("a.txt");
  const auto opened = open(shown.node.id, O_RDWR);
  ASSERT_TRUE(opened);
  append(**opened, "!");
  installTombstones(test_, {{.warpID = "W1", .manifestKey = "manifests/W1.json"}});
  const Result<void> refused = handOver(**opened);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code(), 4);
  const ItemStatus issue = mounted_->itemStatus(shown.node);
  EXPECT_EQ(issue.state, ItemState::issue);
  EXPECT_EQ(issue.error, refused.error().localizedDescription());
  EXPECT_EQ(bytesOf(**opened), "first contents!");
  ASSERT_EQ(mounted_->status().edits.size(), 1U);
  EXPECT_EQ(mounted_->status().edits.front().error, refused.error().localizedDescription());
  EXPECT_EQ(mounted_->handOverEdits({}).size(), 1U);

  installTombstones(test_, {});
  EXPECT_TRUE(mounted_->handOverEdits({}).empty());
  ASSERT_EQ(pendingCopies().size(), 1U);
  EXPECT_EQ(readFile(pendingCopies().front()), "first contents!");
}

TEST_F(EditedDomain, isHandedOverByTheNextHostWhenItWasFlushed) {
  {
    const auto opened = open(find("a.txt").node.id, O_RDWR);
    ASSERT_TRUE(opened);
    append(**opened, "!");
    installTombstones(test_, {{.warpID = "W1", .manifestKey = "manifests/W1.json"}});
    ASSERT_FALSE(handOver(**opened));
  }
  installTombstones(test_, {});
  mount();
  mounted_->start(test_.warpDirectory());
  EXPECT_TRUE(mounted_->handOverEdits({}).empty());
  ASSERT_EQ(pendingCopies().size(), 1U);
  EXPECT_EQ(readFile(pendingCopies().front()), "first contents!");
}

TEST_F(EditedDomain, isNeverEvictedWhileItWaits) {
  const Shown shown = find("a.txt");
  {
    const auto opened = open(shown.node.id, O_RDWR);
    ASSERT_TRUE(opened);
    append(**opened, "!");
    ASSERT_TRUE(handOver(**opened));
  }
  const auto outcomes = mounted_->evictAll();
  ASSERT_EQ(outcomes.size(), 1U);
  EXPECT_EQ(outcomes.front().result, Evicted::edited);
  EXPECT_EQ(mounted_->itemStatus(shown.node).state, ItemState::edited);
}

TEST_F(EditedDomain, isNotDroppedWhileTheJournalCannotBeRead) {
  const Shown shown = find("a.txt");
  {
    const auto opened = open(shown.node.id, O_RDWR);
    ASSERT_TRUE(opened);
    append(**opened, "!");
    ASSERT_TRUE(handOver(**opened));
  }
  writeFile(test_.warpDirectory() / "file-provider-cached-items.json", "{");
  const auto outcomes = mounted_->evict({shown.node.item->itemIdentifier()});
  ASSERT_EQ(outcomes.size(), 1U);
  EXPECT_EQ(outcomes.front().result, Evicted::edited);
  EXPECT_EQ(bytesOf(**open(shown.node.id, O_RDONLY)), "first contents!");
}

TEST_F(EditedDomain, isSeenBehindADownloadThatEndsLater) {
  ASSERT_TRUE(worker_.addFault("stall after=1 seconds=60 route=object"));
  const NodeID id = find("a.txt").node.id;
  std::promise<Result<std::shared_ptr<OpenItem>>> reader;
  mounted_->open(id, {getpid(), O_RDONLY}, [&](const auto& result) { reader.set_value(result); });
  {
    const auto writer = open(id, O_WRONLY | O_TRUNC);
    ASSERT_TRUE(writer);
    append(**writer, "saved meanwhile");
    ASSERT_TRUE(handOver(**writer));
  }
  worker_.clearFaults();
  const auto waited = reader.get_future().get();
  ASSERT_TRUE(waited) << waited.error().localizedDescription();
  EXPECT_EQ(bytesOf(**waited), "saved meanwhile");
  EXPECT_EQ(bytesOf(**open(id, O_RDONLY)), "saved meanwhile");
}

TEST_F(EditedDomain, isSeenByWhoeverOpensTheNewerVersion) {
  const Shown before = find("a.txt");
  const auto writer = open(before.node.id, O_RDWR);
  ASSERT_TRUE(writer);
  install({file("a.txt", "newer contents", 1700000000)});
  mounted_->start(test_.warpDirectory());
  while (!holds(kernel_.take(), "changed a.txt")) std::this_thread::yield();
  const auto reader = open(find("a.txt").node.id, O_RDONLY);
  ASSERT_TRUE(reader);
  EXPECT_EQ(bytesOf(**reader), "newer contents");
  append(**writer, "!");
  ASSERT_TRUE(handOver(**writer));
  EXPECT_EQ(bytesOf(**open(find("a.txt").node.id, O_RDONLY)), "first contents!");
}

TEST_F(EditedDomain, ofAnotherProgramIsGoneOnWith) {
  const Shown shown = find("a.txt");
  writeFile(test_.scratch / "put", "put by another");
  std::promise<std::optional<NSError>> put;
  domain_->extension().modifyItem(shown.node.item, shown.node.item->itemVersion(), NSFileProviderItemContents,
                                  test_.scratch / "put",
                                  [&](const auto&, auto, bool, const auto& error) { put.set_value(error); });
  ASSERT_FALSE(put.get_future().get());
  const auto opened = open(shown.node.id, O_RDWR);
  ASSERT_TRUE(opened) << opened.error().localizedDescription();
  EXPECT_EQ(bytesOf(**opened), "put by another");
  EXPECT_TRUE(holds(kernel_.take(), "attributes " + std::to_string(shown.node.id)));
  EXPECT_EQ(mounted_->itemStatus(shown.node).state, ItemState::edited);
  EXPECT_EQ(find("a.txt").attributes.st_size, 14);
  append(**opened, " and more");
  ASSERT_TRUE(handOver(**opened));
  const SharedItem item = domain_->item(shown.node.item->itemIdentifier());
  EXPECT_EQ(readFile(domain_->pendingCopy(*item).value()), "put by another and more");
  EXPECT_EQ(downloads(), 0U);
}

TEST_F(EditedDomain, isRefusedByTheRuleOfTheWarpWhenTheManifestIsGone) {
  const auto opened = open(find("a.txt").node.id, O_RDWR);
  ASSERT_TRUE(opened);
  append(**opened, "!");
  std::filesystem::remove(test_.warpDirectory() / "ManifestMirror/W1.json");
  test_.clock.advance(10);
  const Result<void> refused = handOver(**opened);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().code(), 4) << refused.error().localizedDescription();
  ASSERT_EQ(mounted_->status().edits.size(), 1U);
  EXPECT_EQ(mounted_->status().edits.front().filename, "a.txt");
}

TEST_F(EditedDomain, isLetGoWhenTheMainApplicationHasStoredIt) {
  const auto opened = open(find("a.txt").node.id, O_RDWR);
  ASSERT_TRUE(opened);
  append(**opened, "!");
  ASSERT_TRUE(handOver(**opened));
  install({file("a.txt", "first contents!", 1700000000)});
  std::filesystem::remove(test_.warpDirectory() / "file-provider-cached-items.json");
  mounted_->start(test_.warpDirectory());
  while (!mounted_->status().edits.empty()) std::this_thread::yield();
  const Shown stored = find("a.txt");
  EXPECT_EQ(stored.attributes.st_mtim.tv_sec, 1700000000);
  EXPECT_EQ(mounted_->itemStatus(stored.node).state, ItemState::remote);
  EXPECT_EQ(mounted_->usage().cachedItems, 0) << "the copy that was edited is of no use any more";
}

}  // namespace
}  // namespace tovrin::host
