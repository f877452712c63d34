#pragma once

#include <cstddef>
#include <cstdint>

/// The format's own bounds. Every buffer is sized by them and never by a field of the input.
namespace tovrin::lzfse {

inline constexpr std::uint32_t kMaxDistance = 262139;
inline constexpr std::uint32_t kMaxLiteralRun = 315;
inline constexpr std::uint32_t kMaxMatchLength = 2359;

inline constexpr std::uint32_t kMaxLiterals = 40000;
inline constexpr std::uint32_t kMaxTriplets = 10000;
inline constexpr std::uint32_t kMaxBlockOutput = kMaxLiterals + kMaxTriplets * kMaxMatchLength;

/// A literal takes 10 bits at most; a triplet 54, behind 8 bytes of padding.
inline constexpr std::uint32_t kMaxLiteralPayload = kMaxLiterals * 10 / 8;
inline constexpr std::uint32_t kTripletPadding = 8;
inline constexpr std::uint32_t kMaxTripletPayload = kTripletPadding + (kMaxTriplets * 54 + 7) / 8;

/// The most literals, and the longest match, of an LZVN opcode.
inline constexpr std::uint32_t kMaxLZVNRun = 271;
inline constexpr std::uint32_t kLZVNEndMarkerBytes = 8;

inline constexpr std::size_t kPlainHeaderBytes = 772;
inline constexpr std::size_t kPackedHeaderBytes = 32;
inline constexpr std::size_t kMaxPackedHeaderBytes = 662;

}  // namespace tovrin::lzfse
