// Decoding LZFSE in pieces of 256 KiB, as a payload is decoded, against memcpy of the output in the same run.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/compression_stream.h"

namespace tovrin {
namespace {

constexpr std::size_t kPieceBytes = 256 * 1024;

/// The size of the output; 0 when the stream did not reach its end.
std::size_t decode(std::string_view stream, std::vector<std::uint8_t>& piece) {
  compression_stream state;
  if (compression_stream_init(&state, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE) != COMPRESSION_STATUS_OK) return 0;
  std::size_t decoded = 0;
  compression_status status = COMPRESSION_STATUS_OK;
  for (std::size_t offset = 0; offset < stream.size() && status == COMPRESSION_STATUS_OK; offset += kPieceBytes) {
    const std::string_view input = stream.substr(offset, kPieceBytes);
    state.src_ptr = reinterpret_cast<const std::uint8_t*>(input.data());
    state.src_size = input.size();
    do {
      state.dst_ptr = piece.data();
      state.dst_size = piece.size();
      status = compression_stream_process(&state, 0);
      benchmark::DoNotOptimize(piece.data());
      decoded += piece.size() - state.dst_size;
    } while (status == COMPRESSION_STATUS_OK && state.src_size > 0);
  }
  compression_stream_destroy(&state);
  return status == COMPRESSION_STATUS_END ? decoded : 0;
}

void decodeStream(benchmark::State& state, const std::string& stream) {
  std::vector<std::uint8_t> piece(kPieceBytes);
  std::size_t decoded = 0;
  for (auto _ : state) decoded = decode(stream, piece);
  if (decoded == 0) state.SkipWithError("the stream does not decode");
  state.SetBytesProcessed(static_cast<std::int64_t>(decoded) * static_cast<std::int64_t>(state.iterations()));
  state.counters["ratio"] = static_cast<double>(decoded) / static_cast<double>(stream.size());
}

/// The anchor: what it takes to move bytes that are in memory, 32 MiB in pieces.
void copyPieces(benchmark::State& state) {
  const std::vector<std::uint8_t> bytes(128 * kPieceBytes, 1);
  std::vector<std::uint8_t> piece(kPieceBytes);
  for (auto _ : state) {
    for (std::size_t offset = 0; offset < bytes.size(); offset += kPieceBytes) {
      std::memcpy(piece.data(), bytes.data() + offset, kPieceBytes);
      benchmark::DoNotOptimize(piece.data());
      benchmark::ClobberMemory();
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes.size()) * static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(copyPieces);

/// Every stream of 100 KB and more of the large set, or of the tests' own set where that is absent.
const bool kRegistered = [] {
  std::filesystem::path folder = std::filesystem::path(TOVRIN_SHARED_FIXTURES) / "lzfse";
  if (!std::filesystem::exists(folder)) folder = std::filesystem::path(TOVRIN_TEST_DATA) / "lzfse";
  std::vector<std::filesystem::path> files;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    if (file.path().extension() == ".lzfse" && file.file_size() >= 100'000) files.push_back(file.path());
  }
  std::ranges::sort(files);
  for (const std::filesystem::path& path : files) {
    std::ifstream file(path, std::ios::binary);
    std::string stream(std::istreambuf_iterator<char>(file), {});
    benchmark::RegisterBenchmark(path.stem().c_str(),
                                 [stream](benchmark::State& state) { decodeStream(state, stream); });
  }
  return true;
}();

}  // namespace
}  // namespace tovrin
