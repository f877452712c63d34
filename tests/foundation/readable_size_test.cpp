#include "foundation/readable_size.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace tovrin {
namespace {

TEST(ReadableSize, countsSmallSizesInBytes) {
  EXPECT_EQ(readableSize(0), "0 bytes");
  EXPECT_EQ(readableSize(1), "1 byte");
  EXPECT_EQ(readableSize(1023), "1023 bytes");
}

TEST(ReadableSize, writesLargeSizesWithOneDigitAfterThePoint) {
  EXPECT_EQ(readableSize(1024), "1.0 KiB");
  EXPECT_EQ(readableSize(1536), "1.5 KiB");
  EXPECT_EQ(readableSize(std::int64_t{10} << 30), "10.0 GiB");
  EXPECT_EQ(readableSize(std::numeric_limits<std::int64_t>::max()), "8.0 EiB");
}

TEST(ReadableSize, neverShowsAThousandAndTwentyFour) {
  EXPECT_EQ(readableSize((1 << 20) - 1), "1.0 MiB");
  EXPECT_EQ(readableSize((1 << 20) - 100), "1023.9 KiB");
}

}  // namespace
}  // namespace tovrin
