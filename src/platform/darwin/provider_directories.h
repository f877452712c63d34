#pragma once

#import <FileProvider/FileProvider.h>

#include <memory>
#include <string>

#include "platform/directories.h"

namespace tovrin {

/// The directories of a File Provider extension: the container of the app group that it shares with the main
/// application, and what the manager of its domain names. The domain is retained.
std::unique_ptr<Directories> makeProviderDirectories(std::string appGroup, ::NSFileProviderDomain* _Nonnull domain);

}  // namespace tovrin
