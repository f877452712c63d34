#include "provider/folder_items.h"

#include <memory>
#include <string>
#include <utility>

#include "provider/identifier.h"
#include "provider/visibility.h"

namespace tovrin {

namespace {

SharedItem syntheticFolder(std::string identifier, std::string parent, std::string filename, std::optional<Date> date) {
  return std::make_shared<const TovrinFileProviderItem>(
      TovrinFileProviderItem::Fields{.itemIdentifier = std::move(identifier),
                                     .parentItemIdentifier = std::move(parent),
                                     .filename = std::move(filename),
                                     .contentType = UTType::folder(),
                                     .documentSize = std::nullopt,
                                     .creationDate = date,
                                     .contentModificationDate = date,
                                     .warpID = std::nullopt,
                                     .entry = nullptr},
      nullptr);
}

}  // namespace

SharedItem rootItem(std::optional<Date> latestWarpDate) {
  const std::string root(NSFileProviderRootContainerItemIdentifier);
  return syntheticFolder(root, root, "Tovrin", latestWarpDate);
}

SharedItem warpedRootItem(std::optional<Date> latestWarpDate) {
  return syntheticFolder(std::string(kWarpedRootIdentifier), std::string(NSFileProviderRootContainerItemIdentifier),
                         "Warped Files", latestWarpDate);
}

SharedItem absoluteFolderItem(std::string_view path, std::optional<Date> latestWarpDate) {
  return syntheticFolder(absoluteDirectoryIdentifier(path), absoluteParentIdentifier(path), directoryDisplayName(path),
                         latestWarpDate);
}

SharedItem warpItem(const SharedManifest& indexed) {
  const TovrinWarpSharedManifest& manifest = indexed->manifest();
  return std::make_shared<const TovrinFileProviderItem>(
      TovrinFileProviderItem::Fields{.itemIdentifier = manifestIdentifier(manifest.warpID),
                                     .parentItemIdentifier = absoluteParentIdentifier(manifest.originalFolderPath),
                                     .filename = std::string(manifest.displayName),
                                     .contentType = UTType::folder(),
                                     .documentSize = std::nullopt,
                                     .creationDate = manifest.createdAt,
                                     .contentModificationDate = warpDate(manifest),
                                     .warpID = std::string(manifest.warpID),
                                     .entry = nullptr},
      nullptr);
}

}  // namespace tovrin
