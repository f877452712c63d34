#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "foundation/date.h"
#include "foundation/result.h"
#include "shared/manifest.h"
#include "tovrin-warp/container.h"
#include "tovrin-warp/object_sink.h"
#include "tovrin-warp/payload_writer.h"

namespace tovrin::warp {

/// A further link to a file names its primary; it repeats the primary's payload, or leaves the reader to find it there.
enum class HardLinkChoice : std::uint8_t { repeatPayload, primaryOnly };

struct MakeOptions {
  std::filesystem::path folder;
  std::string warpID;
  std::string deviceID = "tovrin-warp";
  std::string originalFolderPath;  ///< empty: the folder's own path
  std::string displayName;         ///< empty: the last component of the original path
  std::optional<TovrinWarpSharedStatus> status;
  std::string failureDescription;
  std::optional<Date> createdAt;  ///< when set, every date of the manifest is this one
  std::size_t samples = 3;
  HardLinkChoice hardLinks = HardLinkChoice::repeatPayload;
  bool rootEntry = false;
  bool mark = false;
  PayloadOptions payload;
};

struct MakeReport {
  std::filesystem::path manifest;
  std::size_t files = 0;
  std::size_t folders = 0;
  std::size_t symbolicLinks = 0;
  std::uint64_t objects = 0;
  std::int64_t storedBytes = 0;
  std::vector<std::string> skipped;
};

/// Stores the folder's files and then writes the manifest, and the marker last: a failure leaves objects that nothing
/// names, and no Warp.
Result<MakeReport> makeWarp(const MakeOptions& options, ObjectSink& sink, Container& container);

}  // namespace tovrin::warp
