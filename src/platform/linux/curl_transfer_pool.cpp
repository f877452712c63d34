#include "platform/linux/curl_transfer_pool.h"

#include <cstddef>
#include <utility>

namespace tovrin {

namespace {

// As many connections as the system's own URL loading keeps to one host.
constexpr std::size_t kIdleSlots = 6;

}  // namespace

std::unique_ptr<CurlSlot> CurlSlot::make() {
  CURL* easy = curl_easy_init();
  CURLM* multi = curl_multi_init();
  if (easy != nullptr && multi != nullptr) return std::unique_ptr<CurlSlot>(new CurlSlot(easy, multi));
  curl_easy_cleanup(easy);
  curl_multi_cleanup(multi);
  return nullptr;
}

CurlSlot::~CurlSlot() {
  curl_easy_cleanup(easy_);
  curl_multi_cleanup(multi_);
}

std::unique_ptr<CurlSlot> CurlTransferPool::take() {
  {
    const std::lock_guard hold(lock_);
    if (!idle_.empty()) {
      std::unique_ptr<CurlSlot> slot = std::move(idle_.back());
      idle_.pop_back();
      return slot;
    }
  }
  return CurlSlot::make();
}

void CurlTransferPool::giveBack(std::unique_ptr<CurlSlot> slot) {
  const std::lock_guard hold(lock_);
  if (idle_.size() < kIdleSlots) idle_.push_back(std::move(slot));
}

}  // namespace tovrin
