#include "platform/compression_stream.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

#include "lzfse/decode_stream.h"

namespace tovrin {
namespace {

using namespace std::literals;

constexpr auto kHello = "bvx-\x05\x00\x00\x00hellobvx$"sv;

class CompressionStream : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(compression_stream_init(&stream_, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE), COMPRESSION_STATUS_OK);
  }
  void TearDown() override { EXPECT_EQ(compression_stream_destroy(&stream_), COMPRESSION_STATUS_OK); }

  /// One call; `room_` bytes of output at most. What is made is added to `output_`.
  compression_status process(std::string_view input, int flags = 0) {
    stream_.src_ptr = reinterpret_cast<const std::uint8_t*>(input.data());
    stream_.src_size = input.size();
    stream_.dst_ptr = buffer_.data();
    stream_.dst_size = room_;
    const compression_status status = compression_stream_process(&stream_, flags);
    output_.append(buffer_.data(), buffer_.data() + (room_ - stream_.dst_size));
    return status;
  }

  compression_stream stream_;
  std::array<std::uint8_t, 64> buffer_;
  std::size_t room_ = buffer_.size();
  std::string output_;
};

TEST_F(CompressionStream, endsWithoutBeingToldToFinalize) {
  EXPECT_EQ(process(kHello), COMPRESSION_STATUS_END);
  EXPECT_EQ(output_, "hello");
}

TEST_F(CompressionStream, leavesBytesBehindTheEndUnread) {
  EXPECT_EQ(process("bvx-\x05\x00\x00\x00hellobvx$more"sv), COMPRESSION_STATUS_END);
  EXPECT_EQ(stream_.src_size, 4U);
  EXPECT_EQ(process("more"), COMPRESSION_STATUS_END);
  EXPECT_EQ(stream_.src_size, 4U);
  EXPECT_EQ(output_, "hello");
}

TEST_F(CompressionStream, isNotAtItsEndBeforeAllOutputIsHandedOut) {
  room_ = 2;
  EXPECT_EQ(process(kHello), COMPRESSION_STATUS_OK);
  EXPECT_EQ(output_, "he");
  EXPECT_GT(stream_.src_size, 0U);
}

TEST_F(CompressionStream, endsWhenTheOutputFitsExactly) {
  room_ = 5;
  EXPECT_EQ(process(kHello), COMPRESSION_STATUS_END);
}

TEST_F(CompressionStream, staysInErrorAfterCorruptData) {
  EXPECT_EQ(process("bvx?"), COMPRESSION_STATUS_ERROR);
  EXPECT_EQ(process(kHello), COMPRESSION_STATUS_ERROR);
  EXPECT_EQ(output_, "");
}

TEST_F(CompressionStream, waitsForMoreWhenCutShort) {
  EXPECT_EQ(process(kHello.substr(0, 10)), COMPRESSION_STATUS_OK);
  EXPECT_EQ(stream_.src_size, 0U);
  EXPECT_EQ(output_, "he");
  EXPECT_EQ(process(""), COMPRESSION_STATUS_OK);
  EXPECT_EQ(process(kHello.substr(10)), COMPRESSION_STATUS_END);
  EXPECT_EQ(output_, "hello");
}

TEST_F(CompressionStream, refusesToBeFinalizedWhenCutShort) {
  EXPECT_EQ(process(kHello.substr(0, 10), COMPRESSION_STREAM_FINALIZE), COMPRESSION_STATUS_ERROR);
}

TEST_F(CompressionStream, isFinalizedAtItsEnd) {
  EXPECT_EQ(process(kHello, COMPRESSION_STREAM_FINALIZE), COMPRESSION_STATUS_END);
}

TEST_F(CompressionStream, takesNothingFromAnEmptyCall) {
  stream_.src_ptr = nullptr;
  stream_.src_size = 0;
  stream_.dst_ptr = nullptr;
  stream_.dst_size = 0;
  EXPECT_EQ(compression_stream_process(&stream_, 0), COMPRESSION_STATUS_OK);
}

TEST(CompressionStreamInit, knowsNothingButDecodingLZFSE) {
  compression_stream stream;
  EXPECT_EQ(compression_stream_init(&stream, static_cast<compression_stream_operation>(0), COMPRESSION_LZFSE),
            COMPRESSION_STATUS_ERROR);
  EXPECT_EQ(compression_stream_init(&stream, COMPRESSION_STREAM_DECODE, static_cast<compression_algorithm>(0x100)),
            COMPRESSION_STATUS_ERROR);
}

TEST(CompressionStreamDestroy, isAnErrorWithoutAStream) {
  compression_stream stream;
  EXPECT_EQ(compression_stream_process(&stream, 0), COMPRESSION_STATUS_ERROR);
  EXPECT_EQ(compression_stream_destroy(&stream), COMPRESSION_STATUS_ERROR);
}

TEST(CompressionStreamOutput, isCompleteForACallerThatOnlyWaitsForItsInputToBeTaken) {
  // 64 KiB of zeros come out of a few bytes, far more than one call has room for.
  std::string stream = "bvxn"s + "\x00\x00\x01\x00"s;
  std::string payload = "\xe1\x00"s + "\x00\x01"s;  // a literal, then 3 bytes from 1 back
  const std::size_t bytes = 1 << 16;
  std::size_t made = 4;
  for (; made + 271 <= bytes; made += 271) payload += "\xf0\xff"s;
  for (; made < bytes; ++made) payload += '\xf1';
  payload += "\x06\0\0\0\0\0\0\0"s;
  for (int shift = 0; shift < 32; shift += 8) stream += static_cast<char>(payload.size() >> shift & 0xff);
  stream += payload + "bvx$";
  const DecodedStream decoded = decodeStream(stream, {stream.size(), 100});
  EXPECT_EQ(decoded.status, COMPRESSION_STATUS_END);
  EXPECT_EQ(decoded.bytes, std::string(bytes, '\0'));
}

}  // namespace
}  // namespace tovrin
