// Decodes fixed streams of compressed and of LZVN blocks, for its instructions to be counted.

#include <cstdlib>
#include <string>
#include <vector>

#include "lzfse_encoder/lzfse_encoder.h"
#include "platform/compression_stream.h"
#include "pseudo_text.h"

namespace {

bool decodesTo(const std::string& stream, const std::string& bytes) {
  using namespace tovrin;
  std::string decoded(bytes.size() + 1, '\0');
  compression_stream state;
  if (compression_stream_init(&state, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE) != COMPRESSION_STATUS_OK) {
    return false;
  }
  state.src_ptr = reinterpret_cast<const std::uint8_t*>(stream.data());
  state.src_size = stream.size();
  state.dst_ptr = reinterpret_cast<std::uint8_t*>(decoded.data());
  state.dst_size = decoded.size();
  const compression_status status = compression_stream_process(&state, 0);
  compression_stream_destroy(&state);
  decoded.resize(decoded.size() - state.dst_size);
  return status == COMPRESSION_STATUS_END && decoded == bytes;
}

}  // namespace

int main(int argc, char**) {
  // One of compressed blocks; then small ones, each a single LZVN block.
  std::vector<std::string> contents{tovrin::pseudoText(256 * 1024, 1)};
  for (std::uint64_t seed = 2; seed < 20; ++seed) contents.push_back(tovrin::pseudoText(4000, seed));
  std::vector<std::string> streams;
  for (const std::string& bytes : contents) streams.push_back(tovrin::encodeLZFSE(bytes));
  if (argc > 1) return EXIT_SUCCESS;  // everything but the work itself
  bool intact = true;
  // Often enough that the making of the streams does not drown it.
  for (int time = 0; time < 10; ++time) {
    for (std::size_t i = 0; i < streams.size(); ++i) intact &= decodesTo(streams[i], contents[i]);
  }
  return intact ? EXIT_SUCCESS : EXIT_FAILURE;
}
