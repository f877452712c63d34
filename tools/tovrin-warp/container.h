#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "foundation/date.h"
#include "platform/platform.h"
#include "shared/warp_directory.h"

namespace tovrin::warp {

/// The container that the main application shares with its provider, written in its place. Every file is replaced in
/// one step, and what is read before it is written is guarded by the Warps' mutation lock.
class Container {
 public:
  explicit Container(std::filesystem::path path);
  ~Container();

  const WarpDirectory& warpDirectory() const { return warps_; }

  /// The connection that payloads are fetched over.
  Result<void> writeConnection(const std::string& httpAddress, const std::string& password);

  /// The manifest's bytes under the Warp's name. Refuses what the provider would not accept, with the provider's error.
  Result<std::filesystem::path> writeManifest(const std::string& warpID, const std::string& bytes);

  /// Adds Warps to the visibility index, which is made when missing.
  Result<void> show(const std::vector<std::string>& warpIDs);
  /// Takes Warps out of it. A missing index shows every Warp, so it is made of all the other ones.
  Result<void> hide(const std::vector<std::string>& warpIDs);
  /// Adds a Warp to an index that exists: without one it is visible anyhow.
  Result<void> showIfIndexed(const std::string& warpID);

  enum class Manifest : bool { remove, keep };
  /// Writes tombstones for Warps whose manifests lie here, and takes them out of the visibility index if there is one.
  Result<void> destroy(const std::vector<std::string>& warpIDs, Manifest manifest);

 private:
  struct Services;

  Result<std::vector<std::string>> indexedWarpIDs() const;
  Result<std::vector<std::string>> mirroredWarpIDs() const;
  Result<void> writeVisibility(const std::vector<std::string>& warpIDs);
  bool hasIndex() const;

  WarpDirectory warps_;
  std::unique_ptr<Services> services_;
};

/// Marks a folder on disk as belonging to a Warp.
Result<void> writeMarker(const std::filesystem::path& folder, const std::string& warpID);

/// A name that is also the name of a file and a piece of an object key.
bool isUsableWarpID(std::string_view warpID);

}  // namespace tovrin::warp
