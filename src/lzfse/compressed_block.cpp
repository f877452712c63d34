#include "lzfse/compressed_block.h"

#include <algorithm>

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
  if (progress == Progress::finished && (outputLeft_ > 0 || reader_.overrun())) return Progress::corrupt;
  return progress;
}

Progress CompressedBlock::runWhole(Window& window) {
  // What changes with every triplet is kept in variables: the stores through `out` could change any member.
  TripletReader reader = reader_;
  std::uint8_t* out = window.cursor();
  const std::uint8_t* literal = literal_;
  const std::uint8_t* const literalsEnd = literalsEnd_;
  const std::uint8_t* const begin = out - window.history();
  const std::uint8_t* const limit = out + std::min<std::size_t>(window.room(), outputLeft_);
  Progress progress = Progress::finished;
  while (tripletsLeft_ > 0) {
    Triplet triplet;
    if (!reader.read(tables_, triplet)) [[unlikely]] {
      progress = Progress::corrupt;
      break;
    }
    // One comparison refuses distances that are too long and, wrapped around, the missing distance 0.
    const std::size_t longest = static_cast<std::size_t>(out - begin) + triplet.literals;
    if (std::size_t{triplet.distance} - 1 >= longest ||
        triplet.literals > static_cast<std::size_t>(literalsEnd - literal)) [[unlikely]] {
      progress = Progress::corrupt;
      break;
    }
    --tripletsLeft_;
    if (triplet.bytes() > static_cast<std::size_t>(limit - out)) [[unlikely]] {
      cut_ = triplet;
      progress = Progress::suspended;
      break;
    }
    wideCopy(out, literal, triplet.literals);
    out += triplet.literals;
    literal += triplet.literals;
    copyMatch(out, triplet.distance, triplet.match);
    out += triplet.match;
  }
  const auto made = static_cast<std::size_t>(out - window.cursor());
  window.advance(made);
  outputLeft_ -= static_cast<std::uint32_t>(made);
  literal_ = literal;
  reader_ = reader;
  return progress;
}

void CompressedBlock::runCut(Window& window) {
  const auto literals = static_cast<std::uint32_t>(std::min<std::size_t>(cut_.literals, window.room()));
  window.append(literal_, literals);
  literal_ += literals;
  const auto match = static_cast<std::uint32_t>(std::min<std::size_t>(cut_.match, window.room()));
  if (match > 0) window.appendMatch(cut_.distance, match);
  cut_.literals -= literals;
  cut_.match -= match;
  outputLeft_ -= literals + match;
}

}  // namespace tovrin::lzfse
