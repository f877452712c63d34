#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "shared/manifest_store.h"

/// The folders of the user's disk that lead to the Warps. Paths are views into the manifests. All of it takes one pass
/// over the Warps.
namespace tovrin {

struct AbsoluteFolderContents {
  std::vector<std::string_view> folders;  ///< paths, each once
  std::vector<SharedManifest> warps;
};

/// What lies directly in a folder, or in "Warped Files" (no path), in the order of the manifests.
AbsoluteFolderContents contentsOfAbsoluteFolder(std::span<const SharedManifest> manifests,
                                                std::optional<std::string_view> path);

/// Every folder above a Warp, each once and after the folder that holds it.
std::vector<std::string_view> absoluteFoldersAbove(std::span<const SharedManifest> manifests);

}  // namespace tovrin
