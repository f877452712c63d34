#include "lzfse/block_header.h"

#include "lzfse/bytes.h"
#include "lzfse/limits.h"

namespace tovrin::lzfse {
namespace {

std::uint16_t u16(const std::uint8_t* bytes) { return loadLittleEndian<std::uint16_t>(bytes); }
std::uint32_t u32(const std::uint8_t* bytes) { return loadLittleEndian<std::uint32_t>(bytes); }

std::uint32_t bitField(std::uint64_t word, unsigned first, unsigned width) {
  return static_cast<std::uint32_t>(word >> first & ((std::uint64_t{1} << width) - 1));
}

std::uint16_t stateField(std::uint64_t word, unsigned first) {
  return static_cast<std::uint16_t>(bitField(word, first, 10));
}

/// The plain header counts the unused bits as a signed number from -7 to 0.
std::uint32_t unusedBits(const std::uint8_t* field) { return 0U - u32(field); }

bool keepsLimits(const CompressedHeader& header) {
  for (const std::uint16_t state : header.literalStates) {
    if (state >= kLiteralStates) return false;
  }
  return header.literals <= kMaxLiterals && header.literals % 4 == 0 && header.triplets <= kMaxTriplets &&
         header.literalPayloadBytes <= kMaxLiteralPayload && header.tripletPayloadBytes <= kMaxTripletPayload &&
         (header.triplets == 0 || header.tripletPayloadBytes >= kTripletPadding) && header.literalUnusedBits <= 7 &&
         header.tripletUnusedBits <= 7 && header.literalRunState < kLiteralRunStates &&
         header.matchLengthState < kMatchLengthStates && header.distanceState < kDistanceStates &&
         header.rawBytes <= kMaxBlockOutput;
}

}  // namespace

std::optional<std::size_t> fixedHeaderBytes(Magic magic) {
  switch (magic) {
    case Magic::endOfStream:
      return kMagicBytes;
    case Magic::stored:
      return 8;
    case Magic::lzvn:
      return 12;
    case Magic::plainCompressed:
      return kPlainHeaderBytes;
    case Magic::packedCompressed:
      return kPackedHeaderBytes;
  }
  return std::nullopt;
}

StoredHeader readStoredHeader(const std::uint8_t* header) { return {u32(header + 4)}; }

std::optional<LZVNHeader> readLZVNHeader(const std::uint8_t* header) {
  const LZVNHeader read{u32(header + 4), u32(header + 8)};
  if (read.payloadBytes < kLZVNEndMarkerBytes) return std::nullopt;
  return read;
}

std::optional<CompressedHeader> readPlainHeader(const std::uint8_t* header) {
  const CompressedHeader read{
      .rawBytes = u32(header + 4),
      .literals = u32(header + 12),
      .triplets = u32(header + 16),
      .literalPayloadBytes = u32(header + 20),
      .tripletPayloadBytes = u32(header + 24),
      .literalUnusedBits = unusedBits(header + 28),
      .tripletUnusedBits = unusedBits(header + 40),
      .literalStates = {u16(header + 32), u16(header + 34), u16(header + 36), u16(header + 38)},
      .literalRunState = u16(header + 44),
      .matchLengthState = u16(header + 46),
      .distanceState = u16(header + 48),
  };
  if (!keepsLimits(read)) return std::nullopt;
  return read;
}

Frequencies readPlainFrequencies(const std::uint8_t* header) {
  constexpr std::size_t kFrequenciesOffset = 50;
  Frequencies frequencies;
  for (std::size_t i = 0; i < frequencies.all.size(); ++i) {
    frequencies.all[i] = u16(header + kFrequenciesOffset + 2 * i);
  }
  return frequencies;
}

std::optional<PackedHeader> readPackedHeader(const std::uint8_t* header) {
  const auto literalWord = loadLittleEndian<std::uint64_t>(header + 8);
  const auto tripletWord = loadLittleEndian<std::uint64_t>(header + 16);
  const auto stateWord = loadLittleEndian<std::uint64_t>(header + 24);
  const PackedHeader read{
      .block =
          {
              .rawBytes = u32(header + 4),
              .literals = bitField(literalWord, 0, 20),
              .triplets = bitField(literalWord, 40, 20),
              .literalPayloadBytes = bitField(literalWord, 20, 20),
              .tripletPayloadBytes = bitField(tripletWord, 40, 20),
              .literalUnusedBits = 7 - bitField(literalWord, 60, 3),
              .tripletUnusedBits = 7 - bitField(tripletWord, 60, 3),
              .literalStates = {stateField(tripletWord, 0), stateField(tripletWord, 10), stateField(tripletWord, 20),
                                stateField(tripletWord, 30)},
              .literalRunState = stateField(stateWord, 32),
              .matchLengthState = stateField(stateWord, 42),
              .distanceState = stateField(stateWord, 52),
          },
      .headerBytes = bitField(stateWord, 0, 32),
  };
  if (!keepsLimits(read.block)) return std::nullopt;
  if (read.headerBytes < kPackedHeaderBytes || read.headerBytes > kMaxPackedHeaderBytes) return std::nullopt;
  return read;
}

}  // namespace tovrin::lzfse
