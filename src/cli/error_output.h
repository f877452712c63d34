#pragma once

#include <string>

#include "cli/outcome.h"

namespace tovrin::cli {

enum class ErrorFormat { plain, json };

/// The one place where failures reach standard error: a line `tovrin: SUBJECT: sentence (cause)`, or one JSON object.
void reportFailure(const Failure& failure, ErrorFormat format);

/// A decoding error by its key path and rule, any other error by its own description.
std::string sentence(const NSError& error);

}  // namespace tovrin::cli
