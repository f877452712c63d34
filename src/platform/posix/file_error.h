#pragma once

#include <filesystem>

#include "foundation/error.h"

namespace tovrin {

/// What was tried when a system call failed; the same errno means different things.
enum class FileOperation {
  read,
  update,  ///< a change of a file that has to be there
  create,  ///< a missing file is then a missing folder
  remove,
};

/// The Cocoa error of an errno, with a sentence that names the file.
NSError fileError(int errnoValue, FileOperation operation, const std::filesystem::path& path);

/// The same for an open file whose name is not known.
NSError fileError(int errnoValue, FileOperation operation);

}  // namespace tovrin
