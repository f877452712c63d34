#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <thread>

#include "host/mounted_domain_fixture.h"

namespace tovrin::host {
namespace {

using Opening = std::future<Result<std::shared_ptr<OpenItem>>>;

/// A file whose entry is replaced by a newer one, and that is looked up again, while a download holds its opener up.
class ReplacedWhileDownloading : public MountedDomainTest {
 protected:
  Opening startOpening(NodeID id) {
    auto opened = std::make_shared<std::promise<Result<std::shared_ptr<OpenItem>>>>();
    mounted_->open(id, {getpid(), O_RDONLY}, [opened](const auto& result) { opened->set_value(result); });
    return opened->get_future();
  }

  void holdDownloadsOf(const std::string& name) { ASSERT_TRUE(worker_.addFault("stall after=1 key=" + name)); }

  /// The node that a.txt leads to once the kernel has heard of its newer version.
  Shown replace() {
    install({file("a.txt", newer_, kNewTime), file("b.txt", "second")});
    mounted_->start(test_.warpDirectory());
    waitUntilTold("changed a.txt");
    return find("a.txt");
  }

  void waitUntilTold(const std::string& line) {
    for (;;) {
      const std::vector<std::string> told = kernel_.take();
      if (std::ranges::find(told, line) != told.end()) return;
      std::this_thread::yield();
    }
  }

  void expectNewer(const struct stat& attributes) {
    EXPECT_EQ(attributes.st_size, static_cast<off_t>(newer_.size()));
    EXPECT_EQ(attributes.st_mtim.tv_sec, kNewTime);
  }

  static constexpr std::int64_t kNewTime = 1700000000;
  const std::string newer_ = std::string(300'000, 'n');
};

TEST_F(ReplacedWhileDownloading, endsAsStaleForTheOldNodeWhenTheNewVersionArrives) {
  MountRequest oneByOne;
  oneByOne.maxFetches = 1;
  mount(oneByOne);
  holdDownloadsOf("b.txt");
  Opening other = startOpening(find("b.txt").node.id);
  const Shown before = find("a.txt");
  Opening opening = startOpening(before.node.id);
  const Shown after = replace();
  ASSERT_NE(after.node.id, before.node.id);
  EXPECT_EQ(after.attributes.st_blocks, 1) << "nothing of it is here yet";

  worker_.clearFaults();
  EXPECT_TRUE(other.get());
  EXPECT_EQ(opening.get().error(), NSError::posix(ESTALE));
  waitUntilTold("attributes " + std::to_string(after.node.id));
  const auto attributes = mounted_->attributes(after.node.id);
  ASSERT_TRUE(attributes);
  expectNewer(*attributes);
  EXPECT_GE(attributes->st_blocks, 300'000 / 512);
  EXPECT_EQ(find("a.txt").node.id, after.node.id);
  EXPECT_EQ(mounted_->itemStatus(after.node).state, ItemState::cached);

  const auto opened = open(after.node.id, O_RDONLY);
  ASSERT_TRUE(opened);
  EXPECT_TRUE(bytesOf(**opened) == newer_);
  EXPECT_EQ(downloads(), 2U) << "b.txt, and the newer a.txt alone";
}

TEST_F(ReplacedWhileDownloading, endsAsStaleForTheNewNodeWhenTheOldVersionArrives) {
  holdDownloadsOf("a.txt");
  const Shown before = find("a.txt");
  Opening first = startOpening(before.node.id);
  const Shown after = replace();
  ASSERT_NE(after.node.id, before.node.id);
  Opening second = startOpening(after.node.id);

  worker_.clearFaults();
  const auto old = first.get();
  ASSERT_TRUE(old);
  EXPECT_EQ(bytesOf(**old), "first contents");
  EXPECT_EQ(second.get().error(), NSError::posix(ESTALE));
  const Shown again = find("a.txt");
  EXPECT_EQ(again.node.id, after.node.id);
  expectNewer(again.attributes);
  EXPECT_EQ(mounted_->itemStatus(again.node).state, ItemState::remote);

  const auto opened = open(again.node.id, O_RDONLY);
  ASSERT_TRUE(opened);
  EXPECT_TRUE(bytesOf(**opened) == newer_);
  EXPECT_EQ(bytesOf(**old), "first contents");
  EXPECT_EQ(downloads(), 2U);
}

}  // namespace
}  // namespace tovrin::host
