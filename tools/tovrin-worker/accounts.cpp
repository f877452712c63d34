#include "tovrin-worker/accounts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>

namespace tovrin::worker {
namespace {

std::optional<std::size_t> parseCount(std::string_view text) {
  constexpr std::size_t kMostAccounts = 100'000;
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (error != std::errc() || end != text.data() + text.size() || count > kMostAccounts) return std::nullopt;
  return count;
}

std::string account(std::size_t number, bool ready, UnknownFields unknownFields) {
  constexpr std::string_view kStrangers =
      "    \"tier\": {\n      \"requiresSync\": \"nested\",\n      \"weights\": [1.5e-3, null, []]\n    },\n";
  return fmt::format(
      "  {{\n"
      "    \"id\": \"{:064x}\",\n"
      "    \"cleanShutdown\": true,\n"
      "    \"hostKey\": \"ed25519:{:064x}\",\n"
      "    \"balance\": {},\n"
      "    \"drift\": {},\n"
      "    \"owner\": \"worker\",\n"
      "{}"
      "    \"requiresSync\": {}\n"
      "  }}",
      number + 0x3b1f0c5a9dULL, number + 0x9a0b1c2d3eULL, ready ? "1000000000000000000000000" : "0",
      ready ? "-250000000000000000000000" : "0", unknownFields == UnknownFields::yes ? kStrangers : "", !ready);
}

}  // namespace

Result<std::vector<AccountsStep>> parseAccountsSteps(std::string_view text) {
  std::vector<AccountsStep> steps;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    const std::string_view step = text.substr(begin, end - begin);
    const std::size_t slash = std::min(step.find('/'), step.size());
    const auto ready = parseCount(step.substr(0, slash));
    const auto total = slash == step.size() ? ready : parseCount(step.substr(slash + 1));
    if (!ready || !total || *total < *ready) {
      return failure(
          NSError::posix(EINVAL, fmt::format("\"{}\" is no number of accounts (READY or READY/TOTAL).", step)));
    }
    steps.push_back({*ready, *total});
    begin = end + 1;
  }
  return steps;
}

void AccountsScript::replace(std::vector<AccountsStep> steps) {
  const std::lock_guard guard(lock_);
  steps_ = std::move(steps);
  polls_ = 0;
}

std::string AccountsScript::nextBody(UnknownFields unknownFields) {
  AccountsStep step;
  std::size_t rotation = 0;
  {
    const std::lock_guard guard(lock_);
    if (!steps_.empty()) step = steps_[std::min(polls_, steps_.size() - 1)];
    rotation = polls_++;
  }
  if (step.total == 0) return "[]\n";
  std::string body = "[\n";
  for (std::size_t position = 0; position < step.total; ++position) {
    const std::size_t number = (position + rotation) % step.total;
    body += account(number, number < step.ready, unknownFields);
    body += position + 1 < step.total ? ",\n" : "\n";
  }
  return body + "]\n";
}

}  // namespace tovrin::worker
