// Decodes a file of LZFSE and lets the bytes go, with nothing around it: the anchor of materializing such a payload.
//   decode_file FILE     prints the seconds

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <vector>

#include "platform/compression_stream.h"

namespace {

constexpr std::size_t kPieceBytes = 256 * 1024;

bool decodes(int file) {
  std::vector<std::uint8_t> encoded(kPieceBytes);
  std::vector<std::uint8_t> decoded(kPieceBytes);
  tovrin::compression_stream state;
  if (compression_stream_init(&state, tovrin::COMPRESSION_STREAM_DECODE, tovrin::COMPRESSION_LZFSE) !=
      tovrin::COMPRESSION_STATUS_OK) {
    return false;
  }
  tovrin::compression_status status = tovrin::COMPRESSION_STATUS_OK;
  for (ssize_t got = 0;
       status == tovrin::COMPRESSION_STATUS_OK && (got = read(file, encoded.data(), kPieceBytes)) > 0;) {
    state.src_ptr = encoded.data();
    state.src_size = static_cast<std::size_t>(got);
    do {
      state.dst_ptr = decoded.data();
      state.dst_size = decoded.size();
      status = compression_stream_process(&state, 0);
    } while (status == tovrin::COMPRESSION_STATUS_OK && (state.src_size > 0 || state.dst_size == 0));
  }
  compression_stream_destroy(&state);
  return status == tovrin::COMPRESSION_STATUS_END;
}

}  // namespace

int main(int argc, char** argv) {
  const int file = argc == 2 ? open(argv[1], O_RDONLY) : -1;
  const auto begin = std::chrono::steady_clock::now();
  if (file < 0 || !decodes(file)) return 1;
  std::printf("%.6f\n", std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
}
