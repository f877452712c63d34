#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tovrin::lzfse {

struct Match {
  std::uint32_t length = 0;
  std::uint32_t distance = 0;
};

/// Cuts bytes into literals, each run of them followed by a match with earlier bytes.
class MatchFinder {
 public:
  struct Limits {
    std::uint32_t shortestMatch;
    std::uint32_t longestMatch;
    std::uint32_t largestDistance;
  };

  explicit MatchFinder(Limits limits);

  /// Calls `emit(literals, match)` for the bytes from `begin` on, with `literals` a span of them. Those in front of
  /// `begin` are history. A match of length 0 comes last if the bytes end with literals.
  template <class Emit>
  void cut(std::span<const std::uint8_t> bytes, std::size_t begin, Emit emit) {
    std::size_t literals = begin;
    std::size_t position = begin;
    while (position < bytes.size()) {
      Match match = find(bytes, position);
      insert(bytes, position);
      if (match.length == 0) {
        ++position;
        continue;
      }
      // A longer match that begins one byte later is worth that byte.
      for (Match later = find(bytes, position + 1); later.length > match.length; later = find(bytes, position + 1)) {
        match = later;
        insert(bytes, ++position);
      }
      emit(bytes.subspan(literals, position - literals), match);
      const std::size_t end = position + match.length;
      while (++position < end) insert(bytes, position);
      literals = position;
    }
    if (literals < bytes.size()) emit(bytes.subspan(literals), Match{});
  }

  /// Says that the first `count` bytes are gone.
  void forget(std::size_t count);

 private:
  Match find(std::span<const std::uint8_t> bytes, std::size_t position) const;
  void insert(std::span<const std::uint8_t> bytes, std::size_t position);

  Limits limits_;
  std::vector<std::int32_t> latest_;    ///< per hash: where bytes with it were seen last, -1 for nowhere
  std::vector<std::int32_t> previous_;  ///< per position: where its hash was seen before
};

}  // namespace tovrin::lzfse
