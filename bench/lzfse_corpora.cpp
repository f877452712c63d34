#include "lzfse_corpora.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string_view>

#include "lzfse_encoder/lzfse_encoder.h"
#include "platform/compression_stream.h"
#include "support/pseudo_text.h"

namespace tovrin {
namespace {

constexpr std::size_t kLargest = 16 << 20;
constexpr std::size_t kPieceBytes = 256 * 1024;

constexpr ReferenceSpeeds kText{1100, 1678, 1806};
constexpr ReferenceSpeeds kSource{1914, 2490, 2348};
constexpr ReferenceSpeeds kBinaries{749, 1173, 1100};
constexpr ReferenceSpeeds kMixed{943, 1793, 1681};

std::string contentsOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The files below a folder that are wanted, one after the other, in the order of their names.
std::string filesBelow(const std::filesystem::path& folder, const std::function<bool(std::string_view)>& wants) {
  std::error_code error;
  std::vector<std::filesystem::path> paths;
  for (const auto& file : std::filesystem::recursive_directory_iterator(folder, error)) {
    if (file.is_regular_file(error) && !file.is_symlink(error) && wants(file.path().native())) {
      paths.push_back(file.path());
    }
  }
  std::ranges::sort(paths);
  std::string bytes;
  for (const std::filesystem::path& path : paths) {
    if (bytes.size() >= kLargest) break;
    bytes += contentsOf(path);
  }
  bytes.resize(std::min(bytes.size(), kLargest));
  return bytes;
}

/// Records with the fields that an interface on the web would give them.
std::string pseudoJSON(std::size_t size) {
  std::mt19937_64 random(17);
  std::string json = "[";
  for (std::uint64_t id = 100000; json.size() < size; id += 1 + random() % 9) {
    json += R"({"id": )" + std::to_string(id) + R"(, "name": ")" + pseudoText(12 + random() % 30, random()) +
            R"(", "created": "2025-0)" + std::to_string(1 + random() % 9) + "-1" + std::to_string(random() % 10) +
            R"(T12:00:00Z", "size": )" + std::to_string(random() % 5000000) + R"(, "tags": [")" +
            pseudoText(6, random() % 40) + R"("], "owner": null, "shared": )" + (random() % 3 == 0 ? "true" : "false") +
            "},\n";
  }
  return json;
}

Corpus encoded(std::string name, ReferenceSpeeds speeds, std::string bytes) {
  std::string stream = encodeLZFSE(bytes);
  return {std::move(name), speeds, std::move(bytes), std::move(stream)};
}

}  // namespace

std::vector<Corpus> lzfseCorpora(const std::string& fixtures) {
  std::vector<Corpus> corpora;
  corpora.push_back(encoded("binaries", kBinaries, filesBelow("/usr/bin", [](std::string_view) { return true; })));
  corpora.push_back(encoded("headers", kSource, filesBelow("/usr/include", [](std::string_view) { return true; })));
  corpora.push_back(encoded("documents", kText, filesBelow("/usr/share/doc", [](std::string_view path) {
                              return !path.ends_with(".gz") && !path.ends_with(".png");
                            })));
  corpora.push_back(encoded("json", kText, pseudoJSON(kLargest)));
  corpora.push_back(encoded("words", kText, pseudoText(kLargest, 1)));

  const std::array<std::pair<std::string, ReferenceSpeeds>, 7> kStreams{{{"bin_libs_9m", kBinaries},
                                                                         {"cxx_headers_4m", kSource},
                                                                         {"json_3m", kText},
                                                                         {"text_words_3m", kText},
                                                                         {"mixed_multi", kMixed},
                                                                         {"lzvn_binary_big_block", {}},
                                                                         {"lzvn_one_big_block", {}}}};
  for (const auto& [name, speeds] : kStreams) {
    const std::filesystem::path path = std::filesystem::path(fixtures) / (name + ".lzfse");
    if (!std::filesystem::exists(path)) continue;
    Corpus corpus{name, speeds, {}, contentsOf(path)};
    decodeLZFSEInPieces(corpus.lzfse, &corpus.bytes);
    corpora.push_back(std::move(corpus));
  }
  std::erase_if(corpora, [](const Corpus& corpus) { return corpus.bytes.empty(); });
  return corpora;
}

std::size_t decodeLZFSEInPieces(const std::string& stream, std::string* decoded) {
  std::vector<std::uint8_t> piece(kPieceBytes);
  compression_stream state;
  if (compression_stream_init(&state, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE) != COMPRESSION_STATUS_OK) return 0;
  std::size_t made = 0;
  compression_status status = COMPRESSION_STATUS_OK;
  for (std::size_t offset = 0; offset < stream.size() && status == COMPRESSION_STATUS_OK; offset += kPieceBytes) {
    state.src_ptr = reinterpret_cast<const std::uint8_t*>(stream.data()) + offset;
    state.src_size = std::min(kPieceBytes, stream.size() - offset);
    do {
      state.dst_ptr = piece.data();
      state.dst_size = piece.size();
      status = compression_stream_process(&state, 0);
      if (decoded != nullptr) decoded->append(piece.data(), state.dst_ptr);
      made += piece.size() - state.dst_size;
    } while (status == COMPRESSION_STATUS_OK && (state.src_size > 0 || state.dst_size == 0));
  }
  compression_stream_destroy(&state);
  return status == COMPRESSION_STATUS_END ? made : 0;
}

}  // namespace tovrin
