#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>

#include "foundation/date.h"
#include "foundation/result.h"
#include "platform/platform.h"
#include "shared/manifest.h"

namespace tovrin {

/// Where the worker is and how to log in, as the main application last wrote it. Read afresh for every fetch.
struct TovrinWarpRenterdConnectionSnapshot {
  std::string httpAddress;  ///< host:port, without a scheme
  std::string apiPassword;  ///< never logged, never part of an error or a URL
  Date updatedAt;
};

/// One account of the worker; ready when it does not require a sync.
struct TovrinFileProviderWorkerAccount {
  bool requiresSync = false;
};

struct WorkerReady {};
struct WorkerWaiting {
  std::int64_t readyAccounts = 0;
};
using ProbeOutcome = std::variant<WorkerReady, WorkerWaiting>;

inline constexpr std::int64_t kRequiredReadyAccounts = 10;

/// The decoding error or the file-system error, unchanged. `containerDirectory` is the Warp directory.
Result<TovrinWarpRenterdConnectionSnapshot> readConnectionSnapshot(const std::filesystem::path& containerDirectory);

std::string objectURL(const TovrinWarpRenterdConnectionSnapshot& snapshot, std::string_view key,
                      std::optional<TovrinPayloadNamespace> payloadNamespace);

/// The client of the worker's HTTP API. Keeps nothing between calls. Thread-safe.
class RenterdClient {
 public:
  explicit RenterdClient(const Platform& platform) : platform_(platform) {}

  struct ObjectRequest {
    std::string_view key;
    std::optional<TovrinPayloadNamespace> namespace_;
    std::filesystem::path directory;           ///< where the temporary file is made
    std::optional<std::int64_t> byteLimit;     ///< more than this cannot be right and is cut off
  };
  /// The object's whole body in a temporary file that the caller removes. Any status but 2xx is the not-reachable error;
  /// transport errors are passed on.
  Result<std::filesystem::path> downloadObject(const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                               const ObjectRequest& request, std::stop_token stop);

  Result<ProbeOutcome> probeAccounts(const TovrinWarpRenterdConnectionSnapshot& snapshot, std::stop_token stop);

  /// Polls once a second until ten accounts are ready, 90 seconds at most; then the not-reachable error. `waiting` is
  /// called after each poll that was not ready, and a last time, with `timedOut`, at the deadline. A stop ends the wait
  /// at its next check with NSCocoaErrorDomain 3072.
  enum class WaitPhase { preparing, timedOut };
  Result<void> waitUntilReady(const TovrinWarpRenterdConnectionSnapshot& snapshot,
                              const std::function<void(WaitPhase, std::int64_t readyAccounts)>& waiting, std::stop_token stop);

 private:
  Platform platform_;
};

}  // namespace tovrin
