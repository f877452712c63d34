#include "host/domain_key.h"

#include "platform/sha256.h"

namespace tovrin::host {

std::string domainKey(const std::filesystem::path& warpDirectory) {
  constexpr std::size_t kDigits = 16;
  std::error_code error;
  const std::filesystem::path canonical = std::filesystem::weakly_canonical(warpDirectory, error);
  return sha256Hex((error ? warpDirectory : canonical).native()).substr(0, kDigits);
}

}  // namespace tovrin::host
