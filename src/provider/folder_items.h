#pragma once

#include <optional>
#include <string_view>

#include "foundation/date.h"
#include "provider/item.h"
#include "shared/manifest_store.h"

/// The folders of the domain that are not entries of a Warp. The three synthetic ones all carry the date of the most
/// recent Warp of the whole domain, which the caller finds out once for everything that it makes.
namespace tovrin {

SharedItem rootItem(std::optional<Date> latestWarpDate);
SharedItem warpedRootItem(std::optional<Date> latestWarpDate);
SharedItem absoluteFolderItem(std::string_view path, std::optional<Date> latestWarpDate);
SharedItem warpItem(const SharedManifest& manifest);

}  // namespace tovrin
