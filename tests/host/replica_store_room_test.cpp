#include <gtest/gtest.h>

#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "host/store/replica_store.h"
#include "host/store/store_room.h"
#include "host/store_fixture.h"
#include "support/child_process.h"

namespace tovrin::host {
namespace {

constexpr std::int64_t kMiB = 1 << 20;

/// A store that holds four files of this test.
class ReplicaStoreRoom : public StoreTest {
 protected:
  static constexpr std::int64_t kFileBytes = kMiB;

  ReplicaStoreRoom() {
    limits.cacheBytes = 4 * kFileBytes;
    open();
  }

  std::unique_ptr<Reservation> reserve(std::int64_t bytes) {
    auto reserved = store->reserve(bytes);
    EXPECT_TRUE(reserved.has_value()) << reserved.error().localizedDescription();
    return reserved ? std::move(*reserved) : nullptr;
  }
  std::shared_ptr<LocalFile> download(const std::string& identifier) {
    auto reservation = reserve(kFileBytes);
    auto adopted = store->adopt(identifier, "1", delivered(std::string(kFileBytes, 'x')), std::move(reservation));
    EXPECT_TRUE(adopted.has_value()) << adopted.error().localizedDescription();
    return adopted ? *adopted : nullptr;
  }
  /// Downloads them, the first one first, and keeps none open.
  void fill(const std::vector<std::string>& identifiers) {
    for (const std::string& identifier : identifiers) EXPECT_NE(download(identifier), nullptr);
  }
  std::string here() const {
    std::string here;
    for (const std::string identifier : {"a", "b", "c", "d", "e", "f"}) {
      if (isHere(identifier)) here += identifier;
    }
    return here;
  }
  /// The sentence of a reservation that has to fail.
  std::string refusal(std::int64_t bytes) {
    const auto reserved = store->reserve(bytes);
    if (reserved.has_value()) return "reserved";
    EXPECT_EQ(reserved.error().domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(reserved.error().code(), ENOSPC);
    return reserved.error().localizedDescription();
  }
};

TEST_F(ReplicaStoreRoom, evictsTheLeastRecentlyOpenedCopies) {
  fill({"a", "b", "c", "d"});
  EXPECT_NE(store->openCopy("a", "1"), nullptr);
  fill({"e"});
  EXPECT_EQ(here(), "acde");
  fill({"f"});
  EXPECT_EQ(here(), "adef");
  EXPECT_EQ(countFiles(copies()), 4U);
  EXPECT_EQ(store->usage().cachedBytes, 4 * kFileBytes);
}

TEST_F(ReplicaStoreRoom, remembersTheOrderOfOpenings) {
  fill({"a", "b", "c", "d"});
  EXPECT_NE(store->openCopy("b", "1"), nullptr);
  EXPECT_NE(store->openCopy("a", "1"), nullptr);
  open();
  fill({"e", "f"});
  EXPECT_EQ(here(), "abef");
}

TEST_F(ReplicaStoreRoom, remembersTheOrderOfOpeningsBeforeTheLastDownloadWhenItIsKilled) {
  fill({"a", "b", "c"});
  close();
  EXPECT_EQ(inChild([this] {
              open();
              EXPECT_NE(store->openCopy("a", "1"), nullptr);
              fill({"d"});
              if (HasFailure()) _exit(1);
              _exit(0);  // nothing is closed
            }),
            0);
  open();
  fill({"e", "f"});
  EXPECT_EQ(here(), "adef");
}

TEST_F(ReplicaStoreRoom, evictsAsFewAsItCan) {
  fill({"a", "b", "c"});
  const auto reservation = reserve(2 * kFileBytes);
  EXPECT_EQ(here(), "bc");
}

TEST_F(ReplicaStoreRoom, keepsWhatIsOpen) {
  const auto open = download("a");
  fill({"b", "c", "d"});
  const auto reservation = reserve(2 * kFileBytes);
  EXPECT_EQ(here(), "ad");
}

TEST_F(ReplicaStoreRoom, keepsEdits) {
  fill({"a", "b", "c", "d"});
  static_cast<void>(beginEdit("a", "1", store->openCopy("a", "1").get()));
  mark("a", EditState::saved);
  const auto reservation = reserve(4 * kFileBytes);
  EXPECT_EQ(readAll(*store->openEdit("a")), std::string(kFileBytes, 'x'));
  EXPECT_EQ(store->usage().cachedItems, 0) << "the copy below an edit is a copy";
}

TEST_F(ReplicaStoreRoom, doesNotCountEdits) {
  append(*beginEdit("a", "1"), std::string(8 * kFileBytes, 'x'));
  EXPECT_EQ(store->usage().cachedBytes, 0);
  EXPECT_NE(reserve(4 * kFileBytes), nullptr);
}

TEST_F(ReplicaStoreRoom, countsCopiesThatAreGoneAndStillOpen) {
  auto file = download("a");
  store->dropCopy("a");
  EXPECT_EQ(store->usage().cachedBytes, kFileBytes);
  EXPECT_EQ(store->usage().cachedItems, 0);
  EXPECT_NE(refusal(4 * kFileBytes), "reserved");
  EXPECT_NE(reserve(3 * kFileBytes), nullptr);
  file.reset();
  EXPECT_EQ(store->usage().cachedBytes, 0);
  EXPECT_NE(reserve(4 * kFileBytes), nullptr);
}

TEST_F(ReplicaStoreRoom, countsReservationsUntilTheyAreGivenBack) {
  auto first = reserve(3 * kFileBytes);
  EXPECT_NE(refusal(2 * kFileBytes), "reserved");
  auto second = reserve(kFileBytes);
  first.reset();
  EXPECT_NE(reserve(3 * kFileBytes), nullptr);
  EXPECT_NE(refusal(4 * kFileBytes), "reserved");
}

TEST_F(ReplicaStoreRoom, givesAReservationBackWhenTheFileIsThere) {
  auto reservation = reserve(4 * kFileBytes);
  ASSERT_TRUE(store->adopt("a", "1", delivered("little"), std::move(reservation)).has_value());
  EXPECT_LT(store->usage().cachedBytes, kFileBytes);
  EXPECT_NE(reserve(3 * kFileBytes), nullptr);
  EXPECT_TRUE(isHere("a"));
}

TEST_F(ReplicaStoreRoom, givesAReservationBackWhenTheFileCannotBeAdopted) {
  ASSERT_FALSE(store->adopt("a", "1", scratch / "missing", reserve(4 * kFileBytes)).has_value());
  EXPECT_NE(reserve(4 * kFileBytes), nullptr);
}

TEST_F(ReplicaStoreRoom, letsReservationsAndFilesOutliveTheStore) {
  const auto reservation = reserve(kFileBytes);
  const auto file = download("a");
  store->dropCopy("a");
  close();
  EXPECT_EQ(readAll(*file).size(), static_cast<std::size_t>(kFileBytes));
}

TEST_F(ReplicaStoreRoom, keepsTheLimitWhenAFileIsLargerThanReserved) {
  fill({"a", "b", "c"});
  ASSERT_TRUE(store->adopt("d", "1", delivered(std::string(3 * kFileBytes, 'x')), reserve(kFileBytes)).has_value());
  EXPECT_EQ(here(), "cd");
}

TEST_F(ReplicaStoreRoom, countsWhatASparseFileTakes) {
  const auto sparse = scratch / "sparse";
  writeFile(sparse, "start");
  std::filesystem::resize_file(sparse, 64 * kMiB);
  ASSERT_TRUE(store->adopt("a", "1", sparse, nullptr).has_value());
  fill({"b", "c", "d"});
  EXPECT_EQ(here(), "abcd");
}

TEST_F(ReplicaStoreRoom, evictsDownToASmallerLimitWhenItIsOpened) {
  fill({"a", "b", "c", "d"});
  limits.cacheBytes = 2 * kFileBytes;
  open();
  EXPECT_EQ(here(), "cd");
  EXPECT_EQ(countFiles(copies()), 2U);
}

TEST_F(ReplicaStoreRoom, evictsNothingForAFileThatCannotFit) {
  fill({"a", "b"});
  EXPECT_EQ(refusal(5 * kFileBytes),
            "A file of 5.0 MiB is too large to be opened here: all local copies together may take 4.0 MiB.");
  EXPECT_EQ(here(), "ab");

  const auto open = store->openCopy("a", "1");
  EXPECT_EQ(refusal(4 * kFileBytes),
            "There is no room for 4.0 MiB: local copies may take 4.0 MiB, and 1.0 MiB of that are taken by files that "
            "are open or being downloaded.");
  EXPECT_EQ(here(), "ab");
}

TEST_F(ReplicaStoreRoom, leavesTheDiskItsShare) {
  limits.keepFree = 1;
  open();
  const std::string sentence = refusal(kFileBytes);
  EXPECT_TRUE(sentence.starts_with("There is not enough free disk space: 1.0 MiB are needed, ")) << sentence;
  EXPECT_TRUE(sentence.ends_with("Removing local copies would free 0 bytes.")) << sentence;
}

TEST_F(ReplicaStoreRoom, survivesAbsurdNumbers) {
  EXPECT_NE(refusal(std::numeric_limits<std::int64_t>::max()), "reserved");
  limits.cacheBytes = std::numeric_limits<std::int64_t>::max();
  open();
  EXPECT_NE(refusal(std::numeric_limits<std::int64_t>::max()), "reserved");
  EXPECT_NE(reserve(-1), nullptr);
  EXPECT_NE(reserve(0), nullptr);
  limits.cacheBytes = -1;
  open();
  EXPECT_NE(refusal(1), "reserved");
}

TEST(StoreRoom, missesWhatTheTighterBoundWants) {
  EXPECT_EQ((StoreRoom{.needed = 10, .used = 80, .limit = 100, .free = 1000, .kept = 100}.missing()), -10);
  EXPECT_EQ((StoreRoom{.needed = 10, .used = 95, .limit = 100, .free = 1000, .kept = 100}.missing()), 5);
  EXPECT_EQ((StoreRoom{.needed = 10, .used = 95, .limit = 100, .free = 103, .kept = 100}.missing()), 7);
}

TEST(StoreRoom, isMeasuredOnTheDisk) {
  const ScratchFolder scratch;
  struct statvfs disk{};
  ASSERT_EQ(statvfs(scratch.path().c_str(), &disk), 0);
  const auto room = measureRoom(scratch.path(), {.cacheBytes = 100, .keepFree = 0.5}, 1, 3, 2);
  ASSERT_TRUE(room.has_value());
  EXPECT_EQ(room->needed, 1);
  EXPECT_EQ(room->used, 3);
  EXPECT_EQ(room->limit, 100);
  EXPECT_NEAR(static_cast<double>(room->kept), 0.5 * static_cast<double>(disk.f_blocks * disk.f_frsize), 1e6);
  EXPECT_GT(room->free, 0);
  EXPECT_FALSE(measureRoom(scratch / "missing", {}, 1, 0, 0).has_value());
}

TEST(StoreRoom, namesTheNumbersOfAFullDisk) {
  const StoreRoom room{.needed = kMiB, .used = 0, .limit = 100 * kMiB, .free = 20 * kMiB, .kept = 30 * kMiB};
  EXPECT_EQ(
      noRoomError(room, 2 * kMiB).localizedDescription(),
      "There is not enough free disk space: 1.0 MiB are needed, 20.0 MiB are free, and 30.0 MiB are to stay free. "
      "Removing local copies would free 2.0 MiB.");
}

}  // namespace
}  // namespace tovrin::host
