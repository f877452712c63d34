#pragma once

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "foundation/character_block.h"
#include "foundation/json/coding.h"

namespace tovrin::json {

template <CodedRecord Record>
inline constexpr std::size_t fieldCount = std::tuple_size_v<std::remove_cvref_t<decltype(fieldsOf<Record>)>>;

template <CodedRecord Record>
inline constexpr auto keysOf =
    std::apply([](const auto&... fields) { return std::array<std::string_view, sizeof...(fields)>{fields.key...}; },
               fieldsOf<Record>);

/// A key with the quote behind it, to be compared a few blocks at a time without a branch between them.
template <std::size_t blocks>
class SpelledKey {
 public:
  constexpr explicit SpelledKey(std::string_view key) {
    std::ranges::copy(key, text_.begin());
    text_[key.size()] = '"';
    std::fill_n(mask_.begin(), key.size() + 1, '\xFF');
  }

  /// Reads all the blocks.
  bool isAt(const char* raw) const {
    CharacterBlock difference{};
    for (std::size_t at = 0; at < text_.size(); at += sizeof difference)
      difference |= (blockAt(raw + at) ^ blockAt(&text_[at])) & blockAt(&mask_[at]);
    return !holdsAnywhere(difference);
  }

 private:
  using Text = std::array<char, blocks * sizeof(CharacterBlock)>;
  alignas(CharacterBlock) Text text_{};
  alignas(CharacterBlock) Text mask_{};
};

template <CodedRecord Record>
inline constexpr auto spelledKeys = [] {
  using Key =
      SpelledKey<std::ranges::max(keysOf<Record>, {}, &std::string_view::size).size() / sizeof(CharacterBlock) + 1>;
  static_assert(sizeof(Key) <= 2 * simdjson::SIMDJSON_PADDING);
  return std::apply([](const auto&... fields) { return std::array{Key(fields.key)...}; }, fieldsOf<Record>);
}();

/// Where the key of a member stands in the record's list. A writer keeps one order of keys for all objects of a kind,
/// whichever it is: each key is first compared with the one that followed the same key in the object before.
template <class T>
class KeyOrder {};

template <CodedRecord Record>
class KeyOrder<Record> {
 public:
  static constexpr std::size_t kUnknown = fieldCount<Record>;

  KeyOrder() { std::iota(following_.begin(), following_.end(), std::uint8_t{0}); }

  void beginObject() { previous_ = 0; }

  /// The field with this key, or `kUnknown`.
  std::size_t indexOf(std::string_view key) const {
    return static_cast<std::size_t>(std::ranges::find(keysOf<Record>, key) - keysOf<Record>.begin());
  }
  /// The field whose key is spelled, without escapes, at `raw`, right behind the opening quote, or `kUnknown`. The
  /// document is padded: comparing a few bytes too many stays inside it.
  std::size_t indexAt(const char* raw) {
    const std::size_t expected = following_[previous_];
    if (expected != kUnknown && spelledKeys<Record>[expected].isAt(raw)) return met(expected);
    for (std::size_t step = 1; step <= kUnknown; ++step) {
      const std::size_t index = (expected + step) % (kUnknown + 1);
      if (index != kUnknown && spelledKeys<Record>[index].isAt(raw)) return met(index);
    }
    return kUnknown;
  }

 private:
  static_assert(fieldCount<Record> < 0xFF);

  std::size_t met(std::size_t index) {
    following_[previous_] = static_cast<std::uint8_t>(index);
    previous_ = index + 1;
    return index;
  }

  /// The field behind the one at each index less 1; the first is the one that begins an object.
  std::array<std::uint8_t, fieldCount<Record> + 1> following_;
  std::size_t previous_ = 0;
};

}  // namespace tovrin::json
