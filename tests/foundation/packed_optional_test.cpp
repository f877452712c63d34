#include "foundation/packed_optional.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

namespace tovrin {
namespace {

TEST(PackedOptional, takesOneByteMoreThanItsValue) {
  EXPECT_EQ(sizeof(PackedOptional<std::int64_t>), 9U);
  EXPECT_EQ(alignof(PackedOptional<std::int64_t>), 1U);
}

TEST(PackedOptional, tellsEveryValueFromNone) {
  const PackedOptional<std::int64_t> none;
  for (const std::int64_t value : {std::int64_t{0}, std::numeric_limits<std::int64_t>::min(),
                                   std::numeric_limits<std::int64_t>::max(), std::int64_t{-1}}) {
    const PackedOptional<std::int64_t> some = value;
    EXPECT_EQ(*some, value);
    EXPECT_NE(some, none);
    EXPECT_EQ(some, value);
  }
  EXPECT_EQ(none.value_or(3), 3);
}

TEST(PackedOptional, forgetsItsValue) {
  PackedOptional<std::string_view> text = std::string_view("a");
  ASSERT_TRUE(text);
  text.reset();
  EXPECT_FALSE(text);
  EXPECT_EQ(text, PackedOptional<std::string_view>());
}

TEST(PackedOptional, standsForAnOrdinaryOne) {
  const PackedOptional<std::int64_t> five = std::optional<std::int64_t>(5);
  EXPECT_EQ(std::optional<std::int64_t>(five), 5);
  EXPECT_EQ(std::optional<std::int64_t>(PackedOptional<std::int64_t>(std::optional<std::int64_t>())), std::nullopt);
}

}  // namespace
}  // namespace tovrin
