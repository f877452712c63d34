#include "foundation/readable_size.h"

#include <array>
#include <cstdio>

namespace tovrin {

std::string readableSize(std::int64_t bytes) {
  if (bytes < 1024) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  constexpr std::array kUnits{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  double size = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  while (size >= 1023.95 && unit + 1 < kUnits.size()) {
    size /= 1024;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f %s", size, kUnits[unit]);
  return text.data();
}

}  // namespace tovrin
