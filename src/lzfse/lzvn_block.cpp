#include "lzfse/lzvn_block.h"

#include <algorithm>

#include "lzfse/bytes.h"
#include "lzfse/lzvn_opcode.h"

namespace tovrin::lzfse {

void LZVNBlock::start(const LZVNHeader& header) {
  payloadLeft_ = header.payloadBytes;
  outputLeft_ = header.rawBytes;
  distance_ = 0;
  literalsLeft_ = 0;
  matchLeft_ = 0;
  cutBytes_ = 0;
}

Progress LZVNBlock::run(Input& input, Window& window) {
  using enum LZVNOpcode::Kind;
  for (;;) {
    if (!finishOpcode(input, window)) return Progress::suspended;
    if (payloadLeft_ == 0) return Progress::corrupt;
    if (cutBytes_ == 0 && input.size == 0) return Progress::suspended;

    const LZVNOpcode opcode = kLZVNOpcodes[cutBytes_ > 0 ? cut_[0] : *input.next];
    if (opcode.kind == undefined || opcode.size > payloadLeft_) return Progress::corrupt;
    const std::uint8_t* bytes = nextOpcode(opcode.size, input);
    if (bytes == nullptr) return Progress::suspended;
    payloadLeft_ -= opcode.size;

    std::uint32_t literals = opcode.literals;
    std::uint32_t match = opcode.match;
    switch (opcode.kind) {
      case end:
        return payloadLeft_ == 0 && outputLeft_ == 0 ? Progress::finished : Progress::corrupt;
      case smallDistance:
        distance_ = (bytes[0] & 7U) << 8 | bytes[1];
        break;
      case mediumDistance:
        match += bytes[1] & 3U;
        distance_ = loadLittleEndian<std::uint16_t>(bytes + 1) >> 2;
        break;
      case largeDistance:
        distance_ = loadLittleEndian<std::uint16_t>(bytes + 1);
        break;
      case largeLiteral:
        literals += bytes[1];
        break;
      case largeMatch:
        match += bytes[1];
        break;
      case complete:
      case undefined:
        break;
    }
    if (literals > payloadLeft_ || literals + match > outputLeft_) return Progress::corrupt;
    // Wrapped around, the missing distance 0 is too long as well.
    if (match > 0 && std::size_t{distance_} - 1 >= window.history() + literals) return Progress::corrupt;
    payloadLeft_ -= literals;
    outputLeft_ -= literals + match;
    literalsLeft_ = literals;
    matchLeft_ = match;
  }
}

bool LZVNBlock::finishOpcode(Input& input, Window& window) {
  if (literalsLeft_ > 0) {
    const auto count = static_cast<std::uint32_t>(std::min({std::size_t{literalsLeft_}, input.size, window.room()}));
    if (count <= 16 && input.size >= 16) {
      window.appendShort(input.take(count), count);
    } else {
      window.append(input.take(count), count);
    }
    literalsLeft_ -= count;
    if (literalsLeft_ > 0) return false;
  }
  if (matchLeft_ > 0) {
    const auto count = static_cast<std::uint32_t>(std::min(std::size_t{matchLeft_}, window.room()));
    if (count > 0) window.appendMatch(distance_, count);
    matchLeft_ -= count;
  }
  return matchLeft_ == 0;
}

const std::uint8_t* LZVNBlock::nextOpcode(std::size_t size, Input& input) {
  if (cutBytes_ == 0 && input.size >= size) return input.take(size);
  const std::size_t count = std::min(size - cutBytes_, input.size);
  std::copy_n(input.take(count), count, cut_.begin() + static_cast<std::ptrdiff_t>(cutBytes_));
  cutBytes_ += count;
  if (cutBytes_ < size) return nullptr;
  cutBytes_ = 0;
  return cut_.data();
}

}  // namespace tovrin::lzfse
