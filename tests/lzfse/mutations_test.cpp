// Damaged streams must never be read or written out of bounds, hang, or depend on how they are cut up. Meant to be run
// with the sanitizers; without them it still finds hangs and differences.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "lzfse/decode_stream.h"
#include "lzfse/fixtures.h"

namespace tovrin {
namespace {

constexpr std::size_t kLargestStream = 6000;
constexpr int kMutationsOfEach = 40;

std::size_t below(std::mt19937_64& random, std::size_t bound) { return static_cast<std::size_t>(random() % bound); }

/// A few changed bits, bytes or whole stretches. Half of the changes are made to the first bytes, where the headers
/// are.
void mutate(std::string& stream, std::mt19937_64& random) {
  for (std::size_t changes = 1 + below(random, 4); changes > 0; --changes) {
    const std::size_t reach = random() % 2 == 0 ? stream.size() : std::min<std::size_t>(stream.size(), 64);
    char& byte = stream[below(random, reach)];
    switch (random() % 4) {
      case 0:
        byte = static_cast<char>(random());
        break;
      case 1: {
        const std::size_t from = below(random, stream.size());
        stream.erase(from, 1 + below(random, 8));
        if (stream.empty()) stream = "b";
        break;
      }
      default:
        byte = static_cast<char>(byte ^ 1 << random() % 8);
        break;
    }
  }
}

std::size_t anyPiece(std::mt19937_64& random) { return std::size_t{1} << random() % 19; }

TEST(LZFSEMutations, haveTheSameOutcomeHoweverTheyAreCutUp) {
  std::mt19937_64 random(20240229);
  int corrupt = 0;
  int others = 0;
  for (const GoodStream& good : goodStreams(goodStreamsFolder())) {
    if (good.stream.size() > kLargestStream || good.decodedBytes > 1'000'000) continue;
    for (int i = 0; i < kMutationsOfEach; ++i) {
      std::string stream = good.stream;
      mutate(stream, random);
      const Pieces pieces{anyPiece(random), good.decodedBytes > 20'000 ? 4096 : anyPiece(random)};
      SCOPED_TRACE(testing::Message() << good.name << " " << i << ": " << pieces.input << " " << pieces.output);
      const DecodedStream cut = decodeStream(stream, pieces);
      const DecodedStream whole = decodeStream(stream, {stream.size(), kFileSizedPieces.output});
      // With little room, the output before an error may be waiting still when the input is used up.
      const bool waiting = cut.status == COMPRESSION_STATUS_OK && cut.bytes.size() < whole.bytes.size();
      EXPECT_TRUE(cut.status == whole.status || (waiting && whole.status == COMPRESSION_STATUS_ERROR));
      EXPECT_TRUE(whole.bytes.starts_with(cut.bytes));
      if (whole.status == COMPRESSION_STATUS_END) {
        EXPECT_EQ(cut.bytes, whole.bytes);
        EXPECT_EQ(cut.unread, whole.unread);
      }
      ++(whole.status == COMPRESSION_STATUS_ERROR ? corrupt : others);
    }
  }
  EXPECT_GT(corrupt, 1000);
  EXPECT_GT(others, 100);
}

TEST(LZFSEMutations, areCutShortAtEveryByteWithoutAnErrorOrAnEnd) {
  for (const GoodStream& good : goodStreams(goodStreamsFolder())) {
    if (good.stream.size() > 1000 || good.decodedBytes > 10'000) continue;
    for (std::size_t size = 0; size < good.stream.size(); ++size) {
      const DecodedStream decoded = decodeStream(std::string_view(good.stream).substr(0, size));
      EXPECT_EQ(decoded.status, COMPRESSION_STATUS_OK) << good.name << " cut to " << size;
      EXPECT_EQ(decoded.unread, 0U);
    }
  }
}

}  // namespace
}  // namespace tovrin
