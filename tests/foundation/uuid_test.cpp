#include "foundation/uuid.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace tovrin {
namespace {

TEST(UUID, isARandomOneInUpperCase) {
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = makeUUIDString();
    EXPECT_TRUE(std::regex_match(uuid, form)) << uuid;
  }
}

TEST(UUID, isNewEveryTime) {
  std::set<std::string> uuids;
  for (int i = 0; i < 1000; ++i) uuids.insert(makeUUIDString());
  EXPECT_EQ(uuids.size(), 1000u);
}

}  // namespace
}  // namespace tovrin
