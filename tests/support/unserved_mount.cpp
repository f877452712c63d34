#include "support/unserved_mount.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/child_process.h"

namespace tovrin {

int mountUnserved(const std::filesystem::path& folder, const char* type) {
  const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
  if (device < 0) _exit(kCannotTest);
  const std::string options = "fd=" + std::to_string(device) + ",rootmode=40000,user_id=0,group_id=0";
  EXPECT_EQ(mount("somewhere", folder.c_str(), type, MS_NOSUID | MS_NODEV, options.c_str()), 0) << errno;
  return device;
}

void mountDead(const std::filesystem::path& folder, const char* type) { close(mountUnserved(folder, type)); }

}  // namespace tovrin
