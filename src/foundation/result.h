#pragma once

#include <expected>
#include <utility>

#include "foundation/error.h"

namespace tovrin {

/// A value, or the reason why there is none. Nothing that a face calls throws.
template <class T>
using Result = std::expected<T, NSError>;

inline std::unexpected<NSError> failure(NSError error) { return std::unexpected(std::move(error)); }

}  // namespace tovrin

#define TOVRIN_CONCATENATE_(a, b) a##b
#define TOVRIN_CONCATENATE(a, b) TOVRIN_CONCATENATE_(a, b)

/// Declares a variable from a Result, or returns the Result's error from the enclosing function:
///
///     TOVRIN_TRY(const std::string bytes, readWholeFile(path));
#define TOVRIN_TRY(declaration, ...) TOVRIN_TRY_(TOVRIN_CONCATENATE(tovrinResult_, __LINE__), declaration, __VA_ARGS__)
#define TOVRIN_TRY_(result, declaration, ...)                         \
  auto result = (__VA_ARGS__);                                        \
  if (!result) return ::std::unexpected(::std::move(result).error()); \
  declaration = ::std::move(result).value()

/// Returns the error of a `Result<void>` from the enclosing function; goes on when there is none.
#define TOVRIN_CHECK(...)                                            \
  do {                                                               \
    if (auto tovrinChecked_ = (__VA_ARGS__); !tovrinChecked_)        \
      return ::std::unexpected(::std::move(tovrinChecked_).error()); \
  } while (false)
