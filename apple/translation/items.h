#pragma once

#import <FileProvider/FileProvider.h>

#include <memory>
#include <span>

#include "provider/replicated_extension.h"

namespace tovrin {

/// Nil for a null item.
::NSFileProviderItem _Nullable toNSFileProviderItem(const SharedItem& item);
NSArray< ::NSFileProviderItem>* _Nonnull toNSArray(std::span<const SharedItem> items);

/// One of our items as it is, of another object the identifier.
std::shared_ptr<const NSFileProviderItem> fromNSFileProviderItem(::NSFileProviderItem _Nonnull item);

}  // namespace tovrin
