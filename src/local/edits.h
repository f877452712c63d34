#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "foundation/progress.h"
#include "foundation/tasks.h"
#include "local/cached_items.h"
#include "materialize/materialization_state.h"
#include "platform/platform.h"
#include "provider/replicated_extension.h"
#include "provider/tree.h"

namespace tovrin {

/// What an edit works with; everything outlives its task.
struct EditContext {
  Platform platform;
  std::shared_ptr<TovrinFileProviderTree> tree;
  CachedItemsJournal& journal;
  MaterializationStatePublisher& publisher;
  TaskGroup& tasks;
};

/// Accepts new contents of a file entry: keeps a synced copy and journals it for upload, or drops it when the contents
/// are the stored ones. Everything else is refused with the read-only error. When the completion reports success, the
/// edit survives a crash at any later moment.
std::shared_ptr<NSProgress> modifyItem(const EditContext& context,
                                       const std::shared_ptr<const NSFileProviderItem>& item,
                                       const std::optional<std::filesystem::path>& contents,
                                       NSFileProviderReplicatedExtension::ModifyCompletion completion);

}  // namespace tovrin
