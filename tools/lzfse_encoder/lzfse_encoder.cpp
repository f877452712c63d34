#include "lzfse_encoder/lzfse_encoder.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "lzfse/limits.h"
#include "lzfse_encoder/block_writer.h"
#include "lzfse_encoder/lzvn_writer.h"
#include "lzfse_encoder/match_finder.h"

namespace tovrin {

using lzfse::Match;

/// Keeps the bytes that matches may refer to and, behind them, those that are still to be encoded.
class LZFSEEncoder::Blocks {
 public:
  void append(std::span<const std::byte> bytes, std::string& out) {
    while (!bytes.empty()) {
      const std::size_t count = std::min(bytes.size(), kFresh - (bytes_.size() - encoded_));
      const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
      bytes_.insert(bytes_.end(), begin, begin + count);
      bytes = bytes.subspan(count);
      if (bytes_.size() - encoded_ == kFresh) encodeFresh(out);
    }
  }

  void finish(std::string& out) {
    if (encoded_ == 0 && bytes_.size() < kSmall) {
      lzfse::appendSmallBlock(bytes_, out);
    } else {
      encodeFresh(out);
    }
    out += "bvx$";
  }

 private:
  static constexpr std::size_t kFresh = 256 * 1024;
  /// Fewer bytes are not worth the tables of a compressed block.
  static constexpr std::size_t kSmall = 4096;
  static constexpr lzfse::MatchFinder::Limits kMatches{
      .shortestMatch = 4, .longestMatch = lzfse::kMaxMatchLength, .largestDistance = lzfse::kMaxDistance};

  void encodeFresh(std::string& out) {
    const std::span<const std::uint8_t> all(bytes_);
    std::size_t blockBegin = encoded_;
    const auto add = [&](std::span<const std::uint8_t> literals, Match match) {
      writer_.add(literals, match);
      encoded_ += literals.size() + match.length;
      if (!writer_.full()) return;
      writer_.finish(all.subspan(blockBegin, encoded_ - blockBegin), out);
      blockBegin = encoded_;
    };
    finder_.cut(all, encoded_, [&](std::span<const std::uint8_t> literals, Match match) {
      for (; literals.size() > lzfse::kMaxLiteralRun; literals = literals.subspan(lzfse::kMaxLiteralRun)) {
        add(literals.first(lzfse::kMaxLiteralRun), Match{});
      }
      add(literals, match);
    });
    if (blockBegin < encoded_) writer_.finish(all.subspan(blockBegin), out);
    forget();
  }

  /// What is too far back for a match.
  void forget() {
    if (bytes_.size() <= lzfse::kMaxDistance) return;
    const std::size_t count = bytes_.size() - lzfse::kMaxDistance;
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count));
    finder_.forget(count);
    encoded_ -= count;
  }

  std::vector<std::uint8_t> bytes_;
  std::size_t encoded_ = 0;
  lzfse::MatchFinder finder_{kMatches};
  lzfse::BlockWriter writer_;
};

LZFSEEncoder::LZFSEEncoder() : blocks_(std::make_unique<Blocks>()) {}
LZFSEEncoder::~LZFSEEncoder() = default;
LZFSEEncoder::LZFSEEncoder(LZFSEEncoder&&) noexcept = default;
LZFSEEncoder& LZFSEEncoder::operator=(LZFSEEncoder&&) noexcept = default;

void LZFSEEncoder::append(std::span<const std::byte> bytes, std::string& out) { blocks_->append(bytes, out); }

void LZFSEEncoder::finish(std::string& out) { blocks_->finish(out); }

std::string encodeLZFSE(std::string_view bytes) {
  std::string out;
  LZFSEEncoder encoder;
  encoder.append(std::as_bytes(std::span(bytes)), out);
  encoder.finish(out);
  return out;
}

}  // namespace tovrin
