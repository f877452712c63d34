#include "apple/translation/completions.h"

#include <filesystem>
#include <optional>

#include "apple/translation/items.h"
#include "platform/darwin/errors.h"
#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"

namespace tovrin {

namespace {

::NSError* _Nullable errorOrNil(const std::optional<NSError>& error) { return error ? toNSError(*error) : nil; }

NSURL* _Nullable urlOrNil(const std::optional<std::filesystem::path>& path) { return path ? toFileURL(*path) : nil; }

}  // namespace

NSFileProviderReplicatedExtension::ItemCompletion itemCompletion(ItemBlock block) {
  return [held = Retained<ItemBlock>(block)](const SharedItem& item, const std::optional<NSError>& error) {
    @autoreleasepool {
      held.get()(toNSFileProviderItem(item), errorOrNil(error));
    }
  };
}

NSFileProviderReplicatedExtension::FetchCompletion fetchCompletion(FetchBlock block) {
  return [held = Retained<FetchBlock>(block)](const std::optional<std::filesystem::path>& file, const SharedItem& item,
                                              const std::optional<NSError>& error) {
    @autoreleasepool {
      held.get()(urlOrNil(file), toNSFileProviderItem(item), errorOrNil(error));
    }
  };
}

NSFileProviderReplicatedExtension::ModifyCompletion modifyCompletion(ModifyBlock block) {
  return [held = Retained<ModifyBlock>(block)](const SharedItem& item, NSFileProviderItemFields stillPending,
                                               bool shouldFetchContent, const std::optional<NSError>& error) {
    @autoreleasepool {
      held.get()(toNSFileProviderItem(item), static_cast<::NSFileProviderItemFields>(stillPending), shouldFetchContent,
                 errorOrNil(error));
    }
  };
}

NSFileProviderReplicatedExtension::DeleteCompletion deleteCompletion(DeleteBlock block) {
  return [held = Retained<DeleteBlock>(block)](const std::optional<NSError>& error) {
    @autoreleasepool {
      held.get()(errorOrNil(error));
    }
  };
}

}  // namespace tovrin
