// Any bytes are a stream, cut into pieces of any size. The first two bytes choose the sizes; the outcome must not
// depend on them.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "platform/compression_stream.h"

namespace tovrin {
namespace {

/// Output beyond this says nothing new and takes long.
constexpr std::size_t kEnoughOutput = 4 << 20;

struct Outcome {
  compression_status status;
  std::vector<std::uint8_t> output;
};

Outcome decode(std::span<const std::uint8_t> stream, std::size_t inputPiece, std::size_t outputPiece) {
  Outcome outcome{COMPRESSION_STATUS_OK, {}};
  compression_stream state;
  if (compression_stream_init(&state, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE) != COMPRESSION_STATUS_OK) {
    std::abort();
  }
  while (!stream.empty() && outcome.status == COMPRESSION_STATUS_OK && outcome.output.size() < kEnoughOutput) {
    const std::size_t count = std::min(inputPiece, stream.size());
    // An allocation of its own, so that the sanitizer sees a step beyond the piece.
    const auto piece = std::make_unique<std::uint8_t[]>(count);
    std::copy_n(stream.data(), count, piece.get());
    stream = stream.subspan(count);
    state.src_ptr = piece.get();
    state.src_size = count;
    do {
      const std::size_t made = outcome.output.size();
      outcome.output.resize(made + outputPiece);
      state.dst_ptr = outcome.output.data() + made;
      state.dst_size = outputPiece;
      outcome.status = compression_stream_process(&state, 0);
      outcome.output.resize(outcome.output.size() - state.dst_size);
      if (outcome.status == COMPRESSION_STATUS_OK && state.src_size > 0 && state.dst_size > 0) std::abort();
      // A full output may hide more, even when the input is used up.
    } while (outcome.status == COMPRESSION_STATUS_OK && state.dst_size == 0 && outcome.output.size() < kEnoughOutput);
  }
  compression_stream_destroy(&state);
  return outcome;
}

}  // namespace
}  // namespace tovrin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tovrin;
  if (size < 2) return 0;
  constexpr std::array<std::size_t, 8> kPieces{1, 2, 7, 16, 100, 1000, 4096, 262144};
  const std::span<const std::uint8_t> stream(data + 2, size - 2);
  const Outcome cut = decode(stream, kPieces[data[0] & 7], kPieces[data[1] & 7]);
  if (cut.output.size() >= kEnoughOutput) return 0;
  const Outcome whole = decode(stream, stream.size(), kPieces.back());
  if (cut.status != whole.status || cut.output != whole.output) std::abort();
  return 0;
}
