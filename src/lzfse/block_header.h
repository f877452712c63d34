#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "lzfse/frequencies.h"

namespace tovrin::lzfse {

inline constexpr std::size_t kMagicBytes = 4;

/// The first four bytes of a block, read as a little-endian number.
enum class Magic : std::uint32_t {
  endOfStream = 0x24787662,       // bvx$
  stored = 0x2d787662,            // bvx-
  plainCompressed = 0x31787662,   // bvx1
  packedCompressed = 0x32787662,  // bvx2
  lzvn = 0x6e787662,              // bvxn
};

/// How many bytes of a block have to be read before the rest of it can be measured; nothing for an unknown magic.
std::optional<std::size_t> fixedHeaderBytes(Magic magic);

struct StoredHeader {
  std::uint32_t rawBytes;
};
StoredHeader readStoredHeader(const std::uint8_t* header);

struct LZVNHeader {
  std::uint32_t rawBytes;
  std::uint32_t payloadBytes;
};
/// Nothing when the payload cannot even hold its end marker.
std::optional<LZVNHeader> readLZVNHeader(const std::uint8_t* header);

/// What the plain and the packed header of a compressed block say alike. A header in hand keeps every limit.
struct CompressedHeader {
  std::uint32_t rawBytes;
  std::uint32_t literals;  ///< a multiple of four, since four are decoded together
  std::uint32_t triplets;
  std::uint32_t literalPayloadBytes;
  std::uint32_t tripletPayloadBytes;
  std::uint32_t literalUnusedBits;  ///< topmost bits of the payload's last byte that hold no data
  std::uint32_t tripletUnusedBits;
  std::array<std::uint16_t, 4> literalStates;
  std::uint16_t literalRunState;
  std::uint16_t matchLengthState;
  std::uint16_t distanceState;
};

/// Of 772 bytes.
std::optional<CompressedHeader> readPlainHeader(const std::uint8_t* header);
Frequencies readPlainFrequencies(const std::uint8_t* header);

struct PackedHeader {
  CompressedHeader block;
  std::uint32_t headerBytes;  ///< the 32 of the fixed part and the packed frequencies behind it
};
/// Of the first 32 bytes.
std::optional<PackedHeader> readPackedHeader(const std::uint8_t* header);

}  // namespace tovrin::lzfse
