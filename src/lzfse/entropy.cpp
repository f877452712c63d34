#include "lzfse/entropy.h"

#include "lzfse/backward_bit_reader.h"

namespace tovrin::lzfse {
namespace {

/// The unused bits above a payload's first bit must be 0.
bool unusedBitsAreClear(const std::uint8_t* payload, std::uint32_t bytes, std::uint32_t unusedBits) {
  return unusedBits == 0 || (bytes > 0 && payload[bytes - 1] >> (8 - unusedBits) == 0);
}

inline std::uint8_t literalStep(const LiteralTable& table, std::uint32_t& state, BackwardBitReader& reader) {
  const LiteralEntry entry = table.entries[state];
  state = entry.delta + static_cast<std::uint32_t>(reader.read(entry.bits));
  return entry.symbol;
}

template <std::size_t states>
inline std::uint32_t valueStep(const std::array<ValueEntry, states>& table, std::uint32_t& state,
                               BackwardBitReader& reader) {
  const ValueEntry entry = table[state];
  const auto bits = static_cast<std::uint32_t>(reader.read(entry.bits));
  state = entry.delta + (bits >> entry.extra);
  return entry.base + (bits & ((1U << entry.extra) - 1));
}

}  // namespace

bool decodeLiterals(const CompressedHeader& header, const LiteralTable& table, const std::uint8_t* payload,
                    std::uint8_t* literals) {
  if (!unusedBitsAreClear(payload, header.literalPayloadBytes, header.literalUnusedBits)) return false;
  BackwardBitReader reader(payload, header.literalPayloadBytes, header.literalUnusedBits);
  std::uint32_t state0 = header.literalStates[0];
  std::uint32_t state1 = header.literalStates[1];
  std::uint32_t state2 = header.literalStates[2];
  std::uint32_t state3 = header.literalStates[3];
  for (const std::uint8_t* const end = literals + header.literals; literals != end; literals += 4) {
    if (!reader.refill()) return false;
    literals[0] = literalStep(table, state0, reader);
    literals[1] = literalStep(table, state1, reader);
    literals[2] = literalStep(table, state2, reader);
    literals[3] = literalStep(table, state3, reader);
  }
  return !reader.overrun();
}

bool decodeTriplets(const CompressedHeader& header, const TripletTables& tables, const std::uint8_t* payload,
                    Triplet* triplets) {
  if (!unusedBitsAreClear(payload, header.tripletPayloadBytes, header.tripletUnusedBits)) return false;
  BackwardBitReader reader(payload, header.tripletPayloadBytes, header.tripletUnusedBits);
  std::uint32_t runState = header.literalRunState;
  std::uint32_t lengthState = header.matchLengthState;
  std::uint32_t distanceState = header.distanceState;
  std::uint32_t usedLiterals = 0;
  std::uint32_t matched = 0;
  std::uint32_t distance = 0;
  for (const Triplet* const end = triplets + header.triplets; triplets != end; ++triplets) {
    if (!reader.refill()) return false;
    const std::uint32_t run = valueStep(tables.literalRuns, runState, reader);
    const std::uint32_t length = valueStep(tables.matchLengths, lengthState, reader);
    const std::uint32_t newDistance = valueStep(tables.distances, distanceState, reader);
    if (newDistance != 0) distance = newDistance;
    usedLiterals += run;
    matched += length;
    *triplets = {static_cast<std::uint16_t>(run), static_cast<std::uint16_t>(length), distance};
  }
  return !reader.overrun() && usedLiterals <= header.literals && usedLiterals + matched == header.rawBytes;
}

}  // namespace tovrin::lzfse
