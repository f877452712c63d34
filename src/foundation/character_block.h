#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

/// Sixteen characters of a text, to be looked at all at once.
namespace tovrin {

/// A comparison of blocks is a block of its own, not zero where it holds. Signed: the characters that are no ASCII are
/// negative.
using CharacterBlock [[gnu::vector_size(16)]] = signed char;

inline CharacterBlock blockAt(const char* text) {
  CharacterBlock block;
  std::memcpy(&block, text, sizeof block);
  return block;
}

/// Calls `visit` with the beginnings of the blocks that `text`, no shorter than one, consists of. The last one overlaps
/// the one before it.
template <class Visit>
void forEachBlock(std::string_view text, const Visit& visit) {
  const char* const last = text.data() + text.size() - sizeof(CharacterBlock);
  for (const char* block = text.data(); block < last; block += sizeof(CharacterBlock)) visit(block);
  visit(last);
}

inline bool holdsAnywhere(CharacterBlock comparison) {
  using Halves [[gnu::vector_size(sizeof comparison)]] = std::uint64_t;
  const auto halves = reinterpret_cast<Halves>(comparison);
  return (halves[0] | halves[1]) != 0;
}

}  // namespace tovrin
