#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "platform/extended_attributes.h"

/// What the systems have different calls for, asked by the sources that they share.
namespace tovrin {

/// The clock that starts with the system and stops while it sleeps.
clockid_t uptimeClock();

/// 0 or an errno: EEXIST when something has the name already, ENOTSUP when the file system cannot promise that.
int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to);

/// Swaps the two names in one step. 0 or an errno: ENOENT when one of them is not there, ENOTSUP when the file system
/// cannot.
int exchangeNames(const std::filesystem::path& a, const std::filesystem::path& b);

/// Begins to bring the file's contents to disk, without waiting, so that a crash of the machine soon after leaves no
/// name that leads to nothing. 0 or an errno.
int beginWriteback(int descriptor);

/// Whether a lease says something about the file: of what other machines open the kernel knows nothing, and not every
/// file system that they share says so.
bool isOnLocalFileSystem(int descriptor);

/// Keeps others from opening the file, which was opened for reading and writing: they wait until the lease ends. False
/// when somebody has it open already, or when the system knows nothing of the kind.
bool takeWriteLease(int descriptor);
void endLease(int descriptor);

/// As getxattr and setxattr; `name` is the macOS name.
ssize_t readAttribute(const std::filesystem::path& path, const std::string& name, void* value, std::size_t size,
                      LinkPolicy links);
int writeAttribute(const std::filesystem::path& path, const std::string& name, std::string_view value,
                   LinkPolicy links);

}  // namespace tovrin
