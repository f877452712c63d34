#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "lzfse/decode_stream.h"

namespace tovrin {
namespace {

using namespace std::literals;

constexpr auto kStored = "bvx-\x03\x00\x00\x00hi!bvx$"sv;

constexpr auto kLZVN =
    "bvxn\x12\x00\x00\x00\x14\x00\x00\x00"
    "\xe3"
    "abc"  // three literals
    "\x60\x03"
    "X"     // one literal, seven bytes from three back
    "\xf2"  // two bytes from the same distance
    "\x0e"  // nothing
    "\x86"
    "YZ"  // two literals, three bytes from the same distance
    "\x06\x00\x00\x00\x00\x00\x00\x00"
    "bvx$"sv;

constexpr auto kCompressed =
    "\x62\x76\x78\x32\x28\x00\x00\x00\x0c\x00\x40\x00\x00\x03\x00\x00"
    "\x70\x42\x08\xf1\x94\x0a\x00\x70\x8c\x00\x00\x00\x2f\x90\x00\x09"
    "\x9c\x73\xcd\x35\x00\x00\x00\x00\x9c\xc3\x35\x00\xc0\x35\xf0\x3e"
    "\xf0\x3d\x00\xdf\x03\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
    "\x00\x00\x00\x9f\x0e\x00\x00\x00\x00\x00\x00\x00\xc0\xf7\x00\x00"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x3c\x3a"
    "\xdf\x03\x00\x00\xf0\xe8\x00\x7c\x0f\x00\x00\x00\x00\x00\x00\x00"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\xc0\x9f\xd2\x00"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x11\xb5\x62\x76\x78\x24"sv;

void expectDecodes(std::string_view stream, std::string_view bytes) {
  for (std::size_t input = 1; input <= stream.size(); ++input) {
    for (std::size_t output = 1; output <= bytes.size() + 1; ++output) {
      const DecodedStream decoded = decodeStream(stream, {input, output});
      EXPECT_EQ(decoded.status, COMPRESSION_STATUS_END);
      EXPECT_EQ(decoded.bytes, bytes);
      EXPECT_EQ(decoded.unread, 0U);
    }
  }
}

TEST(LZFSEExamples, storedBlockGivesItsBytes) { expectDecodes(kStored, "hi!"); }

TEST(LZFSEExamples, lzvnBlockRunsItsOpcodes) { expectDecodes(kLZVN, "abcXbcXbcXbcXYZXYZ"); }

TEST(LZFSEExamples, compressedBlockRunsItsTriplets) {
  expectDecodes(kCompressed, "bananananananasasas!anasasas!anasasas!an");
}

TEST(LZFSEExamples, endOfStreamAloneIsAnEmptyStream) { expectDecodes("bvx$", ""); }

}  // namespace
}  // namespace tovrin
