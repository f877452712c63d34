#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tovrin::host {

/// A process that keeps a file system in use.
struct FileUser {
  pid_t process = 0;
  std::string program;
  std::filesystem::path file;  ///< what it has open, runs, maps or works in there
};

/// The processes, except this one, that use something on the file system with this st_dev: one entry each, by number.
/// Others' processes are seen by root only. Asks the file system nothing, so it may hang.
std::vector<FileUser> usersOf(dev_t device);

}  // namespace tovrin::host
