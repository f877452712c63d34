#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/compression_stream.h"

namespace tovrin {

/// How a stream is cut up: the sizes of the input pieces and of the room for output.
struct Pieces {
  std::size_t input;
  std::size_t output;
};
inline constexpr Pieces kFileSizedPieces{256 * 1024, 256 * 1024};

struct DecodedStream {
  compression_status status;
  std::string bytes;
  std::size_t unread;
};

/// Gives the stream piece by piece, each until it is taken in, and stops at its end, at an error, or when all is given.
DecodedStream decodeStream(std::string_view stream, Pieces pieces = kFileSizedPieces);

}  // namespace tovrin
