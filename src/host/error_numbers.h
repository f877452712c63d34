#pragma once

#include "foundation/error.h"

namespace tovrin::host {

/// What the error was met at.
enum class Operation {
  open,       ///< opening a file, which may download it
  closeEdit,  ///< handing over what was written to it
};

/// The errno that a program is told for an error: one that it has words for, and EIO only where data is bad or the
/// reason is unknown. Never one that makes programs try again by themselves. Always an errno of this system.
int errorNumber(const NSError& error, Operation operation);

}  // namespace tovrin::host
