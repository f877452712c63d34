#pragma once

#include <filesystem>
#include <string>

#include "host/domain.h"

namespace tovrin::host {

/// What has become of an edit that the extension has taken.
enum class EditFate {
  waits,        ///< for its upload; also when that cannot be told, since the edit may be all there is of it
  isStored,     ///< the item has a newer version
  isUnchanged,  ///< it was no edit: the item's contents are just these
};

/// `item` is null when there is none at this moment. Reads the file when its size is that of the stored contents.
EditFate fateOf(Domain& domain, const SharedItem& item, const std::string& baseVersion,
                const std::filesystem::path& file);

}  // namespace tovrin::host
