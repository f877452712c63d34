#pragma once

#include <expected>
#include <string>
#include <utility>

#include "foundation/result.h"

namespace tovrin::cli {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitWrongWords = 2;
inline constexpr int kExitInterrupted = 130;

/// Why a command failed, and on what: an ITEM or a file, as the user named it.
struct Failure {
  std::string subject;
  NSError error;
  std::string cause;  ///< the shared file that is at fault, when it is known
};

/// A command's exit status; a failure is still to be told to the user.
using Outcome = std::expected<int, Failure>;

/// The result with what it is about, for TOVRIN_TRY in a function that returns an Outcome.
template <class T>
std::expected<T, Failure> about(std::string_view subject, Result<T> result) {
  if (!result) return std::unexpected(Failure{std::string(subject), std::move(result).error(), {}});
  if constexpr (std::is_void_v<T>) {
    return {};
  } else {
    return std::move(result).value();
  }
}

}  // namespace tovrin::cli
