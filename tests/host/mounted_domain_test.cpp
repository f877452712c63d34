#include <fcntl.h>
#include <gtest/gtest.h>

#include <future>

#include "host/mounted_domain_fixture.h"

namespace tovrin::host {
namespace {

using BrowsedDomain = MountedDomainTest;
using OpenedDomain = MountedDomainTest;
using FollowedDomain = MountedDomainTest;

bool holds(const std::vector<std::string>& lines, const std::string& line) {
  return std::ranges::find(lines, line) != lines.end();
}

TEST_F(BrowsedDomain, showsNamesSizesTimesAndPermissions) {
  const Shown shown = find("a.txt");
  EXPECT_EQ(shown.attributes.st_size, 14);
  EXPECT_EQ(shown.attributes.st_mtim.tv_sec, 1600000000);
  EXPECT_EQ(shown.attributes.st_mode, S_IFREG | 0644U);
  EXPECT_EQ(shown.attributes.st_uid, getuid());
  EXPECT_FALSE(walk("Warped Files/nowhere"));
  EXPECT_FALSE(mounted_->lookUp(shown.node.id, "below a file"));
}

TEST_F(BrowsedDomain, showsAFileThatIsNotHereWithOneBlock) {
  EXPECT_EQ(find("a.txt").attributes.st_blocks, 1);
  const auto opened = open(find("a.txt").node.id, O_RDONLY);
  ASSERT_TRUE(opened);
  EXPECT_GE(find("a.txt").attributes.st_blocks, 1);
}

TEST_F(BrowsedDomain, tellsTheKernelThatAFileIsHereBeforeItIsOpen) {
  const NodeID id = find("a.txt").node.id;
  std::vector<std::string> toldBefore;
  std::promise<void> opened;
  mounted_->open(id, {getpid(), O_RDONLY}, [&](const auto& item) {
    EXPECT_TRUE(item);
    toldBefore = kernel_.take();
    opened.set_value();
  });
  opened.get_future().get();
  EXPECT_TRUE(holds(toldBefore, "attributes " + std::to_string(id)));
}

TEST_F(BrowsedDomain, keepsInodeNumbersOverRemounts) {
  const auto before = find("a.txt").attributes.st_ino;
  mount();
  EXPECT_EQ(find("a.txt").attributes.st_ino, before);
  EXPECT_NE(find("b.txt").attributes.st_ino, before);
}

TEST_F(BrowsedDomain, forgetsNodesOnlyWhenEveryLookupIsTakenBack) {
  const NodeID id = find("a.txt").node.id;
  EXPECT_EQ(find("a.txt").node.id, id);
  mounted_->forget(id, 1);
  EXPECT_TRUE(mounted_->node(id));
  mounted_->forget(id, 1);
  EXPECT_FALSE(mounted_->node(id));
  EXPECT_NE(find("a.txt").node.id, id);
}

TEST_F(OpenedDomain, downloadsOnceAndThenOpensTheCopyWithoutAWorker) {
  const auto opened = open(find("a.txt").node.id, O_RDONLY);
  ASSERT_TRUE(opened);
  EXPECT_EQ(bytesOf(**opened), "first contents");
  EXPECT_EQ(downloads(), 1U);
  worker_.stop();
  mount();
  const auto again = open(find("a.txt").node.id, O_RDONLY);
  ASSERT_TRUE(again) << again.error().localizedDescription();
  EXPECT_EQ(bytesOf(**again), "first contents");
}

TEST_F(OpenedDomain, sharesOneDownloadAmongAllWhoWait) {
  ASSERT_TRUE(worker_.addFault("stall after=1 seconds=60 route=object"));
  const NodeID id = find("a.txt").node.id;
  std::vector<std::promise<bool>> opened(5);
  for (auto& promise : opened) {
    mounted_->open(id, {getpid(), O_RDONLY}, [&](const auto& result) { promise.set_value(result.has_value()); });
  }
  worker_.clearFaults();
  for (auto& promise : opened) EXPECT_TRUE(promise.get_future().get());
  EXPECT_EQ(downloads(), 1U);
}

TEST_F(OpenedDomain, cancelsADownloadThatNobodyWaitsForAnyMore) {
  ASSERT_TRUE(worker_.addFault("stall after=1 seconds=60 route=object"));
  const NodeID id = find("a.txt").node.id;
  std::promise<Result<std::shared_ptr<OpenItem>>> first;
  std::promise<Result<std::shared_ptr<OpenItem>>> second;
  const auto leaver = mounted_->open(id, {getpid(), O_RDONLY}, [&](const auto& r) { first.set_value(r); });
  const auto last = mounted_->open(id, {getpid(), O_RDONLY}, [&](const auto& r) { second.set_value(r); });
  const NSError cancelled = NSError::cocoa(CocoaErrorCode::userCancelled);
  mounted_->leave(leaver, cancelled);
  EXPECT_EQ(first.get_future().get().error(), cancelled);
  EXPECT_EQ(mounted_->status().openings.size(), 1U);
  mounted_->leave(last, cancelled);
  EXPECT_EQ(second.get_future().get().error(), cancelled);
  EXPECT_TRUE(mounted_->status().openings.empty());
  worker_.clearFaults();
  EXPECT_TRUE(open(id, O_RDONLY));
}

TEST_F(OpenedDomain, saysWhatFailedUntilItSucceeds) {
  ASSERT_TRUE(worker_.addFault("flip at=0 route=object times=1"));
  const Shown shown = find("a.txt");
  EXPECT_FALSE(open(shown.node.id, O_RDONLY));
  const ItemStatus issue = mounted_->itemStatus(shown.node);
  EXPECT_EQ(issue.state, ItemState::issue);
  EXPECT_EQ(issue.error, "The downloaded warped file did not match its manifest checksum.");
  EXPECT_EQ(mounted_->status().problems.size(), 1U);
  EXPECT_TRUE(open(shown.node.id, O_RDONLY));
  EXPECT_EQ(mounted_->itemStatus(shown.node).state, ItemState::cached);
  EXPECT_TRUE(mounted_->status().problems.empty());
}

TEST_F(OpenedDomain, isRefusedToWhoeverSniffsButNotOnceTheFileIsHere) {
  const NodeID id = find("a.txt").node.id;
  const auto refused = open(id, O_RDONLY | O_NOATIME);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error(), NSError::posix(EACCES));
  EXPECT_EQ(downloads(), 0U);
  EXPECT_EQ(mounted_->status().refusedCrawlers, 1);
  ASSERT_TRUE(open(id, O_RDONLY));
  EXPECT_TRUE(open(id, O_RDONLY | O_NOATIME));
}

TEST_F(OpenedDomain, failsAtOnceWhenOffline) {
  MountRequest offline;
  offline.offline = true;
  ASSERT_TRUE(open(find("a.txt").node.id, O_RDONLY));
  worker_.clearRequests();
  mount(offline);
  EXPECT_TRUE(open(find("a.txt").node.id, O_RDONLY));
  EXPECT_FALSE(open(find("b.txt").node.id, O_RDONLY));
  EXPECT_TRUE(worker_.requests().empty());
}

TEST_F(FollowedDomain, givesAChangedFileAnotherNodeAndKeepsWhatIsOpen) {
  const Shown before = find("a.txt");
  const auto opened = open(before.node.id, O_RDONLY);
  ASSERT_TRUE(opened);
  install({file("a.txt", "other contents", 1700000000), file("b.txt", "second")});
  mounted_->start(test_.warpDirectory());
  while (!holds(kernel_.take(), "changed a.txt")) std::this_thread::yield();

  EXPECT_EQ(open(before.node.id, O_RDONLY).error(), NSError::posix(ESTALE));
  const Shown after = find("a.txt");
  EXPECT_NE(after.node.id, before.node.id);
  EXPECT_EQ(after.attributes.st_ino, before.attributes.st_ino);
  const auto fresh = open(after.node.id, O_RDONLY);
  ASSERT_TRUE(fresh);
  EXPECT_EQ(bytesOf(**fresh), "other contents");
  EXPECT_EQ(bytesOf(**opened), "first contents");
}

TEST_F(FollowedDomain, tellsTheKernelNothingOfWarpsThatDidNotChange) {
  const NodeID known = find("a.txt").node.id;
  ManifestSpec other;
  other.warpID = "W2";
  other.originalFolderPath = "/Users/ann/Music";
  installManifest(test_, other);
  test_.clock.advance(10);
  mounted_->start(test_.warpDirectory());
  std::vector<std::string> told;
  while (!holds(told, "contents 1")) {
    for (std::string& line : kernel_.take()) told.push_back(std::move(line));
  }
  EXPECT_FALSE(holds(told, "attributes " + std::to_string(known)));
  EXPECT_FALSE(holds(told, "changed a.txt"));
}

TEST_F(FollowedDomain, tellsOfVanishedNames) {
  find("b.txt");
  install({file("a.txt", "first contents")});
  mounted_->start(test_.warpDirectory());
  while (!holds(kernel_.take(), "vanished b.txt")) std::this_thread::yield();
  EXPECT_FALSE(walk("Warped Files" + (test_.scratch / "original/b.txt").string()));
}

TEST_F(FollowedDomain, letsTheKernelForgetAListingThatBeganBeforeAChange) {
  const NodeID folder = walk("Warped Files" + (test_.scratch / "original").string())->node.id;
  const auto before = mounted_->directory(folder);
  mounted_->listed(folder, *before);
  install({file("a.txt", "first contents"), file("new.txt", "x")});
  mounted_->start(test_.warpDirectory());
  while (mounted_->isCurrent(*before)) std::this_thread::yield();
  const auto after = mounted_->directory(folder);
  EXPECT_NE(after->find("new.txt"), nullptr);
  const std::string forgotten = "contents " + std::to_string(folder);
  while (!holds(kernel_.take(), forgotten)) std::this_thread::yield();  // once by the refresh

  mounted_->listed(folder, *before);
  while (!holds(kernel_.take(), forgotten)) std::this_thread::yield();
}

TEST_F(BrowsedDomain, countsTheSizeOfTheWholeDomain) {
  mounted_->start(test_.warpDirectory());
  while (mounted_->totalFiles() == 0) std::this_thread::yield();
  EXPECT_EQ(mounted_->totalBytes(), 20);
  EXPECT_EQ(mounted_->totalFiles(), 2);
}

}  // namespace
}  // namespace tovrin::host
