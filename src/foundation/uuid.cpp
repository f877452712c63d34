#include "foundation/uuid.h"

#include <stdlib.h>

#include <array>
#include <string_view>

namespace tovrin {

std::string makeUUIDString() {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::array<unsigned char, 16> bytes;
  arc4random_buf(bytes.data(), bytes.size());
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // the variant of RFC 9562

  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

}  // namespace tovrin
