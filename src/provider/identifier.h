#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "shared/manifest.h"

namespace tovrin {

/// What an item's identifier names. The Warp and the path are written into the text itself, so an item can be built
/// again from its identifier without any other state.
struct TovrinFileProviderIdentifier {
  struct AbsoluteDirectory {
    std::string path;
    friend bool operator==(const AbsoluteDirectory&, const AbsoluteDirectory&) = default;
  };
  struct Manifest {
    std::string warpID;
    friend bool operator==(const Manifest&, const Manifest&) = default;
  };
  struct Entry {
    std::string warpID;
    std::string relativePath;
    friend bool operator==(const Entry&, const Entry&) = default;
  };
  struct WarpedRoot {
    friend bool operator==(const WarpedRoot&, const WarpedRoot&) = default;
  };

  std::variant<AbsoluteDirectory, Manifest, Entry, WarpedRoot> value;

  /// Nothing for a text that is none of the four forms; the system's own containers are not identifiers of this kind.
  static std::optional<TovrinFileProviderIdentifier> parse(std::string_view text);
  std::string format() const;

  friend bool operator==(const TovrinFileProviderIdentifier&, const TovrinFileProviderIdentifier&) = default;
};

inline constexpr std::string_view kWarpedRootIdentifier = "warped-root";
std::string absoluteDirectoryIdentifier(std::string_view path);
std::string manifestIdentifier(std::string_view warpID);
std::string entryIdentifier(std::string_view warpID, std::string_view relativePath);

/// base64url without padding of the path's UTF-8 bytes; never holds a ":".
std::string encodePathToken(std::string_view path);
std::optional<std::string> decodePathToken(std::string_view token);

/// The folder that holds this one, or nothing when it hangs directly under "Warped Files".
std::optional<std::string> parentDirectoryPath(std::string_view absolutePath);
/// The path's last component; "System" for "/".
std::string directoryDisplayName(std::string_view absolutePath);

/// The path of the entry's parent, or nothing at the top of the Warp.
std::optional<std::string> entryParentPath(std::string_view relativePath, const TovrinWarpSharedManifest& manifest);
bool isManifestRootPath(std::string_view path, const TovrinWarpSharedManifest& manifest);

/// The identifier of the folder in which an absolute folder, or a Warp made from such a path, is shown.
std::string absoluteParentIdentifier(std::string_view path);

}  // namespace tovrin
