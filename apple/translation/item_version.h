#pragma once

#import <FileProvider/FileProvider.h>

#include <optional>

#include "provider/replicated_extension.h"

namespace tovrin {

/// The system takes at most 128 bytes of either component: of a longer one, as a long file name makes it, its SHA-256
/// is given instead, which changes whenever the component does.
::NSFileProviderItemVersion* _Nonnull toItemVersion(const NSFileProviderItemVersion& version);

NSFileProviderItemVersion fromItemVersion(::NSFileProviderItemVersion* _Nonnull version);
/// Nothing of nil.
std::optional<NSFileProviderItemVersion> fromOptionalItemVersion(::NSFileProviderItemVersion* _Nullable version);

}  // namespace tovrin
