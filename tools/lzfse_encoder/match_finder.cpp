#include "lzfse_encoder/match_finder.h"

#include <algorithm>

#include "lzfse/bytes.h"

namespace tovrin::lzfse {
namespace {

constexpr int kHashBits = 16;
constexpr std::size_t kHashedBytes = 4;
constexpr int kTries = 24;
/// A short match from far away costs more bits than its literals.
constexpr std::uint32_t kFar = 32 * 1024;

std::size_t hashAt(std::span<const std::uint8_t> bytes, std::size_t position) {
  return loadLittleEndian<std::uint32_t>(bytes.data() + position) * 2654435761U >> (32 - kHashBits);
}

}  // namespace

MatchFinder::MatchFinder(Limits limits) : limits_(limits), latest_(std::size_t{1} << kHashBits, -1) {}

Match MatchFinder::find(std::span<const std::uint8_t> bytes, std::size_t position) const {
  if (position + kHashedBytes > bytes.size()) return {};
  const std::size_t longest = std::min<std::size_t>(bytes.size() - position, limits_.longestMatch);
  const auto here = bytes.subspan(position, longest);
  Match best;
  std::int32_t candidate = latest_[hashAt(bytes, position)];
  for (int tries = kTries; tries > 0 && candidate >= 0 && best.length < longest; --tries) {
    const auto distance = static_cast<std::uint32_t>(position - static_cast<std::size_t>(candidate));
    if (distance > limits_.largestDistance) break;
    const std::uint8_t* const there = bytes.data() + candidate;
    if (there[best.length] == here[best.length]) {
      const auto length =
          static_cast<std::uint32_t>(std::ranges::mismatch(here, std::span(there, longest)).in1 - here.begin());
      const std::uint32_t shortest = limits_.shortestMatch + (distance > kFar ? 1 : 0);
      if (length > best.length && length >= shortest) best = {length, distance};
    }
    candidate = previous_[static_cast<std::size_t>(candidate)];
  }
  return best;
}

void MatchFinder::insert(std::span<const std::uint8_t> bytes, std::size_t position) {
  if (previous_.size() < bytes.size()) previous_.resize(bytes.size(), -1);
  if (position + kHashedBytes > bytes.size()) return;
  std::int32_t& latest = latest_[hashAt(bytes, position)];
  previous_[position] = latest;
  latest = static_cast<std::int32_t>(position);
}

void MatchFinder::forget(std::size_t count) {
  previous_.erase(previous_.begin(),
                  previous_.begin() + static_cast<std::ptrdiff_t>(std::min(count, previous_.size())));
  const auto gone = static_cast<std::int32_t>(count);
  for (std::int32_t& position : latest_) position = std::max(position - gone, -1);
  for (std::int32_t& position : previous_) position = std::max(position - gone, -1);
}

}  // namespace tovrin::lzfse
