#pragma once

#include <curl/curl.h>

#include <memory>
#include <mutex>
#include <vector>

namespace tovrin {

/// What one transfer at a time needs. The multi handle holds the open connection, so a slot that is used again finds
/// it.
class CurlSlot {
 public:
  /// Nothing when libcurl has no memory.
  static std::unique_ptr<CurlSlot> make();
  ~CurlSlot();
  CurlSlot(const CurlSlot&) = delete;
  CurlSlot& operator=(const CurlSlot&) = delete;

  CURL* easy() const { return easy_; }
  CURLM* multi() const { return multi_; }

 private:
  CurlSlot(CURL* easy, CURLM* multi) : easy_(easy), multi_(multi) {}

  CURL* easy_;
  CURLM* multi_;
};

/// Slots that wait for their next transfer, the one used last on top: its connection is the likeliest to be open still.
/// Safe to use from any thread.
class CurlTransferPool {
 public:
  /// A slot for the caller alone; nothing when libcurl has no memory.
  std::unique_ptr<CurlSlot> take();
  /// Keeps the slot for a later transfer, or closes its connection when enough of them wait already.
  void giveBack(std::unique_ptr<CurlSlot> slot);

 private:
  std::mutex lock_;
  std::vector<std::unique_ptr<CurlSlot>> idle_;
};

}  // namespace tovrin
