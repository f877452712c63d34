#include "lzfse_encoder/block_writer.h"

#include <algorithm>
#include <array>
#include <ranges>

#include "lzfse/symbol_ranges.h"
#include "lzfse_encoder/bit_writer.h"
#include "lzfse_encoder/symbol_encoder.h"

namespace tovrin::lzfse {
namespace {

using FrequencyList = std::vector<std::uint16_t>;

/// One of the alphabets of values: what every value is encoded as.
struct Alphabet {
  std::span<const ValueRange> ranges;
  std::uint32_t states;

  std::size_t symbolOf(std::uint32_t value) const {
    const auto after = std::ranges::upper_bound(ranges, value, {}, &ValueRange::base);
    return static_cast<std::size_t>(after - ranges.begin()) - 1;
  }
};

constexpr Alphabet kLiteralRuns{kLiteralRunRanges, kLiteralRunStates};
constexpr Alphabet kMatchLengths{kMatchLengthRanges, kMatchLengthStates};
constexpr Alphabet kDistances{kDistanceRanges, kDistanceStates};

/// The values of one alphabet in a block, and how they are encoded.
class ValueEncoder {
 public:
  template <class Values>
  ValueEncoder(const Alphabet& alphabet, const Values& values)
      : alphabet_(alphabet), frequencies_(frequenciesOf(alphabet, values)), symbols_(frequencies_, alphabet.states) {}

  void encode(std::uint32_t value, BitWriter& writer) {
    const std::size_t symbol = alphabet_.symbolOf(value);
    const ValueRange& range = alphabet_.ranges[symbol];
    symbols_.encode(symbol, value - range.base, range.extra, state_, writer);
  }

  const FrequencyList& frequencies() const { return frequencies_; }
  std::uint32_t state() const { return state_; }

 private:
  template <class Values>
  static FrequencyList frequenciesOf(const Alphabet& alphabet, const Values& values) {
    std::vector<std::uint32_t> counts(alphabet.ranges.size());
    for (const std::uint32_t value : values) ++counts[alphabet.symbolOf(value)];
    return scaledFrequencies(counts, alphabet.states);
  }

  const Alphabet& alphabet_;
  FrequencyList frequencies_;
  SymbolEncoder symbols_;
  std::uint32_t state_ = 0;
};

/// A prefix code per frequency: the smaller the shorter.
void writeFrequency(std::uint32_t frequency, BitWriter& writer) {
  if (frequency == 0) {
    writer.write(0b00, 2);
  } else if (frequency == 1) {
    writer.write(0b10, 2);
  } else if (frequency == 2) {
    writer.write(0b001, 3);
  } else if (frequency == 3) {
    writer.write(0b101, 3);
  } else if (frequency < 8) {
    writer.write((frequency - 4) << 3 | 0b011, 5);
  } else if (frequency < 24) {
    writer.write((frequency - 8) << 4 | 0b0111, 8);
  } else {
    writer.write((frequency - 24) << 4 | 0b1111, 14);
  }
}

struct LiteralStream {
  FrequencyList frequencies;
  std::array<std::uint32_t, 4> states{};
  std::string payload;
  int unusedBits = 0;
};

LiteralStream encodeLiterals(std::span<const std::uint8_t> literals) {
  std::vector<std::uint32_t> counts(kLiteralSymbols);
  for (const std::uint8_t literal : literals) ++counts[literal];
  LiteralStream stream;
  stream.frequencies = scaledFrequencies(counts, kLiteralStates);
  const SymbolEncoder encoder(stream.frequencies, kLiteralStates);
  BitWriter writer;
  for (std::size_t i = literals.size(); i > 0; --i) {
    encoder.encode(literals[i - 1], 0, 0, stream.states[(i - 1) % 4], writer);
  }
  stream.unusedBits = writer.finish();
  stream.payload = writer.bytes();
  return stream;
}

/// Packs fields into the 64-bit words of the header.
class Word {
 public:
  Word& put(std::uint64_t value, int bits) {
    value_ |= value << used_;
    used_ += bits;
    return *this;
  }
  void append(std::string& out) const {
    appendLittleEndian32(static_cast<std::uint32_t>(value_), out);
    appendLittleEndian32(static_cast<std::uint32_t>(value_ >> 32), out);
  }

 private:
  std::uint64_t value_ = 0;
  int used_ = 0;
};

}  // namespace

void appendLittleEndian32(std::uint32_t value, std::string& out) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<char>(value >> shift & 0xff));
}

void appendStoredBlock(std::span<const std::uint8_t> bytes, std::string& out) {
  out += "bvx-";
  appendLittleEndian32(static_cast<std::uint32_t>(bytes.size()), out);
  out.append(bytes.begin(), bytes.end());
}

bool BlockWriter::full() const {
  return triplets_.size() == kMaxTriplets || literals_.size() + kMaxLiteralRun > kMaxLiterals;
}

void BlockWriter::add(std::span<const std::uint8_t> literals, Match match) {
  literals_.insert(literals_.end(), literals.begin(), literals.end());
  // Even without a match there has to be a distance that leads to bytes.
  const std::uint32_t distance = match.length == 0 ? 1 : match.distance;
  triplets_.push_back({static_cast<std::uint32_t>(literals.size()), match.length, distance});
}

void BlockWriter::finish(std::span<const std::uint8_t> bytes, std::string& out) {
  constexpr std::size_t kStoredHeaderBytes = 8;
  const std::string block = encode(bytes.size());
  if (block.size() < bytes.size() + kStoredHeaderBytes) {
    out += block;
  } else {
    appendStoredBlock(bytes, out);
  }
  literals_.clear();
  triplets_.clear();
}

std::string BlockWriter::encode(std::size_t rawBytes) const {
  std::vector<std::uint8_t> paddedLiterals = literals_;
  paddedLiterals.resize((literals_.size() + 3) / 4 * 4);
  const LiteralStream literals = encodeLiterals(paddedLiterals);

  std::vector<std::uint32_t> distances;
  std::uint32_t latest = 0;
  for (const Triplet& triplet : triplets_) {
    distances.push_back(triplet.distance == latest ? 0 : triplet.distance);  // 0 repeats the distance
    latest = triplet.distance;
  }
  ValueEncoder runEncoder(kLiteralRuns, triplets_ | std::views::transform(&Triplet::literals));
  ValueEncoder lengthEncoder(kMatchLengths, triplets_ | std::views::transform(&Triplet::match));
  ValueEncoder distanceEncoder(kDistances, distances);
  BitWriter tripletWriter;
  for (std::uint32_t i = 0; i < kTripletPadding; ++i) tripletWriter.write(0, 8);
  for (std::size_t i = triplets_.size(); i > 0; --i) {
    distanceEncoder.encode(distances[i - 1], tripletWriter);
    lengthEncoder.encode(triplets_[i - 1].match, tripletWriter);
    runEncoder.encode(triplets_[i - 1].literals, tripletWriter);
  }
  const int tripletUnusedBits = tripletWriter.finish();

  BitWriter packed;
  for (const FrequencyList* frequencies : {&runEncoder.frequencies(), &lengthEncoder.frequencies(),
                                           &distanceEncoder.frequencies(), &literals.frequencies}) {
    for (const std::uint16_t frequency : *frequencies) writeFrequency(frequency, packed);
  }
  packed.finish();

  std::string block = "bvx2";
  appendLittleEndian32(static_cast<std::uint32_t>(rawBytes), block);
  Word()
      .put(paddedLiterals.size(), 20)
      .put(literals.payload.size(), 20)
      .put(triplets_.size(), 20)
      .put(static_cast<std::uint64_t>(7 - literals.unusedBits), 3)
      .append(block);
  Word()
      .put(literals.states[0], 10)
      .put(literals.states[1], 10)
      .put(literals.states[2], 10)
      .put(literals.states[3], 10)
      .put(tripletWriter.bytes().size(), 20)
      .put(static_cast<std::uint64_t>(7 - tripletUnusedBits), 3)
      .append(block);
  Word()
      .put(kPackedHeaderBytes + packed.bytes().size(), 32)
      .put(runEncoder.state(), 10)
      .put(lengthEncoder.state(), 10)
      .put(distanceEncoder.state(), 10)
      .append(block);
  return block + packed.bytes() + literals.payload + tripletWriter.bytes();
}

}  // namespace tovrin::lzfse
