#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string_view>
#include <variant>

#include "foundation/result.h"
#include "materialize/connection_snapshot.h"
#include "platform/platform.h"
#include "shared/manifest.h"

namespace tovrin {

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
inline constexpr double kReadinessDeadlineSeconds = 90;

/// The client of the worker's HTTP API. Keeps nothing between calls. Thread-safe. A call that ends because `stop` was
/// requested fails with NSCocoaErrorDomain 3072.
class RenterdClient {
 public:
  explicit RenterdClient(const Platform& platform) : platform_(platform) {}

  struct ObjectRequest {
    std::string_view key;
    std::optional<TovrinPayloadNamespace> namespace_;
  };
  /// Hands the object's body to `sink` as it comes; only on success was it the object. An address that makes no URL and
  /// any status but 2xx are the not-reachable error; transport errors are passed on.
  Result<void> downloadObject(const TovrinWarpRenterdConnectionSnapshot& snapshot, const ObjectRequest& object,
                              BodySink& sink, std::stop_token stop);

  /// What the worker answers when asked for its accounts, not judged yet; errors are those of the session.
  Result<ReceivedData> accountsAnswer(const TovrinWarpRenterdConnectionSnapshot& snapshot, std::stop_token stop);
  static Result<ProbeOutcome> outcomeOf(const ReceivedData& accountsAnswer);

  /// One look at the worker's accounts. A worker that is starting or overloaded is waiting with 0 accounts.
  Result<ProbeOutcome> probeAccounts(const TovrinWarpRenterdConnectionSnapshot& snapshot, std::stop_token stop);

  /// Polls once a second until ten accounts are ready, 90 seconds at most; then the not-reachable error. `waiting` is
  /// called after each poll that was not ready, and a last time, with `timedOut`, at the deadline. A stop ends the wait
  /// at its next check.
  enum class WaitPhase { preparing, timedOut };
  Result<void> waitUntilReady(const TovrinWarpRenterdConnectionSnapshot& snapshot,
                              const std::function<void(WaitPhase, std::int64_t readyAccounts)>& waiting,
                              std::stop_token stop);

 private:
  Platform platform_;
};

}  // namespace tovrin
