#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "tovrin-warp/folder_scan.h"
#include "tovrin-warp/make_warp.h"
#include "tovrin-warp/payload_writer.h"

namespace tovrin::warp {

/// A manifest while its entries are added. For one thread.
class ManifestDraft {
 public:
  explicit ManifestDraft(const MakeOptions& options);

  /// A file whose payload was not stored yet is the caller's to store: see `isFurtherLink`.
  void add(const ScannedObject& object, const Payload& payload);

  /// Another link to this file was added before; `addFurtherLink` takes its payload from there.
  bool isFurtherLink(const ScannedObject& object) const;
  void addFurtherLink(const ScannedObject& object);

  /// The manifest's bytes, with dates and samples filled in.
  std::string finish();

 private:
  using Identity = std::pair<std::uint64_t, std::uint64_t>;

  TovrinWarpSharedEntry entryFor(const ScannedObject& object);
  void chooseSamples();
  static Identity identityOf(const ScannedObject& object);

  const MakeOptions& options_;
  std::shared_ptr<TextArena> texts_ = std::make_shared<TextArena>();
  TovrinWarpSharedManifest manifest_;
  std::map<Identity, std::size_t> primaries_;  // positions in the manifest's entries
};

}  // namespace tovrin::warp
