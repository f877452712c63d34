#include "platform/sha256.h"

#include <CommonCrypto/CommonDigest.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/encoding.h"

namespace tovrin {

struct SHA256::State {
  State() { CC_SHA256_Init(&context); }
  CC_SHA256_CTX context;
};

SHA256::SHA256() : state_(std::make_unique<State>()) {}
SHA256::~SHA256() = default;
SHA256::SHA256(SHA256&&) noexcept = default;
SHA256& SHA256::operator=(SHA256&&) noexcept = default;

void SHA256::update(std::span<const std::byte> bytes) {
  constexpr std::size_t kLargestPiece = std::numeric_limits<CC_LONG>::max();
  while (!bytes.empty()) {
    const std::span<const std::byte> piece = bytes.first(std::min(bytes.size(), kLargestPiece));
    CC_SHA256_Update(&state_->context, piece.data(), static_cast<CC_LONG>(piece.size()));
    bytes = bytes.subspan(piece.size());
  }
}

std::string SHA256::finalizeHex() {
  std::array<std::byte, CC_SHA256_DIGEST_LENGTH> digest;
  CC_SHA256_Final(reinterpret_cast<unsigned char*>(digest.data()), &state_->context);
  return hexEncode(digest);
}

}  // namespace tovrin
