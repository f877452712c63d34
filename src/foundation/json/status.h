#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/error.h"
#include "foundation/json/scalars.h"

/// How decoding goes on, or why it stopped.
namespace tovrin::json {

/// Why decoding stopped; the path is collected from the inside out.
struct Problem {
  bool malformed = false;  ///< no JSON at all: reported without a path
  DecodingFailure failure;
};
/// Null while all is well: one pointer test on the way where nothing fails.
using Status = std::unique_ptr<Problem>;

inline Status malformed() {
  auto problem = std::make_unique<Problem>();
  problem->malformed = true;
  problem->failure.debugDescription = "The given data was not valid JSON.";
  return problem;
}

inline Status failed(DecodingFailure::Kind kind, std::string description) {
  auto problem = std::make_unique<Problem>();
  problem->failure.kind = kind;
  problem->failure.debugDescription = std::move(description);
  return problem;
}

inline Status under(std::string_view key, Status status) {
  if (status && !status->malformed) status->failure.codingPath.emplace_back(key);
  return status;
}

inline Status corrupted(std::string_view key, std::string_view message) {
  return under(key, failed(DecodingFailure::Kind::dataCorrupted, std::string(message)));
}

inline Status mismatch(std::string_view expected, ValueKind found) {
  return failed(DecodingFailure::Kind::typeMismatch, "Expected to decode " + std::string(expected) + " but found " +
                                                         std::string(describe(found)) + " instead.");
}

}  // namespace tovrin::json
