#include "lzfse/bits.h"

#include <gtest/gtest.h>

#include <random>

namespace tovrin::lzfse {
namespace {

TEST(Bits, takesTheLowestOfAWord) {
  EXPECT_EQ(PortableBits::lowest(~std::uint64_t{0}, 0), 0U);
  EXPECT_EQ(PortableBits::lowest(~std::uint64_t{0}, 1), 1U);
  EXPECT_EQ(PortableBits::lowest(0xfedcba9876543210, 23), 0x543210U);
  EXPECT_EQ(PortableBits::lowest(~std::uint64_t{0}, 31), 0x7fffffffU);
}

#if defined(__x86_64__)

TEST(Bits, areTheSameWithTheInstructionForIt) {
  if (!__builtin_cpu_supports("bmi2")) GTEST_SKIP() << "this processor has no BMI2";
  std::mt19937_64 random(3);
  for (int i = 0; i < 1000; ++i) {
    const std::uint64_t value = random();
    for (std::uint64_t count = 0; count < 32; ++count) {
      ASSERT_EQ(BMI2Bits::lowest(value, count), PortableBits::lowest(value, count)) << value << " " << count;
    }
  }
}

#endif

}  // namespace
}  // namespace tovrin::lzfse
