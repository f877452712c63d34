#include "platform/posix/system_calls.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/file_descriptor.h"

namespace tovrin {

namespace {

/// Not every file system knows the flag, and not all say so in the same way.
int renameByFlag(const std::filesystem::path& from, const std::filesystem::path& to, unsigned flag) {
  if (renamex_np(from.c_str(), to.c_str(), flag) == 0) return 0;
  return errno == EINVAL ? ENOTSUP : errno;
}

int options(LinkPolicy links) { return links == LinkPolicy::noFollow ? XATTR_NOFOLLOW : 0; }

}  // namespace

clockid_t uptimeClock() { return CLOCK_UPTIME_RAW; }

int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
  return renameByFlag(from, to, RENAME_EXCL);
}

int exchangeNames(const std::filesystem::path& a, const std::filesystem::path& b) {
  return renameByFlag(a, b, RENAME_SWAP);
}

int beginWriteback(int) { return 0; }

bool isOnLocalFileSystem(int) { return false; }  // leases are unknown here anyway

bool takeWriteLease(int) { return false; }

void endLease(int) {}

ssize_t readAttribute(const std::filesystem::path& path, const std::string& name, void* value, std::size_t size,
                      LinkPolicy links) {
  return getxattr(path.c_str(), name.c_str(), value, size, 0, options(links));
}

int writeAttribute(const std::filesystem::path& path, const std::string& name, std::string_view value,
                   LinkPolicy links) {
  return setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0, options(links));
}

int synchronizeDescriptor(int descriptor) {
  // Here fsync leaves the bytes in the drive's own memory. Network volumes know nothing else.
  if (fcntl(descriptor, F_FULLFSYNC) == 0) return 0;
  int result = 0;
  do {
    result = ::fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

CopyOutcome copyDescriptorBytes(int from, int to, std::int64_t count) { return copyThroughMemory(from, to, count); }

}  // namespace tovrin
