#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tovrin {

/// A read-only list that lives in an arena, compared by its elements: one pointer, to the elements behind their number.
template <class T>
class ArenaList {
 public:
  using value_type = T;

  ArenaList() = default;

  bool empty() const { return elements_ == nullptr; }
  std::size_t size() const { return empty() ? 0 : *std::launder(reinterpret_cast<const std::size_t*>(elements_) - 1); }
  const T* data() const { return elements_; }
  const T* begin() const { return elements_; }
  const T* end() const { return elements_ + size(); }
  const T& operator[](std::size_t index) const { return elements_[index]; }
  const T& front() const { return *elements_; }

  friend bool operator==(const ArenaList& a, const ArenaList& b) { return std::ranges::equal(a, b); }

 private:
  friend class TextArena;
  static_assert(alignof(T) <= alignof(std::size_t));
  explicit ArenaList(const T* elements) : elements_(elements) {}

  const T* elements_ = nullptr;
};

/// A value that lives in an arena, or none: one pointer, for what few records have. Compared by its value.
template <class T>
class ArenaOptional {
 public:
  ArenaOptional() = default;
  ArenaOptional(std::nullopt_t) {}
  operator std::optional<T>() const { return has_value() ? std::optional(*value_) : std::nullopt; }

  bool has_value() const { return value_ != nullptr; }
  explicit operator bool() const { return has_value(); }
  const T& operator*() const { return *value_; }
  const T* operator->() const { return value_; }
  T value_or(const T& other) const { return has_value() ? *value_ : other; }
  void reset() { value_ = nullptr; }

  friend bool operator==(const ArenaOptional& a, const ArenaOptional& b) {
    return a.has_value() == b.has_value() && (!a.has_value() || *a == *b);
  }
  template <std::convertible_to<T> Other>
  friend bool operator==(const ArenaOptional& a, const Other& b) {
    return a.has_value() && *a == T(b);
  }

 private:
  friend class TextArena;
  explicit ArenaOptional(const T* value) : value_(value) {}

  const T* value_ = nullptr;
};

/// A record that lives in an arena, or none, which reads as an empty one: one pointer. Compared by its value.
template <class T>
class ArenaRecord {
 public:
  const T& operator*() const { return record_ != nullptr ? *record_ : kEmpty; }
  const T* operator->() const { return &**this; }

  friend bool operator==(const ArenaRecord& a, const ArenaRecord& b) { return *a == *b; }

 private:
  friend class TextArena;
  static inline const T kEmpty{};

  T* record_ = nullptr;
};

/// Owns the texts, lists and rare values that records of one document point into: one allocation per chunk instead of
/// several per record. Everything stays valid, unmoved, until the arena goes. Filled by one thread.
class TextArena {
 public:
  explicit TextArena(std::size_t chunkBytes = 4096) : chunkBytes_(chunkBytes) {}
  TextArena(const TextArena&) = delete;
  TextArena& operator=(const TextArena&) = delete;

  /// A text that ends the one added before it, as a name ends its path, takes no memory of its own.
  std::string_view add(std::string_view text) {
    if (last_.ends_with(text)) return last_.substr(last_.size() - text.size());
    char* copy = allocate(text.size(), 1);
    std::memcpy(copy, text.data(), text.size());
    return last_ = {copy, text.size()};
  }

  template <class T, class Allocator>
  ArenaList<T> add(const std::vector<T, Allocator>& elements) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (elements.empty()) return {};
    constexpr std::size_t kCountBytes = sizeof(std::size_t);
    char* memory = allocate(kCountBytes + sizeof(T) * elements.size(), alignof(std::size_t));
    new (memory) std::size_t(elements.size());
    T* copy = reinterpret_cast<T*>(memory + kCountBytes);
    std::ranges::uninitialized_copy(elements, std::span(copy, elements.size()));
    return ArenaList<T>(copy);
  }

  template <class T>
    requires std::is_trivially_copyable_v<T>
  ArenaOptional<T> keep(const T& value) {
    return ArenaOptional<T>(new (allocate(sizeof(T), alignof(T))) T(value));
  }
  /// The text too; one that many records repeat is kept once for most of them.
  ArenaOptional<std::string_view> keep(std::string_view text) {
    const std::string_view*& recent = recent_[text.size() % recent_.size()];
    if (recent == nullptr || *recent != text) {
      char* memory = allocate(sizeof(std::string_view), alignof(std::string_view));
      recent = new (memory) std::string_view(add(text));
    }
    return ArenaOptional<std::string_view>(recent);
  }

  /// The record to be filled in, made when it is asked for first. Copies of `record` made before see the same one.
  template <class T>
  T& filling(ArenaRecord<T>& record) {
    static_assert(std::is_trivially_copyable_v<T>);
    if (record.record_ == nullptr) record.record_ = new (allocate(sizeof(T), alignof(T))) T();
    return *record.record_;
  }

 private:
  char* allocate(std::size_t bytes, std::size_t alignment) {
    const std::size_t padding = -reinterpret_cast<std::uintptr_t>(next_) & (alignment - 1);
    const bool fits = padding + bytes <= static_cast<std::size_t>(end_ - next_);
    char* start = fits ? next_ + padding : addChunk(bytes);
    next_ = start + bytes;
    return start;
  }

  char* addChunk(std::size_t bytes) {
    const std::size_t size = std::max(bytes, chunkBytes_);
    chunks_.push_back(std::make_unique_for_overwrite<char[]>(size));
    end_ = chunks_.back().get() + size;
    return chunks_.back().get();
  }

  std::size_t chunkBytes_;
  std::vector<std::unique_ptr<char[]>> chunks_;
  char* next_ = nullptr;
  char* end_ = nullptr;
  std::string_view last_{"", 0};
  std::array<const std::string_view*, 8> recent_{};
};

}  // namespace tovrin
