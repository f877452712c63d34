#pragma once

#include <span>

#include "cli/json_output.h"
#include "local/cached_items.h"
#include "provider/item.h"
#include "shared/manifest_indexes.h"

namespace tovrin::cli {

/// The item as every command prints it: dates in seconds since 1970, the entry with its defaults.
void writeItem(JSONWriter& writer, const TovrinFileProviderItem& item);
void writeItems(JSONWriter& writer, std::span<const SharedItem> items);

/// Records as their files hold them.
void writeRecord(JSONWriter& writer, const TovrinWarpSharedCachedItemRecord& record);
void writeRecord(JSONWriter& writer, const TovrinWarpSharedDestroyedManifestRecord& record);

}  // namespace tovrin::cli
