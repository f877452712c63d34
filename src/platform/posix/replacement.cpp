#include "platform/posix/replacement.h"

#include <stdio.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/system_calls.h"

namespace tovrin {

int replaceByRename(const std::filesystem::path& finished, const std::filesystem::path& path) {
  return ::rename(finished.c_str(), path.c_str()) == 0 ? 0 : errno;
}

int replaceBySwap(const std::filesystem::path& finished, const std::filesystem::path& path) {
  if (exchangeNames(finished, path) != 0) return replaceByRename(finished, path);
  if (::unlink(finished.c_str()) == 0) return 0;
  // What was there is a folder: a rename would have refused.
  const int error = errno;
  exchangeNames(finished, path);
  return error;
}

}  // namespace tovrin
