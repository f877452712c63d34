#pragma once

#include <cerrno>
#include <exception>
#include <new>

#include "foundation/result.h"

namespace tovrin {

/// What an exception becomes. Made when the program starts: there may be no memory to make it when it is needed.
struct ExceptionErrors {
  NSError outOfMemory = NSError::posix(ENOMEM);
  NSError other = NSError::cocoa(CocoaErrorCode::fileReadUnknown);
};
inline const ExceptionErrors kExceptionErrors;

/// The Result of `work`; what it throws (no memory, no thread) becomes its error. The edge of every task.
template <class Work>
auto caught(Work&& work) noexcept -> decltype(work()) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return failure(kExceptionErrors.outOfMemory);
  } catch (const std::exception&) {
    return failure(kExceptionErrors.other);
  }
}

}  // namespace tovrin
