#pragma once

#import <FileProvider/FileProvider.h>

#include "provider/replicated_extension.h"

/// The system's completion blocks as the core's completion handlers. Each keeps its block until it is destroyed itself,
/// and opens an autorelease pool for the call: the core calls on threads of its own.
namespace tovrin {

NS_ASSUME_NONNULL_BEGIN

using ItemBlock = void (^)(::NSFileProviderItem _Nullable, ::NSError* _Nullable);
using FetchBlock = void (^)(NSURL* _Nullable, ::NSFileProviderItem _Nullable, ::NSError* _Nullable);
using ModifyBlock = void (^)(::NSFileProviderItem _Nullable, ::NSFileProviderItemFields, BOOL, ::NSError* _Nullable);
using DeleteBlock = void (^)(::NSError* _Nullable);

NSFileProviderReplicatedExtension::ItemCompletion itemCompletion(ItemBlock block);
NSFileProviderReplicatedExtension::FetchCompletion fetchCompletion(FetchBlock block);
NSFileProviderReplicatedExtension::ModifyCompletion modifyCompletion(ModifyBlock block);
NSFileProviderReplicatedExtension::DeleteCompletion deleteCompletion(DeleteBlock block);

NS_ASSUME_NONNULL_END

}  // namespace tovrin
