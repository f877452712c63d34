#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace tovrin {

/// SHA-256 over bytes that arrive in pieces.
class SHA256 {
 public:
  SHA256();
  ~SHA256();
  SHA256(SHA256&&) noexcept;
  SHA256& operator=(SHA256&&) noexcept;

  void update(std::span<const std::byte> bytes);
  /// 64 lower-case hexadecimal digits; empty, and so equal to no checksum, when the system's cryptography gave no
  /// memory. The object must not be used afterwards.
  std::string finalizeHex();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

inline std::string sha256Hex(std::string_view bytes) {
  SHA256 hash;
  hash.update(std::as_bytes(std::span(bytes)));
  return hash.finalizeHex();
}

}  // namespace tovrin
