#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "host/store/replica_store.h"
#include "host/store_fixture.h"

namespace tovrin::host {
namespace {

constexpr int kItems = 8;
constexpr std::int64_t kFileBytes = 64 << 10;

class ReplicaStoreThreads : public StoreTest {
 protected:
  static std::string contentsOf(int item) { return std::string(kFileBytes, static_cast<char>('a' + item)); }

  /// Runs `work` on several threads at once, each with random numbers of its own.
  void together(int threads, const std::function<void(std::mt19937&)>& work) {
    std::vector<std::jthread> running;
    for (int thread = 0; thread < threads; ++thread) {
      running.emplace_back([&work, thread] {
        std::mt19937 random(static_cast<unsigned>(thread));
        work(random);
      });
    }
  }
};

TEST_F(ReplicaStoreThreads, adoptOpenAndEvictAtOnce) {
  limits.cacheBytes = 6 * kFileBytes;
  open();
  std::atomic<int> files{0};
  std::atomic<int> opened{0};
  together(4, [&](std::mt19937& random) {
    for (int round = 0; round < 150; ++round) {
      const int item = static_cast<int>(random() % kItems);
      const std::string identifier = std::to_string(item);
      if (const auto file = store->openCopy(identifier, "1")) {
        EXPECT_EQ(readAll(*file), contentsOf(item));
        store->evict(identifier);  // at most a copy that came since
        EXPECT_EQ(readAll(*file), contentsOf(item));
        ++opened;
        continue;
      }
      if (random() % 8 == 0) store->dropCopy(identifier);
      auto reservation = store->reserve(kFileBytes);
      if (!reservation) continue;
      const auto file = scratch / ("file" + std::to_string(files++));
      writeFile(file, contentsOf(item));
      const auto adopted = store->adopt(identifier, "1", file, std::move(*reservation));
      EXPECT_TRUE(adopted.has_value());
      if (adopted) {
        EXPECT_EQ(readAll(**adopted), contentsOf(item));
      }
      EXPECT_LE(store->usage().cachedBytes, 6 * kFileBytes);
    }
  });
  EXPECT_GT(opened, 0);
  EXPECT_EQ(countFiles(copies()), static_cast<std::size_t>(store->usage().cachedItems));
  EXPECT_EQ(store->usage().cachedBytes, store->usage().cachedItems * kFileBytes) << "everything is closed again";
  const auto before = store->usage();
  open();
  EXPECT_EQ(store->usage().cachedItems, before.cachedItems);
}

TEST_F(ReplicaStoreThreads, beginOneEditOfAnItem) {
  const auto copy = adopt("a", "1", contentsOf(0));
  std::atomic<int> begun{0};
  together(4, [&](std::mt19937&) { begun += store->beginEdit("a", "1", copy.get()).has_value() ? 1 : 0; });
  EXPECT_EQ(begun, 1);
  EXPECT_EQ(countFiles(edits()), 1U);
}

TEST_F(ReplicaStoreThreads, editAtOnce) {
  std::atomic<int> next{0};
  together(4, [&](std::mt19937& random) {
    for (int round = 0; round < 12; ++round) {
      const int item = next++;
      const std::string identifier = std::to_string(item);
      auto edit = store->beginEdit(identifier, "1", nullptr);
      ASSERT_TRUE(edit.has_value());
      append(**edit, contentsOf(item % kItems));
      EXPECT_TRUE(store->markEdit(identifier, EditState::unsaved, random() % 4 == 0).has_value());
      EXPECT_EQ(store->evict(identifier), Evicted::edited);
      EXPECT_FALSE(store->edits().empty());
      if (item % 3 == 0) store->forgetEdit(identifier);
      if (item % 3 == 1) {
        EXPECT_TRUE(store->turnEditIntoCopy(identifier).has_value());
      }
    }
  });
  EXPECT_EQ(store->edits().size(), 16U);
  EXPECT_EQ(store->usage().cachedItems, 16);
  open();
  EXPECT_EQ(store->edits().size(), 16U);
  for (int item = 0; item < 48; ++item) {
    const auto file =
        item % 3 == 2 ? store->openEdit(std::to_string(item)) : store->openCopy(std::to_string(item), "1");
    EXPECT_EQ(file == nullptr, item % 3 == 0) << item;
    if (file) {
      EXPECT_EQ(readAll(*file), contentsOf(item % kItems)) << item;
    }
  }
}

}  // namespace
}  // namespace tovrin::host
