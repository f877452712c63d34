#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <new>
#include <span>
#include <string_view>
#include <vector>

namespace tovrin {

/// A read-only list that lives in an arena, compared by its elements.
template <class T>
class ArenaList : public std::span<const T> {
 public:
  using std::span<const T>::span;
  ArenaList(std::span<const T> elements) : std::span<const T>(elements) {}

  friend bool operator==(const ArenaList& a, const ArenaList& b) { return std::ranges::equal(a, b); }
};

/// Owns the texts and lists that records of one document point into: one allocation per chunk instead of several per
/// record. Everything stays valid, unmoved, until the arena goes. Filled by one thread.
class TextArena {
 public:
  explicit TextArena(std::size_t firstChunkBytes = 4096) : memory_(std::max<std::size_t>(firstChunkBytes, 64)) {}
  TextArena(const TextArena&) = delete;
  TextArena& operator=(const TextArena&) = delete;

  std::string_view add(std::string_view text) {
    if (text.empty()) return std::string_view("", 0);
    char* copy = static_cast<char*>(memory_.allocate(text.size(), 1));
    std::ranges::copy(text, copy);
    return {copy, text.size()};
  }

  template <class T>
  ArenaList<T> add(const std::vector<T>& elements) {
    static_assert(std::is_trivially_destructible_v<T>);
    if (elements.empty()) return {};
    T* copy = static_cast<T*>(memory_.allocate(sizeof(T) * elements.size(), alignof(T)));
    std::ranges::uninitialized_copy(elements, std::span(copy, elements.size()));
    return std::span<const T>(copy, elements.size());
  }

 private:
  std::pmr::monotonic_buffer_resource memory_;
};

}  // namespace tovrin
