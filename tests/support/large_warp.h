#pragma once

#include <string>

#include "support/warp_fixture.h"

/// Warps as large as they get, shaped like those that the main application writes: checksums, keys, times and one part
/// per file. The same on every machine.
namespace tovrin {

inline constexpr int kFilesPerFolder = 100;

/// The folder and the file of that number in `largeWarp`.
std::string largeWarpFolder(int folder);
std::string largeWarpFile(int file);

/// One Warp of so many files in folders of a hundred.
ManifestSpec largeWarp(int files);

}  // namespace tovrin
