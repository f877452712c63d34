#pragma once

#include <forward_list>
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
/// Null while all is well: one pointer test on the way where nothing fails. Lives as long as the `Problems` it is from.
using Status = Problem*;

/// What went wrong in one document.
class Problems {
 public:
  Status malformed() {
    Status problem = failed(DecodingFailure::Kind::dataCorrupted, "The given data was not valid JSON.");
    problem->malformed = true;
    return problem;
  }

  Status failed(DecodingFailure::Kind kind, std::string description) {
    Problem& problem = problems_.emplace_front();
    problem.failure.kind = kind;
    problem.failure.debugDescription = std::move(description);
    return &problem;
  }

  Status mismatch(std::string_view expected, ValueKind found) {
    return failed(DecodingFailure::Kind::typeMismatch, "Expected to decode " + std::string(expected) + " but found " +
                                                           std::string(describe(found)) + " instead.");
  }

 private:
  std::forward_list<Problem> problems_;
};

inline Status under(std::string_view key, Status status) {
  if (status && !status->malformed) status->failure.codingPath.emplace_back(key);
  return status;
}

}  // namespace tovrin::json
