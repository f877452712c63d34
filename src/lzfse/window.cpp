#include "lzfse/window.h"

#include <algorithm>
#include <cstring>

namespace tovrin::lzfse {

void Window::open(std::size_t wanted) {
  std::size_t free = kHistory + kFresh - history();
  if (free < std::min(wanted, kFresh / 2)) {
    std::memcpy(bytes_.data(), cursor_ - kHistory, kHistory);
    cursor_ = bytes_.data() + kHistory;
    free = kFresh;
  }
  opened_ = cursor_;
  limit_ = cursor_ + std::min(wanted, free);
}

void Window::append(const std::uint8_t* bytes, std::size_t count) { cursor_ = std::copy_n(bytes, count, cursor_); }

void Window::appendMatch(std::size_t distance, std::size_t count) {
  copyMatch(cursor_, distance, count);
  cursor_ += count;
}

}  // namespace tovrin::lzfse
