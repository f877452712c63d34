#include "materialize/worker_url.h"

#include <algorithm>

namespace tovrin {
namespace {

constexpr bool isAllowedInURLPath(char character) {
  if (character >= 'a' && character <= 'z') return true;
  if (character >= 'A' && character <= 'Z') return true;
  if (character >= '0' && character <= '9') return true;
  return std::string_view("!$&'()*+,-./:=@_~").contains(character);
}

void appendPercentEncoded(std::string& text, char character) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(character);
  text += '%';
  text += kDigits[byte >> 4U];
  text += kDigits[byte & 0x0FU];
}

}  // namespace

bool beginsWithHost(std::string_view httpAddress) { return !httpAddress.empty() && httpAddress.front() != '/'; }

std::string percentEncodedForURLPath(std::string_view text) {
  std::string encoded;
  encoded.reserve(text.size());
  bool inFirstSegment = true;
  for (const char character : text) {
    inFirstSegment = inFirstSegment && character != '/';
    if (isAllowedInURLPath(character) && !(inFirstSegment && character == ':')) {
      encoded += character;
    } else {
      appendPercentEncoded(encoded, character);
    }
  }
  return encoded;
}

std::string_view bucketOf(std::optional<TovrinPayloadNamespace> payloadNamespace) {
  return payloadNamespace == TovrinPayloadNamespace::warp ? "tovrin-warped" : "tovrin";
}

std::string objectURL(std::string_view httpAddress, std::string_view key,
                      std::optional<TovrinPayloadNamespace> payloadNamespace) {
  std::string url = "http://";
  url.append(httpAddress).append("/api/worker/object/").append(percentEncodedForURLPath(key));
  url.append("?bucket=").append(bucketOf(payloadNamespace));
  return url;
}

std::string accountsURL(std::string_view httpAddress) {
  return std::string("http://").append(httpAddress).append("/api/worker/accounts");
}

}  // namespace tovrin
