#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "lzfse/limits.h"
#include "lzfse/wide_copy.h"

namespace tovrin::lzfse {

/// The newest part of a stream's output, which matches refer back to. Blocks write at `cursor` and never past `limit`;
/// what lies behind the limit is slack for wide copies.
class Window {
 public:
  /// Makes room for at most `wanted` more bytes, and for one at least if any are wanted. What was fresh is history now.
  void open(std::size_t wanted);

  std::uint8_t* cursor() const { return cursor_; }
  std::size_t room() const { return static_cast<std::size_t>(limit_ - cursor_); }
  /// How far back a match may reach: all of the stream's output, or at least the largest distance of the format.
  std::size_t history() const { return static_cast<std::size_t>(cursor_ - bytes_.data()); }
  /// What was written since `open`.
  std::span<const std::uint8_t> fresh() const { return {opened_, cursor_}; }

  /// Says that `count` bytes were written at the cursor.
  void advance(std::size_t count) { cursor_ += count; }
  void append(const std::uint8_t* bytes, std::size_t count);
  /// Of at most `room` bytes; `distance` is from 1 to `history`.
  void appendMatch(std::size_t distance, std::size_t count);

 private:
  static constexpr std::size_t kHistory = 256 * 1024;
  /// The more fresh bytes fit behind the history, the less often it has to be moved to the front.
  static constexpr std::size_t kFresh = 1024 * 1024;
  static_assert(kHistory >= kMaxDistance);
  static_assert(kFresh / 2 >= kHistory, "the history must not overlap the place that it is moved to");

  std::array<std::uint8_t, kHistory + kFresh + kCopySlack> bytes_;  // not cleared: a small stream uses little of it
  std::uint8_t* cursor_ = bytes_.data();
  std::uint8_t* opened_ = bytes_.data();
  std::uint8_t* limit_ = bytes_.data();
};

}  // namespace tovrin::lzfse
