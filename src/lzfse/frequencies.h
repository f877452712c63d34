#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tovrin::lzfse {

/// Sizes of the four alphabets: of literal runs (L), match lengths (M), match distances (D) and literal bytes.
inline constexpr std::size_t kLiteralRunSymbols = 20;
inline constexpr std::size_t kMatchLengthSymbols = 20;
inline constexpr std::size_t kDistanceSymbols = 64;
inline constexpr std::size_t kLiteralSymbols = 256;

/// The decoder's states per alphabet; the frequencies of its symbols add up to them.
inline constexpr std::size_t kLiteralRunStates = 64;
inline constexpr std::size_t kMatchLengthStates = 64;
inline constexpr std::size_t kDistanceStates = 256;
inline constexpr std::size_t kLiteralStates = 1024;

/// How often each symbol occurs in a block, scaled to the number of states.
struct Frequencies {
  using View = std::span<const std::uint16_t>;

  std::array<std::uint16_t, kLiteralRunSymbols + kMatchLengthSymbols + kDistanceSymbols + kLiteralSymbols> all;

  View literalRuns() const { return View(all).first(kLiteralRunSymbols); }
  View matchLengths() const { return View(all).subspan(kLiteralRunSymbols, kMatchLengthSymbols); }
  View distances() const { return View(all).subspan(kLiteralRunSymbols + kMatchLengthSymbols, kDistanceSymbols); }
  View literals() const { return View(all).last(kLiteralSymbols); }
};

/// Unpacks the prefix codes behind a packed header. `packed` must be used up to its last byte. No codes at all mean
/// that every frequency is 0.
std::optional<Frequencies> unpackFrequencies(std::span<const std::uint8_t> packed);

}  // namespace tovrin::lzfse
