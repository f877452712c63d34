#include "lzfse/compressed_block.h"

#include <algorithm>

namespace tovrin::lzfse {

bool CompressedBlock::start(const CompressedHeader& header, const Frequencies& frequencies,
                            const std::uint8_t* payload) {
  LiteralTable literalTable;
  TripletTables tripletTables;
  if (!buildTable(frequencies, header.literals == 0 ? Symbols::none : Symbols::some, literalTable)) return false;
  if (!buildTables(frequencies, header.triplets == 0 ? Symbols::none : Symbols::some, tripletTables)) return false;
  if (!decodeLiterals(header, literalTable, payload, literals_.data())) return false;
  if (!decodeTriplets(header, tripletTables, payload + header.literalPayloadBytes, triplets_.data())) return false;
  next_ = triplets_.data();
  end_ = next_ + header.triplets;
  literal_ = literals_.data();
  return true;
}

Progress CompressedBlock::run(Window& window) {
  std::uint8_t* out = window.cursor();
  const std::uint8_t* const begin = out - window.history();
  const std::uint8_t* const limit = out + window.room();
  const std::uint8_t* literal = literal_;
  Triplet* next = next_;
  Progress progress = Progress::finished;
  for (; next != end_; ++next) {
    const Triplet triplet = *next;
    // One comparison refuses distances that are too long and, wrapped around, the missing distance 0.
    const auto longest = static_cast<std::size_t>(out - begin) + triplet.literals;
    if (std::size_t{triplet.distance} - 1 >= longest) [[unlikely]] {
      progress = Progress::corrupt;
      break;
    }
    if (std::size_t{triplet.literals} + triplet.match > static_cast<std::size_t>(limit - out)) [[unlikely]] {
      progress = Progress::suspended;
      break;
    }
    wideCopy(out, literal, triplet.literals);
    out += triplet.literals;
    literal += triplet.literals;
    copyMatch(out, triplet.distance, triplet.match);
    out += triplet.match;
  }
  window.advance(static_cast<std::size_t>(out - window.cursor()));
  if (progress == Progress::suspended) runPart(*next, literal, window);
  literal_ = literal;
  next_ = next;
  return progress;
}

void CompressedBlock::runPart(Triplet& triplet, const std::uint8_t*& literal, Window& window) {
  const auto run = static_cast<std::uint16_t>(std::min<std::size_t>(triplet.literals, window.room()));
  window.append(literal, run);
  literal += run;
  triplet.literals -= run;
  const auto match = static_cast<std::uint16_t>(std::min<std::size_t>(triplet.match, window.room()));
  if (match > 0) window.appendMatch(triplet.distance, match);
  triplet.match -= match;
}

}  // namespace tovrin::lzfse
