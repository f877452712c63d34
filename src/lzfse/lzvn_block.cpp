#include "lzfse/lzvn_block.h"

#include <algorithm>

#include "lzfse/bytes.h"
#include "lzfse/limits.h"

namespace tovrin::lzfse {
namespace {

/// The bytes of an opcode, as far as they say anything.
std::uint32_t wordOf(const std::uint8_t* opcode, std::size_t size) {
  std::array<std::uint8_t, sizeof(std::uint32_t)> word{};
  std::copy_n(opcode, std::min(size, word.size()), word.begin());
  return loadLittleEndian<std::uint32_t>(word.data());
}

/// Wrapped around, the missing distance 0 is too long as well.
bool reachesTooFar(std::uint32_t distance, std::size_t history) { return std::size_t{distance} - 1 >= history; }

}  // namespace

void LZVNBlock::start(const LZVNHeader& header) {
  payloadLeft_ = header.payloadBytes;
  outputLeft_ = header.rawBytes;
  step_ = {};
  cutBytes_ = 0;
}

Progress LZVNBlock::run(Input& input, Window& window) {
  for (;;) {
    if (!finishOpcode(input, window)) return Progress::suspended;
    if (cutBytes_ == 0) runWhole(input, window);
    if (payloadLeft_ == 0) return Progress::corrupt;
    if (cutBytes_ == 0 && input.size == 0) return Progress::suspended;

    const LZVNOpcode& opcode = kLZVNOpcodes[cutBytes_ > 0 ? cut_[0] : *input.next];
    if (opcode.size == 0 || opcode.size > payloadLeft_) return Progress::corrupt;
    const std::uint8_t* const bytes = nextOpcode(opcode.size, input);
    if (bytes == nullptr) return Progress::suspended;
    payloadLeft_ -= opcode.size;
    if (opcode.size == kLZVNEndMarkerBytes) {
      return payloadLeft_ == 0 && outputLeft_ == 0 ? Progress::finished : Progress::corrupt;
    }
    const LZVNStep step = stepOf(opcode, wordOf(bytes, opcode.size), step_.distance);
    if (step.literals > payloadLeft_ || step.literals + step.match > outputLeft_) return Progress::corrupt;
    if (step.match > 0 && reachesTooFar(step.distance, window.history() + step.literals)) return Progress::corrupt;
    payloadLeft_ -= step.literals;
    outputLeft_ -= step.literals + step.match;
    step_ = step;
  }
}

void LZVNBlock::runWhole(Input& input, Window& window) {
  constexpr std::size_t kReach = 3 + kMaxLZVNRun + kCopySlack;
  const std::size_t bytesLeft = std::min<std::size_t>(input.size, payloadLeft_);
  const std::size_t roomLeft = std::min<std::size_t>(window.room(), outputLeft_);
  if (bytesLeft < kReach || roomLeft < kMaxLZVNRun) return;

  const std::uint8_t* next = input.next;
  const std::uint8_t* const lastNext = next + (bytesLeft - kReach);
  std::uint8_t* out = window.cursor();
  const std::uint8_t* const lastOut = out + (roomLeft - kMaxLZVNRun);
  const std::uint8_t* const begin = out - window.history();
  std::uint32_t distance = step_.distance;
  while (next <= lastNext && out <= lastOut) {
    const LZVNOpcode& opcode = kLZVNOpcodes[*next];
    const LZVNStep step = stepOf(opcode, loadLittleEndian<std::uint32_t>(next), distance);
    std::uint8_t* const match = out + step.literals;
    const bool isUndefinedOrEnd = opcode.size == 0 || opcode.size == kLZVNEndMarkerBytes;
    if (isUndefinedOrEnd || reachesTooFar(step.distance, static_cast<std::size_t>(match - begin))) [[unlikely]]
      break;
    const std::uint8_t* const literals = next + opcode.size;
    next = literals + step.literals;
    wideCopy(out, literals, step.literals);
    copyMatch(match, step.distance, step.match);
    out = match + step.match;
    distance = step.distance;
  }
  step_.distance = distance;
  const auto taken = static_cast<std::size_t>(next - input.next);
  input.take(taken);
  payloadLeft_ -= static_cast<std::uint32_t>(taken);
  const auto made = static_cast<std::size_t>(out - window.cursor());
  window.advance(made);
  outputLeft_ -= static_cast<std::uint32_t>(made);
}

bool LZVNBlock::finishOpcode(Input& input, Window& window) {
  const std::size_t literals = std::min({std::size_t{step_.literals}, input.size, window.room()});
  window.append(input.take(literals), literals);
  step_.literals -= static_cast<std::uint32_t>(literals);
  if (step_.literals > 0) return false;
  const std::size_t match = std::min<std::size_t>(step_.match, window.room());
  if (match > 0) window.appendMatch(step_.distance, match);
  step_.match -= static_cast<std::uint32_t>(match);
  return step_.match == 0;
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
