#pragma once

#include "host/store/store_index.h"
#include "host/store/store_places.h"

namespace tovrin::host {

/// Makes files and rows agree again after whatever ended the last process, and leaves in `loaded` what is there. Copies
/// go when in doubt. Edits never do: files that the index does not know, and those that were never flushed, are set
/// aside among the interrupted ones. Fails when a folder cannot be read or an edit cannot be moved.
Result<void> sweepStore(const StorePlaces& places, StoreIndex::Loaded& loaded);

}  // namespace tovrin::host
