#include "lzfse_encoder/lzfse_encoder.h"

#include <cstdint>

namespace tovrin {
namespace {

void appendLittleEndian32(std::uint32_t value, std::string& out) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<char>(value >> shift & 0xff));
}

}  // namespace

class LZFSEEncoder::Blocks {
 public:
  void appendStored(std::string_view bytes, std::string& out) {
    constexpr std::size_t kLargestBlock = 1 << 20;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kLargestBlock))) {
      const std::string_view block = bytes.substr(0, kLargestBlock);
      out += "bvx-";
      appendLittleEndian32(static_cast<std::uint32_t>(block.size()), out);
      out += block;
    }
  }
};

LZFSEEncoder::LZFSEEncoder() : blocks_(std::make_unique<Blocks>()) {}
LZFSEEncoder::~LZFSEEncoder() = default;
LZFSEEncoder::LZFSEEncoder(LZFSEEncoder&&) noexcept = default;
LZFSEEncoder& LZFSEEncoder::operator=(LZFSEEncoder&&) noexcept = default;

void LZFSEEncoder::append(std::span<const std::byte> bytes, std::string& out) {
  blocks_->appendStored({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, out);
}

void LZFSEEncoder::finish(std::string& out) { out += "bvx$"; }

std::string encodeLZFSE(std::string_view bytes) {
  std::string out;
  LZFSEEncoder encoder;
  encoder.append(std::as_bytes(std::span(bytes)), out);
  encoder.finish(out);
  return out;
}

}  // namespace tovrin
