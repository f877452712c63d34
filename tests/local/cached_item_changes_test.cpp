#include "local/cached_item_changes.h"

#include <gtest/gtest.h>

#include <vector>

#include "local/cached_items.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

class WaitingChanges : public testing::Test {
 protected:
  const CachedItemReplacement replacement_ = [](const Record*) { return Record{}; };
  CachedItemChange a_{"w1", "/a", replacement_, {}};
  CachedItemChange b_{"w1", "/b", replacement_, {}};
  CachedItemChanges changes_;
};

TEST_F(WaitingChanges, areTakenInTheirOrderAndOnce) {
  changes_.add(b_);
  changes_.add(a_);
  EXPECT_EQ(changes_.takeAll(), (std::vector{&b_, &a_}));
  EXPECT_TRUE(changes_.takeAll().empty());
}

TEST_F(WaitingChanges, canBeWithdrawnUntilTheyAreTaken) {
  changes_.add(a_);
  changes_.add(b_);
  EXPECT_TRUE(changes_.withdraw(a_));
  EXPECT_EQ(changes_.takeAll(), std::vector{&b_});
  EXPECT_FALSE(changes_.withdraw(b_));
}

}  // namespace
}  // namespace tovrin
