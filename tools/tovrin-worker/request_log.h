#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/result.h"
#include "tovrin-worker/http_text.h"

namespace tovrin {

/// One request as the worker met it.
struct WorkerRequest {
  std::string method;
  std::string target;  ///< as sent: path and query, percent-encoded
  worker::Headers headers;
  std::uint64_t connection = 0;  ///< requests with the same number came over the same connection
  int status = 0;                ///< 0 as long as no header was sent
  std::int64_t bodyBytes = 0;    ///< of the answer, as far as they were sent
  bool finished = false;

  const std::string* header(std::string_view name) const { return worker::findHeader(headers, name); }
};

}  // namespace tovrin

namespace tovrin::worker {

/// The latest requests in the order of their arrival (the oldest of many thousand are forgotten), and a file with one
/// line for each that is finished: method, path, status, bytes. Thread-safe.
class RequestLog {
 public:
  /// `secret` is masked wherever it would be written.
  Result<void> openFile(const std::filesystem::path& path, std::string secret);

  std::size_t begin(const RequestHead& head, std::uint64_t connection);
  void headerSent(std::size_t request, int status);
  void finish(std::size_t request, std::int64_t bodyBytes);

  std::vector<WorkerRequest> requests() const;
  void clear();
  /// Until so many requests have arrived since the start or the last `clear`; false when they do not in time.
  bool waitForArrivals(std::size_t count, std::chrono::milliseconds patience) const;
  bool waitForFinished(std::size_t count, std::chrono::milliseconds patience) const;

 private:
  struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  WorkerRequest* find(std::size_t request);

  mutable std::mutex lock_;
  mutable std::condition_variable changed_;
  std::deque<WorkerRequest> requests_;
  std::size_t forgotten_ = 0;  // requests that came before the first one kept
  std::unique_ptr<std::FILE, FileCloser> file_;
  std::string secret_;
};

}  // namespace tovrin::worker
