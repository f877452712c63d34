#include <gtest/gtest.h>

#include "lzfse/decode_stream.h"
#include "lzfse/fixtures.h"
#include "platform/sha256.h"

namespace tovrin {
namespace {

const std::filesystem::path kSharedStreams = std::filesystem::path(TOVRIN_SHARED_FIXTURES) / "lzfse";
const std::filesystem::path kSharedDamagedStreams = std::filesystem::path(TOVRIN_SHARED_FIXTURES) / "lzfse-bad";

void expectDecodes(const GoodStream& good, std::size_t unread, Pieces pieces) {
  SCOPED_TRACE(testing::Message() << good.name << " in pieces of " << pieces.input << " and " << pieces.output);
  const DecodedStream decoded = decodeStream(good.stream, pieces);
  EXPECT_EQ(decoded.status, COMPRESSION_STATUS_END);
  EXPECT_EQ(decoded.unread, unread);
  ASSERT_EQ(decoded.bytes.size(), good.decodedBytes);
  EXPECT_EQ(sha256Hex(decoded.bytes), good.sha256);
}

/// Small rooms for output mean many calls, so large streams get larger ones.
std::vector<Pieces> piecesFor(const GoodStream& good) {
  std::vector<Pieces> pieces;
  for (const std::size_t input : {1, 7, 4096, 262144}) pieces.push_back({input, kFileSizedPieces.output});
  if (good.decodedBytes <= 100'000) {
    for (const std::size_t output : {1, 2, 13, 1000}) {
      pieces.push_back({1, output});
      pieces.push_back({good.stream.size() + 1, output});
    }
  } else {
    pieces.push_back({good.stream.size(), 4099});
    pieces.push_back({good.stream.size(), good.decodedBytes});
  }
  return pieces;
}

void expectAllDecode(const std::filesystem::path& folder) {
  const std::vector<GoodStream> streams = goodStreams(folder);
  EXPECT_FALSE(streams.empty());
  for (const GoodStream& good : streams) {
    for (const Pieces pieces : piecesFor(good)) expectDecodes(good, 0, pieces);
  }
}

void expectOutcome(const DamagedStream& damaged, Pieces pieces) {
  using enum DamagedStream::Outcome;
  SCOPED_TRACE(testing::Message() << damaged.name << " in pieces of " << pieces.input << " and " << pieces.output);
  if (damaged.outcome == valid) {
    expectDecodes(*damaged.decoded, damaged.unread, pieces);
    return;
  }
  const DecodedStream decoded = decodeStream(damaged.stream, pieces);
  if (damaged.outcome == corrupt) {
    EXPECT_EQ(decoded.status, COMPRESSION_STATUS_ERROR);
  }
  if (damaged.outcome == truncated) {
    EXPECT_EQ(decoded.status, COMPRESSION_STATUS_OK);
    EXPECT_EQ(decoded.unread, 0U);
  }
  if (damaged.outcome == either) {
    EXPECT_NE(decoded.status, COMPRESSION_STATUS_END);
  }
}

void expectAllOutcomes(const std::filesystem::path& folder) {
  const std::vector<DamagedStream> streams = damagedStreams(folder);
  EXPECT_FALSE(streams.empty());
  for (const DamagedStream& damaged : streams) {
    for (const std::size_t input : {1UL, 7UL, 4096UL, damaged.stream.size() + 1}) {
      for (const std::size_t output : {1UL, 100UL, 262144UL}) expectOutcome(damaged, {input, output});
    }
  }
}

TEST(LZFSEStreamFiles, decodeToTheirDigestsHoweverTheyAreCutUp) { expectAllDecode(goodStreamsFolder()); }

TEST(LZFSEStreamFiles, giveTheExpectedOutcomeWhenDamaged) { expectAllOutcomes(damagedStreamsFolder()); }

TEST(LZFSEStreamFiles, decodeToTheirDigestsInTheLargeSet) {
  if (!std::filesystem::exists(kSharedStreams)) GTEST_SKIP() << "no folder of large streams: " << kSharedStreams;
  expectAllDecode(kSharedStreams);
}

TEST(LZFSEStreamFiles, giveTheExpectedOutcomeWhenDamagedInTheLargeSet) {
  if (!std::filesystem::exists(kSharedDamagedStreams)) {
    GTEST_SKIP() << "no folder of damaged streams: " << kSharedDamagedStreams;
  }
  expectAllOutcomes(kSharedDamagedStreams);
}

}  // namespace
}  // namespace tovrin
