#include "materialize/temporary_file.h"

#include <exception>
#include <tuple>

#include "platform/file_system.h"

namespace tovrin {

void removeQuietly(const std::filesystem::path& path) noexcept {
  try {
    std::ignore = removeItem(path);
  } catch (const std::exception&) {
    // Even the error of a failed removal needs memory.
  }
}

}  // namespace tovrin
