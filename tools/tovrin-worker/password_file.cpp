#include "tovrin-worker/password_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>

namespace tovrin::worker {

Result<std::string> readPassword(const std::filesystem::path& file) {
  if (file.empty()) {
    if (const char* value = std::getenv("TOVRIN_WORKER_PASSWORD")) return value;
    return failure(NSError::posix(EINVAL, "There is no password: give --password-file or set TOVRIN_WORKER_PASSWORD."));
  }
  std::ifstream stream(file);
  std::string password;
  std::getline(stream, password);
  if (!stream.is_open() || stream.bad()) {
    return failure(NSError::posix(EIO, fmt::format("The password file \"{}\" could not be read.", file.native())));
  }
  return password;
}

}  // namespace tovrin::worker
