#include "lzfse/literal_stream.h"

#include "lzfse/backward_bit_reader.h"

namespace tovrin::lzfse {
namespace {

inline std::uint8_t nextLiteral(const LiteralTable& table, std::uint32_t& state, BackwardBitReader& reader) {
  const LiteralEntry entry = table.entries[state];
  state = entry.delta + static_cast<std::uint32_t>(reader.read(entry.bits));
  return entry.symbol;
}

}  // namespace

bool decodeLiterals(const CompressedHeader& header, const LiteralTable& table, const std::uint8_t* payload,
                    std::uint8_t* literals) {
  const std::uint32_t bytes = header.literalPayloadBytes;
  if (!BackwardBitReader::unusedBitsAreClear(payload, bytes, header.literalUnusedBits)) return false;
  BackwardBitReader reader(payload, bytes, header.literalUnusedBits);
  // Four states take turns, so that one need not wait for the table entry of another.
  auto [state0, state1, state2, state3] = std::array<std::uint32_t, 4>{
      header.literalStates[0], header.literalStates[1], header.literalStates[2], header.literalStates[3]};
  for (const std::uint8_t* const end = literals + header.literals; literals != end; literals += 4) {
    if (!reader.refill()) return false;
    literals[0] = nextLiteral(table, state0, reader);
    literals[1] = nextLiteral(table, state1, reader);
    literals[2] = nextLiteral(table, state2, reader);
    literals[3] = nextLiteral(table, state3, reader);
  }
  return !reader.overrun();
}

}  // namespace tovrin::lzfse
