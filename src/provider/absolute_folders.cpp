#include "provider/absolute_folders.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <unordered_set>

#include "foundation/path.h"

namespace tovrin {

AbsoluteFolderContents contentsOfAbsoluteFolder(std::span<const SharedManifest> manifests,
                                                std::optional<std::string_view> path) {
  AbsoluteFolderContents contents;
  if (path && path->empty()) return contents;
  const std::string prefix = std::string(path.value_or("")) + "/";

  std::unordered_set<std::string_view> seen;
  for (const SharedManifest& manifest : manifests) {
    const std::string_view warpPath = manifest->manifest().originalFolderPath;
    if (!warpPath.starts_with(prefix)) continue;
    const std::size_t nextSeparator = warpPath.find('/', prefix.size());
    if (nextSeparator == std::string_view::npos) {
      contents.warps.push_back(manifest);
      continue;
    }
    const std::string_view folder = warpPath.substr(0, nextSeparator);
    if (seen.insert(folder).second) contents.folders.push_back(folder);
  }
  return contents;
}

std::vector<std::string_view> absoluteFoldersAbove(std::span<const SharedManifest> manifests) {
  std::vector<std::string_view> folders;
  std::unordered_set<std::string_view> seen;
  for (const SharedManifest& manifest : manifests) {
    const auto firstNew = static_cast<std::ptrdiff_t>(folders.size());
    std::string_view folder = deletingLastPathComponent(manifest->manifest().originalFolderPath);
    // Above a folder that was seen, all were.
    while (folder != "/" && seen.insert(folder).second) {
      folders.push_back(folder);
      folder = deletingLastPathComponent(folder);
    }
    std::reverse(folders.begin() + firstNew, folders.end());
  }
  return folders;
}

}  // namespace tovrin
