#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/outcome.h"
#include "cli/session.h"

namespace tovrin::cli {

/// A file below a folder.
struct TreeFile {
  NSFileProviderItemIdentifier identifier;
  std::string path;  ///< as the domain shows it, from what the user named on
  std::int64_t bytes = 0;
};

/// The files that can be downloaded, of a folder those of everything below it; of a file itself.
std::expected<std::vector<TreeFile>, Failure> treeFiles(Session& session, const std::string& item);

}  // namespace tovrin::cli
