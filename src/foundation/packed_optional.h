#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <optional>
#include <type_traits>

namespace tovrin {

/// A std::optional that takes one byte more than its value, wherever it stands: for records that there are millions of.
/// The value is handed out and taken in as a copy.
template <class T>
  requires std::is_trivially_copyable_v<T>
class PackedOptional {
 public:
  PackedOptional() = default;
  PackedOptional(std::nullopt_t) {}
  PackedOptional(const T& value) { *this = value; }
  PackedOptional(const std::optional<T>& value) {
    if (value) *this = *value;
  }
  PackedOptional& operator=(const T& value) {
    std::memcpy(bytes_.data(), &value, sizeof value);
    hasValue_ = true;
    return *this;
  }
  operator std::optional<T>() const { return hasValue_ ? std::optional(**this) : std::nullopt; }

  bool has_value() const { return hasValue_; }
  explicit operator bool() const { return hasValue_; }
  /// Without a value, whatever zero bytes stand for.
  T operator*() const {
    T value;
    std::memcpy(&value, bytes_.data(), sizeof value);
    return value;
  }
  T value_or(const T& other) const { return hasValue_ ? **this : other; }
  void reset() { *this = std::nullopt; }

  friend bool operator==(const PackedOptional& a, const PackedOptional& b) {
    return a.hasValue_ == b.hasValue_ && (!a.hasValue_ || *a == *b);
  }
  template <std::convertible_to<T> Other>
  friend bool operator==(const PackedOptional& a, const Other& b) {
    return a.hasValue_ && *a == T(b);
  }

 private:
  std::array<std::byte, sizeof(T)> bytes_{};
  bool hasValue_ = false;
};

}  // namespace tovrin
