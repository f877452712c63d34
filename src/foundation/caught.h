#pragma once

#include <cerrno>
#include <exception>
#include <new>

#include "foundation/result.h"

namespace tovrin {

/// What an exception becomes. Made before it is needed: there may be no memory to make it when it is.
struct ExceptionErrors {
  NSError outOfMemory = NSError::posix(ENOMEM);
  NSError other = NSError::cocoa(CocoaErrorCode::fileReadUnknown);
};

inline const ExceptionErrors& exceptionErrors() {
  static const ExceptionErrors errors;
  return errors;
}

/// The Result of `work`; what it throws (no memory, no thread) becomes its error. The edge of every task.
template <class Work>
auto caught(Work&& work) noexcept -> decltype(work()) {
  const ExceptionErrors& errors = exceptionErrors();
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return failure(errors.outOfMemory);
  } catch (const std::exception&) {
    return failure(errors.other);
  }
}

}  // namespace tovrin
