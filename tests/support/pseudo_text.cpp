#include "pseudo_text.h"

#include <random>
#include <vector>

namespace tovrin {

std::string pseudoText(std::size_t size, std::uint64_t seed) {
  static const std::vector<std::string> kWords = [] {
    std::mt19937_64 random(11);
    std::vector<std::string> words(4096);
    for (std::string& word : words) {
      for (std::uint64_t syllables = 1 + random() % 4; syllables > 0; --syllables) {
        word += "bcdfghklmnprstvw"[random() % 16];
        word += "aeiou"[random() % 5];
        if (random() % 3 == 0) word += "nrst"[random() % 4];
      }
    }
    return words;
  }();
  std::mt19937_64 random(seed);
  std::string text;
  while (text.size() < size) {
    // Small numbers come more often.
    const std::uint64_t magnitude = random() % 13;
    text += kWords[random() % (std::uint64_t{1} << magnitude)];
    text += random() % 12 == 0 ? ".\n" : " ";
  }
  text.resize(size);
  return text;
}

}  // namespace tovrin
