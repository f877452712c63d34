#pragma once

#include <memory>

#include "foundation/progress.h"
#include "foundation/tasks.h"
#include "local/cached_items.h"
#include "materialize/materialization_state.h"
#include "platform/platform.h"
#include "provider/replicated_extension.h"
#include "provider/tree.h"

namespace tovrin {

/// What a fetch works with; everything outlives its task.
struct FetchContext {
  Platform platform;
  std::shared_ptr<TovrinFileProviderTree> tree;
  CachedItemsJournal& journal;
  MaterializationStatePublisher& publisher;
  TaskGroup& tasks;
};

/// Rebuilds the file of an entry and delivers it with its item. Refuses anything but a file or a symbolic link at once,
/// without a trace in the shared files; otherwise works as one task and publishes its state as it goes. The completion
/// is called exactly once, whatever happens, and must not throw. Cancelling the returned progress stops the task, which
/// then completes with NSCocoaErrorDomain 3072 unless the file was already rebuilt.
std::shared_ptr<NSProgress> fetchContents(const FetchContext& context,
                                          const NSFileProviderItemIdentifier& itemIdentifier,
                                          NSFileProviderReplicatedExtension::FetchCompletion completion);

}  // namespace tovrin
