#include "lzfse_encoder/lzvn_writer.h"

#include <algorithm>
#include <array>

#include "lzfse_encoder/block_writer.h"
#include "lzfse_encoder/match_finder.h"

namespace tovrin::lzfse {
namespace {

constexpr MatchFinder::Limits kMatches{.shortestMatch = 4, .longestMatch = 4096, .largestDistance = 65535};
constexpr std::uint32_t kLargestLongForm = 16 + 255;
constexpr std::uint32_t kLargestSmallDistance = 1535;
constexpr std::uint32_t kLargestMediumDistance = 16383;

/// The longest match of the opcodes with three bits for it, per literals with it: longer ones are taken by other
/// opcodes.
constexpr std::array<std::uint32_t, 4> kLongestMatch{10, 8, 6, 4};
constexpr std::uint32_t kLongestMediumMatch = 34;

class OpcodeWriter {
 public:
  void add(std::span<const std::uint8_t> literals, Match match) {
    while (literals.size() > 3 || (match.length == 0 && !literals.empty())) literals = addLiterals(literals);
    if (match.length == 0) return;
    if (match.distance != distance_) {
      match.length -= addDistance(literals, match);
      distance_ = match.distance;
    } else if (!literals.empty()) {
      literals = addLiterals(literals);
    }
    while (match.length > 0) match.length -= repeat(match.length);
  }

  std::string finish() { return opcodes_ + std::string("\x06\0\0\0\0\0\0\0", 8); }

 private:
  std::span<const std::uint8_t> addLiterals(std::span<const std::uint8_t> literals) {
    const std::size_t count = std::min<std::size_t>(literals.size(), kLargestLongForm);
    if (count >= 16) {
      put(0xe0, static_cast<std::uint32_t>(count - 16));
    } else {
      put(0xe0 | static_cast<std::uint32_t>(count));
    }
    put(literals.first(count));
    return literals.subspan(count);
  }

  /// Up to three literals and as much of the match as one opcode takes. Returns how much that is.
  std::uint32_t addDistance(std::span<const std::uint8_t> literals, Match match) {
    const auto count = static_cast<std::uint32_t>(literals.size());
    const std::uint32_t length = std::min(match.length, kLongestMatch[count]);
    const std::uint32_t first = count << 6 | (length - 3) << 3;
    if (match.distance <= kLargestSmallDistance && length == match.length) {
      put(first | match.distance >> 8, match.distance);
    } else if (match.distance <= kLargestMediumDistance) {
      const std::uint32_t mediumLength = std::min(match.length, kLongestMediumMatch);
      put(0xa0 | count << 3 | (mediumLength - 3) >> 2, match.distance << 2 | ((mediumLength - 3) & 3),
          match.distance >> 6);
      put(literals);
      return mediumLength;
    } else {
      put(first | 7, match.distance, match.distance >> 8);
    }
    put(literals);
    return length;
  }

  std::uint32_t repeat(std::uint32_t length) {
    length = std::min(length, kLargestLongForm);
    if (length >= 16) {
      put(0xf0, length - 16);
    } else {
      put(0xf0 | length);
    }
    return length;
  }

  template <class... Bytes>
  void put(std::uint32_t first, Bytes... others) {
    opcodes_.push_back(static_cast<char>(first & 0xff));
    (opcodes_.push_back(static_cast<char>(others & 0xff)), ...);
  }
  void put(std::span<const std::uint8_t> literals) { opcodes_.append(literals.begin(), literals.end()); }

  std::string opcodes_;
  std::uint32_t distance_ = 0;
};

}  // namespace

void appendSmallBlock(std::span<const std::uint8_t> bytes, std::string& out) {
  OpcodeWriter writer;
  MatchFinder(kMatches).cut(bytes, 0,
                            [&](std::span<const std::uint8_t> literals, Match match) { writer.add(literals, match); });
  const std::string payload = writer.finish();
  constexpr std::size_t kLargerHeader = 4;
  if (payload.size() + kLargerHeader >= bytes.size()) {
    appendStoredBlock(bytes, out);
    return;
  }
  out += "bvxn";
  appendLittleEndian32(static_cast<std::uint32_t>(bytes.size()), out);
  appendLittleEndian32(static_cast<std::uint32_t>(payload.size()), out);
  out += payload;
}

}  // namespace tovrin::lzfse
