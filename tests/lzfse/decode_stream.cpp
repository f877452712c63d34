#include "lzfse/decode_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace tovrin {
namespace {

/// Copies a piece into an allocation of exactly its size, so that AddressSanitizer sees a step beyond it.
std::unique_ptr<std::uint8_t[]> ownAllocation(std::string_view piece) {
  auto bytes = std::make_unique<std::uint8_t[]>(piece.size());
  std::ranges::copy(piece, bytes.get());
  return bytes;
}

}  // namespace

DecodedStream decodeStream(std::string_view stream, Pieces pieces) {
  DecodedStream decoded{COMPRESSION_STATUS_OK, {}, stream.size()};
  compression_stream state;
  EXPECT_EQ(compression_stream_init(&state, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE), COMPRESSION_STATUS_OK);
  std::vector<std::uint8_t> output(pieces.output);
  while (decoded.unread > 0 && decoded.status == COMPRESSION_STATUS_OK) {
    const std::string_view piece = stream.substr(stream.size() - decoded.unread, pieces.input);
    const auto bytes = ownAllocation(piece);
    state.src_ptr = bytes.get();
    state.src_size = piece.size();
    do {
      state.dst_ptr = output.data();
      state.dst_size = output.size();
      decoded.status = compression_stream_process(&state, 0);
      EXPECT_EQ(state.src_ptr + state.src_size, bytes.get() + piece.size());
      EXPECT_EQ(state.dst_ptr + state.dst_size, output.data() + output.size());
      if (decoded.status == COMPRESSION_STATUS_OK) {
        EXPECT_TRUE(state.src_size == 0 || state.dst_size == 0);
      }
      decoded.bytes.append(output.begin(), output.end() - static_cast<std::ptrdiff_t>(state.dst_size));
    } while (decoded.status == COMPRESSION_STATUS_OK && state.src_size > 0);
    decoded.unread -= piece.size() - state.src_size;
  }
  EXPECT_EQ(compression_stream_destroy(&state), COMPRESSION_STATUS_OK);
  return decoded;
}

}  // namespace tovrin
