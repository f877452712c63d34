#pragma once

#import <FileProvider/FileProvider.h>

#include <memory>

#include "provider/replicated_extension.h"

namespace tovrin {

/// The core's extension for one domain, with the system's services behind it. Nothing is read from disk.
std::shared_ptr<NSFileProviderReplicatedExtension> makeExtension(::NSFileProviderDomain* _Nonnull domain);

}  // namespace tovrin
