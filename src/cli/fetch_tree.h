#pragma once

#include <string>

#include "cli/outcome.h"
#include "cli/session.h"

namespace tovrin::cli {

/// `fetch -R`: makes local copies of all files of a folder in the running mount, several at once. Goes on when single
/// files fail and names them at the end.
Outcome fetchTree(Session& session, const std::string& item, bool json);

}  // namespace tovrin::cli
