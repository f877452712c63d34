#include "materialize/renterd_client.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/encoding.h"
#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "materialize/errors.h"
#include "materialize/worker_url.h"

namespace tovrin {

template <>
struct RecordCoding<TovrinFileProviderWorkerAccount> {
  static constexpr std::tuple fields{field("requiresSync", &TovrinFileProviderWorkerAccount::requiresSync)};
};

namespace {

constexpr double kObjectTimeoutSeconds = 120;
constexpr double kProbeTimeoutSeconds = 5;
constexpr std::chrono::seconds kPollInterval{1};

constexpr bool isSuccess(std::int64_t statusCode) { return statusCode >= 200 && statusCode <= 299; }

/// The worker compares the password only; the user name stays empty.
URLRequest authorizedRequest(std::string url, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                             double timeoutSeconds, std::string accept) {
  return {.url = std::move(url),
          .headers = {{"Authorization", "Basic " + base64Encode(":" + snapshot.apiPassword)},
                      {"Accept", std::move(accept)}},
          .timeoutSeconds = timeoutSeconds};
}

/// What a caller sees of a session's error: an address that makes no URL is a worker that cannot be reached, and a
/// transfer that ended because we stopped it was cancelled by the user. Everything else stays as it is.
NSError visibleError(NSError error, const std::stop_token& stop) {
  if (error.is(URLErrorCode::badURL)) return notReachableError();
  if (error.is(URLErrorCode::cancelled) && stop.stop_requested()) return NSError::cocoa(CocoaErrorCode::userCancelled);
  return error;
}

/// Nobody answers, or not in time: what a worker looks like that is still coming up.
bool isTransient(const NSError& error) {
  constexpr std::array kTransientCodes{URLErrorCode::timedOut, URLErrorCode::cannotConnectToHost,
                                       URLErrorCode::networkConnectionLost, URLErrorCode::resourceUnavailable};
  return std::ranges::any_of(kTransientCodes, [&](URLErrorCode code) { return error.is(code); });
}

bool isTransient(std::int64_t statusCode) {
  return statusCode == 500 || statusCode == 502 || statusCode == 503 || statusCode == 504;
}

Result<ProbeOutcome> countReadyAccounts(std::string_view body) {
  using Accounts = std::vector<TovrinFileProviderWorkerAccount>;
  TOVRIN_TRY(const Accounts accounts, decodeJSON<Accounts>(body));
  const std::int64_t ready = std::ranges::count(accounts, false, &TovrinFileProviderWorkerAccount::requiresSync);
  if (ready >= kRequiredReadyAccounts) return WorkerReady{};
  return WorkerWaiting{ready};
}

}  // namespace

Result<void> RenterdClient::downloadObject(const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                           const ObjectRequest& object, BodySink& sink, std::stop_token stop) {
  if (!beginsWithHost(snapshot.httpAddress)) return failure(notReachableError());
  const URLRequest request = authorizedRequest(objectURL(snapshot.httpAddress, object.key, object.namespace_), snapshot,
                                               kObjectTimeoutSeconds, "application/octet-stream");
  const Result<HTTPResponse> response = platform_.urlSession.receive(request, sink, stop);
  if (!response) return failure(visibleError(response.error(), stop));
  if (!isSuccess(response->statusCode)) return failure(notReachableError());
  return {};
}

Result<ReceivedData> RenterdClient::accountsAnswer(const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                                   std::stop_token stop) {
  if (!beginsWithHost(snapshot.httpAddress)) return failure(NSError::url(URLErrorCode::badURL));
  return platform_.urlSession.data(
      authorizedRequest(accountsURL(snapshot.httpAddress), snapshot, kProbeTimeoutSeconds, "application/json"), stop);
}

Result<ProbeOutcome> RenterdClient::outcomeOf(const ReceivedData& accountsAnswer) {
  const std::int64_t statusCode = accountsAnswer.response.statusCode;
  // A worker without the endpoint is one that needs no wait.
  if (statusCode == 404) return WorkerReady{};
  if (isSuccess(statusCode)) return countReadyAccounts(accountsAnswer.body);
  if (isTransient(statusCode)) return WorkerWaiting{0};
  return failure(notReachableError());
}

Result<ProbeOutcome> RenterdClient::probeAccounts(const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                                  std::stop_token stop) {
  const auto answer = accountsAnswer(snapshot, stop);
  if (answer) return outcomeOf(*answer);
  if (isTransient(answer.error())) return WorkerWaiting{0};
  return failure(visibleError(answer.error(), stop));
}

Result<void> RenterdClient::waitUntilReady(const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                           const std::function<void(WaitPhase, std::int64_t)>& waiting,
                                           std::stop_token stop) {
  // The uptime and not the wall clock: a user who sets the date must neither cut the wait short nor make it endless.
  const double deadline = platform_.clock.systemUptime() + kReadinessDeadlineSeconds;
  std::int64_t readyAccounts = 0;
  while (platform_.clock.systemUptime() < deadline) {
    if (stop.stop_requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    TOVRIN_TRY(const ProbeOutcome outcome, probeAccounts(snapshot, stop));
    if (std::holds_alternative<WorkerReady>(outcome)) return {};
    readyAccounts = std::get<WorkerWaiting>(outcome).readyAccounts;
    waiting(WaitPhase::preparing, readyAccounts);
    if (!platform_.clock.sleep(kPollInterval, stop)) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
  }
  waiting(WaitPhase::timedOut, readyAccounts);
  return failure(notReachableError());
}

}  // namespace tovrin
