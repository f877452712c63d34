#include "lzfse/literal_stream.h"

#include "lzfse/backward_bit_reader.h"
#include "lzfse/bits.h"

namespace tovrin::lzfse {
namespace {

/// Four states take turns, so that one need not wait for the table entry of another.
template <class Bits>
[[gnu::always_inline]] inline bool decodeFourAtOnce(BackwardBitReader reader, std::array<std::uint16_t, 4> states,
                                                    const LiteralTable& table, std::uint8_t* literals,
                                                    const std::uint8_t* end) {
  std::uint64_t state0 = states[0];
  std::uint64_t state1 = states[1];
  std::uint64_t state2 = states[2];
  std::uint64_t state3 = states[3];
  for (; literals != end; literals += 4) {
    const LiteralEntry& entry0 = table.entries[state0];
    const LiteralEntry& entry1 = table.entries[state1];
    const LiteralEntry& entry2 = table.entries[state2];
    const LiteralEntry& entry3 = table.entries[state3];
    // The next four wait for nothing as long as for these, so they come first.
    const std::uint64_t bits0 = entry0.bits;
    const std::uint64_t bits1 = entry1.bits;
    const std::uint64_t bits2 = entry2.bits;
    const std::uint64_t bits3 = entry3.bits;
    BackwardBitReader::Next next = reader.next();
    if (!reader.skip((bits0 + bits1) + (bits2 + bits3))) return false;
    state0 = entry0.delta + next.take<Bits>(bits0);
    state1 = entry1.delta + next.take<Bits>(bits1);
    state2 = entry2.delta + next.take<Bits>(bits2);
    state3 = entry3.delta + next.take<Bits>(bits3);
    literals[0] = entry0.symbol;
    literals[1] = entry1.symbol;
    literals[2] = entry2.symbol;
    literals[3] = entry3.symbol;
  }
  return true;
}

}  // namespace

bool decodeLiterals(const CompressedHeader& header, const LiteralTable& table, const std::uint8_t* payload,
                    std::uint8_t* literals) {
  const std::uint32_t bytes = header.literalPayloadBytes;
  if (!BackwardBitReader::unusedBitsAreClear(payload, bytes, header.literalUnusedBits)) return false;
  const BackwardBitReader reader(payload, bytes, header.literalUnusedBits);
  return runWithBestBits([&](auto bits) __attribute__((always_inline)) {
    return decodeFourAtOnce<decltype(bits)>(reader, header.literalStates, table, literals, literals + header.literals);
  });
}

}  // namespace tovrin::lzfse
