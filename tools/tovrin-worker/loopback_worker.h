#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"
#include "tovrin-worker/request_log.h"

namespace tovrin {

struct LoopbackWorkerOptions {
  std::filesystem::path root;  ///< one folder per bucket, objects as files in it
  std::string password = "loopback";
  std::uint16_t port = 0;  ///< 0: the system chooses
  /// Ready accounts poll by poll, the last number staying: "12", "0,4,11,7/12" (ready/total).
  std::string accounts = "12";
  std::filesystem::path log{};  ///< empty: none
};

/// A stand-in for a storage worker on 127.0.0.1 that serves objects from a folder and goes wrong on request. It speaks
/// HTTP/1.1 over sockets of its own, because its purpose is what an HTTP library prevents: answers that break off,
/// stall, lie about their length or never come.
///
///     LoopbackWorker worker({.root = scratch / "objects"});
///     ASSERT_TRUE(worker.start());
///     ASSERT_TRUE(worker.putObject("tovrin", "photos/a.jpg", bytes));
///     ASSERT_TRUE(worker.addFault("cut after=0 key=photos/ times=1"));
///
/// Every connection has a thread. All functions are safe from any thread, except start and stop, which one thread
/// calls.
class LoopbackWorker {
 public:
  explicit LoopbackWorker(LoopbackWorkerOptions options);
  ~LoopbackWorker();
  LoopbackWorker(const LoopbackWorker&) = delete;
  LoopbackWorker& operator=(const LoopbackWorker&) = delete;

  /// Listens; connections are accepted when this returns. After a stop it takes the same port again.
  Result<void> start();
  /// Ends every connection, also those in the middle of an answer, and refuses new ones.
  void stop();

  /// "127.0.0.1:PORT", also while stopped: then nothing answers there.
  std::string address() const;
  const std::string& password() const;

  Result<void> createBucket(std::string_view bucket);
  /// Makes the bucket too when it is missing.
  Result<void> putObject(std::string_view bucket, std::string_view key, std::string_view bytes);
  /// The file that holds an object; write or remove it at will.
  std::filesystem::path objectPath(std::string_view bucket, std::string_view key) const;

  /// A line as fault.h describes it, such as "status code=502 route=accounts times=3".
  Result<void> addFault(std::string_view line);
  /// Also lets go of requests that are held by a fault.
  void clearFaults();
  /// Starts the accounts over; the text is that of the option.
  Result<void> setAccounts(std::string_view steps);

  /// In the order of arrival.
  std::vector<WorkerRequest> requests() const;
  void clearRequests();
  bool waitForArrivals(std::size_t count, std::chrono::milliseconds patience = std::chrono::seconds(20)) const;
  bool waitForFinished(std::size_t count, std::chrono::milliseconds patience = std::chrono::seconds(20)) const;
  /// The largest number of object requests that were being answered at the same time.
  std::size_t mostObjectRequestsAtOnce() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tovrin
