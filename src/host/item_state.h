#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "provider/replicated_extension.h"

namespace tovrin::host {

enum class ItemState {
  remote,   ///< not here
  opening,  ///< being downloaded
  cached,   ///< here, as it is stored
  edited,   ///< here, with changes that are not stored yet
  issue,    ///< the last opening, or the handing over of an edit, failed
};

/// What a mount knows of a file.
struct ItemStatus {
  ItemState state = ItemState::remote;
  double fraction = 0;  ///< of an opening, 0 to 1
  std::string error;    ///< the sentence of the last failure; empty when there was none
  NSFileProviderItemIdentifier identifier;
};

/// What reading an extended attribute of the file answers; nothing for an attribute that it does not have. The names
/// are read when asked for and never listed, so that programs which copy all attributes do not copy these:
///
/// - user.tovrin.state: remote, opening, cached, edited or issue
/// - user.tovrin.progress: how much of it is here, in whole percent, 100 only when all is; none for an issue
/// - user.tovrin.error: the sentence of the last failure, if any
/// - user.tovrin.id: the item's identifier
/// - user.com.apple.metadata:_kMDItemUserTags: the Finder tag of the state, as the file would carry it on macOS
std::optional<std::string> attributeValue(std::string_view name, const ItemStatus& status);

}  // namespace tovrin::host
