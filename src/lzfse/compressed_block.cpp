#include "lzfse/compressed_block.h"

#include <algorithm>

#include "lzfse/bits.h"
#include "lzfse/literal_stream.h"

namespace tovrin::lzfse {

bool CompressedBlock::start(const CompressedHeader& header, const Frequencies& frequencies,
                            const std::uint8_t* payload) {
  LiteralTable literalTable;
  if (!buildTable(frequencies, header.literals == 0 ? Symbols::none : Symbols::some, literalTable)) return false;
  if (!buildTables(frequencies, header.triplets == 0 ? Symbols::none : Symbols::some, tables_)) return false;
  if (!decodeLiterals(header, literalTable, payload, literals_.data())) return false;

  const std::uint8_t* const triplets = payload + header.literalPayloadBytes;
  if (!BackwardBitReader::unusedBitsAreClear(triplets, header.tripletPayloadBytes, header.tripletUnusedBits)) {
    return false;
  }
  reader_ = TripletReader(header, triplets);
  cut_ = {};
  tripletsLeft_ = header.triplets;
  outputLeft_ = header.rawBytes;
  literal_ = literals_.data();
  literalsEnd_ = literal_ + header.literals;
  return true;
}

Progress CompressedBlock::run(Window& window) {
  runCut(window);
  if (cut_.bytes() > 0) return Progress::suspended;
  const Progress progress = runWhole(window);
  if (progress == Progress::suspended) {
    if (cut_.bytes() > outputLeft_) return Progress::corrupt;
    runCut(window);
  }
  if (progress == Progress::finished && outputLeft_ > 0) return Progress::corrupt;
  return progress;
}

Progress CompressedBlock::runWhole(Window& window) {
  return runWithBestBits([&](auto bits) __attribute__((always_inline)) { return runWhole<decltype(bits)>(window); });
}

template <class Bits>
Progress CompressedBlock::runWhole(Window& window) {
  // What changes with every triplet is kept in variables: the stores through `out` could change any member.
  TripletReader reader = reader_;
  std::uint32_t tripletsLeft = tripletsLeft_;
  std::uint8_t* out = window.cursor();
  const std::uint8_t* literal = literal_;
  const std::uint8_t* const literalsEnd = literalsEnd_;
  const std::uint8_t* const begin = out - window.history();
  const std::uint8_t* const limit = out + std::min<std::size_t>(window.room(), outputLeft_);
  Progress progress = Progress::finished;
  for (; tripletsLeft > 0; --tripletsLeft) {
    Triplet triplet;
    if (!reader.read<Bits>(tables_, triplet)) [[unlikely]] {
      progress = Progress::corrupt;
      break;
    }
    std::uint8_t* const match = out + triplet.literals;
    std::uint8_t* const end = match + triplet.match;
    const std::uint8_t* const nextLiteral = literal + triplet.literals;
    if (triplet.distance > static_cast<std::size_t>(match - begin) || nextLiteral > literalsEnd) [[unlikely]] {
      progress = Progress::corrupt;
      break;
    }
    if (end > limit) [[unlikely]] {
      cut_ = triplet;
      --tripletsLeft;
      progress = Progress::suspended;
      break;
    }
    wideCopy(out, literal, triplet.literals);
    copyMatch(match, triplet.distance, triplet.match);
    literal = nextLiteral;
    out = end;
  }
  const auto made = static_cast<std::size_t>(out - window.cursor());
  window.advance(made);
  outputLeft_ -= static_cast<std::uint32_t>(made);
  literal_ = literal;
  tripletsLeft_ = tripletsLeft;
  reader_ = reader;
  return progress;
}

void CompressedBlock::runCut(Window& window) {
  const std::size_t literals = std::min(cut_.literals, window.room());
  window.append(literal_, literals);
  literal_ += literals;
  cut_.literals -= literals;
  const std::size_t match = std::min(cut_.match, window.room());
  if (match > 0) window.appendMatch(cut_.distance, match);
  cut_.match -= match;
  outputLeft_ -= static_cast<std::uint32_t>(literals + match);
}

}  // namespace tovrin::lzfse
