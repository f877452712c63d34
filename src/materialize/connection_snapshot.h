#pragma once

#include <filesystem>
#include <string>

#include "foundation/date.h"
#include "foundation/result.h"

namespace tovrin {

/// Where the worker is and how to log in, as the main application last wrote it. Read afresh for every fetch.
struct TovrinWarpRenterdConnectionSnapshot {
  std::string httpAddress;  ///< host:port, without a scheme
  std::string apiPassword;  ///< never logged, never part of an error or a URL
  Date updatedAt;
};

/// The decoding error or the file-system error, unchanged. `containerDirectory` is the Warp directory.
Result<TovrinWarpRenterdConnectionSnapshot> readConnectionSnapshot(const std::filesystem::path& containerDirectory);

}  // namespace tovrin
