#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

#include "platform/posix/file_descriptor.h"

/// The steps by which a new file takes the place of the one that has its name. What returns an int returns 0 or an
/// errno.
namespace tovrin {

/// A fresh name in the same folder.
std::filesystem::path hiddenNameBeside(const std::filesystem::path& path);

/// Whether a name is one that `hiddenNameBeside` makes.
bool isHiddenName(std::string_view name);

/// Of what is to be replaced; nothing when that is no regular file.
std::optional<mode_t> modeOfRegularFile(const std::filesystem::path& path);

/// Makes the file, no wider open than the old one's mode until it is finished. Sets errno when it cannot be made.
FileDescriptor createReplacement(const std::filesystem::path& hiddenName, std::optional<mode_t> oldMode);

/// What the file held before is overwritten and cut off.
int fillReplacement(int descriptor, std::span<const std::string_view> pieces, std::optional<mode_t> oldMode);

/// Some file systems, none of them local, report a failed write only when a descriptor of the file is closed.
int closeErrorOfWrites(int descriptor);

/// EIO when the file does not hold these pieces.
int readBack(int descriptor, std::span<const std::string_view> pieces);

/// In one step: whoever looks sees the one or the other. After an error both files are where they were.
int replaceByRename(const std::filesystem::path& finished, const std::filesystem::path& path);

}  // namespace tovrin
