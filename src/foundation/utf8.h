#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tovrin {

struct UTF8Character {
  char32_t value = 0;
  std::size_t bytes = 1;
  bool valid = false;
};

/// The character at the front of a text that is not empty; one byte that is not valid when it is not UTF-8.
UTF8Character frontCharacter(std::string_view text);

/// Valid UTF-8, with U+FFFD where `text` is not.
std::string repairedUTF8(std::string_view text);

/// One line that is safe to show on a terminal, as `ls -b` shows it: control characters, characters that turn the
/// direction of writing and bytes that are not UTF-8 become escapes, and "\" is doubled.
std::string printable(std::string_view text);

}  // namespace tovrin
