#pragma once

#include <string_view>

/// What differs between deployments; set by the build.
namespace tovrin {

#ifndef TOVRIN_APPLICATION_BUNDLE_IDENTIFIER
#define TOVRIN_APPLICATION_BUNDLE_IDENTIFIER "com.tovrin.app"
#endif
/// The main application's bundle identifier; names of notifications begin with it.
inline constexpr std::string_view kApplicationBundleIdentifier = TOVRIN_APPLICATION_BUNDLE_IDENTIFIER;

#ifndef TOVRIN_APPLICATION_SUPPORT_FOLDER
#define TOVRIN_APPLICATION_SUPPORT_FOLDER "Tovrin"
#endif
/// The folder in Application Support that stands in for a container that processes share.
inline constexpr std::string_view kApplicationSupportFolder = TOVRIN_APPLICATION_SUPPORT_FOLDER;

}  // namespace tovrin
