#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lzfse_encoder/match_finder.h"

namespace tovrin::lzfse {

void appendLittleEndian32(std::uint32_t value, std::string& out);
void appendStoredBlock(std::span<const std::uint8_t> bytes, std::string& out);

/// Gathers literals and matches for one compressed block after the other.
class BlockWriter {
 public:
  /// Whether there is no room for another `add`.
  bool full() const;
  /// At most 315 literals, then a match of at most 2359 bytes or of none.
  void add(std::span<const std::uint8_t> literals, Match match);
  /// Writes a block of all that was gathered. `bytes` are what it stands for; they are stored where that is smaller.
  void finish(std::span<const std::uint8_t> bytes, std::string& out);

 private:
  struct Triplet {
    std::uint32_t literals;
    std::uint32_t match;
    std::uint32_t distance;
  };
  std::string encode(std::size_t rawBytes) const;

  std::vector<std::uint8_t> literals_;
  std::vector<Triplet> triplets_;
};

}  // namespace tovrin::lzfse
