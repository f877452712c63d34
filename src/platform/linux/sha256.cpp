#include "platform/sha256.h"

#include <openssl/evp.h>

#include <utility>

#include "foundation/encoding.h"

namespace tovrin {

namespace {

constexpr std::size_t kDigestBytes = 32;

/// Looked up once: for small files the look-up costs more than the hash. Lives as long as the process.
const EVP_MD* sha256Algorithm() {
  static const EVP_MD* algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  return algorithm;
}

}  // namespace

struct SHA256::State {
  State() : context(EVP_MD_CTX_new()) {
    usable = context != nullptr && sha256Algorithm() != nullptr &&
             EVP_DigestInit_ex2(context, sha256Algorithm(), nullptr) == 1;
  }
  ~State() { EVP_MD_CTX_free(context); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  EVP_MD_CTX* context;
  bool usable;
};

SHA256::SHA256() : state_(std::make_unique<State>()) {}
SHA256::~SHA256() = default;
SHA256::SHA256(SHA256&&) noexcept = default;
SHA256& SHA256::operator=(SHA256&&) noexcept = default;

void SHA256::update(std::span<const std::byte> bytes) {
  if (state_->usable) state_->usable = EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()) == 1;
}

std::string SHA256::finalizeHex() {
  std::array<std::byte, kDigestBytes> digest;
  auto* const output = reinterpret_cast<unsigned char*>(digest.data());
  if (!state_->usable || EVP_DigestFinal_ex(state_->context, output, nullptr) != 1) return {};
  return hexEncode(digest);
}

}  // namespace tovrin
