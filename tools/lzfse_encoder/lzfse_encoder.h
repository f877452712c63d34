#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace tovrin {

/// A whole LZFSE stream that holds `bytes`.
std::string encodeLZFSE(std::string_view bytes);

/// Encodes bytes that arrive in pieces into one LZFSE stream. Memory stays bounded whatever is appended. `out` is only
/// ever appended to. After `finish` the stream is complete and the encoder must not be used again.
class LZFSEEncoder {
 public:
  LZFSEEncoder();
  ~LZFSEEncoder();
  LZFSEEncoder(LZFSEEncoder&&) noexcept;
  LZFSEEncoder& operator=(LZFSEEncoder&&) noexcept;

  void append(std::span<const std::byte> bytes, std::string& out);
  void finish(std::string& out);

 private:
  class Blocks;
  std::unique_ptr<Blocks> blocks_;
};

}  // namespace tovrin
