#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"

namespace tovrin::worker {

/// What one poll of the accounts finds.
struct AccountsStep {
  std::size_t ready = 0;
  std::size_t total = 0;  ///< those beyond `ready` still require a sync
};

/// "12", or one step per poll with the last one staying: "0,4,11,7/12" (ready/total). NSPOSIXErrorDomain EINVAL else.
Result<std::vector<AccountsStep>> parseAccountsSteps(std::string_view text);

enum class UnknownFields : bool { no, yes };

/// The worker's accounts, which grow and shrink from poll to poll. Thread-safe.
class AccountsScript {
 public:
  /// No steps: a worker without contracts, whose list is empty.
  explicit AccountsScript(std::vector<AccountsStep> steps) : steps_(std::move(steps)) {}

  void replace(std::vector<AccountsStep> steps);

  /// The body of the next poll: an indented array in an order that changes with each poll, with balances beyond 64
  /// bits.
  std::string nextBody(UnknownFields unknownFields);

 private:
  std::mutex lock_;
  std::vector<AccountsStep> steps_;
  std::size_t polls_ = 0;
};

}  // namespace tovrin::worker
