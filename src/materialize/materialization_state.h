#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/date.h"
#include "foundation/result.h"
#include "local/finder_badges.h"
#include "platform/alternating_file.h"
#include "platform/platform.h"

namespace tovrin {

/// What is being opened or saved and how far it is; one record for the whole system, of the most recent operation.
struct TovrinWarpSharedMaterializationState {
  bool isActive = false;
  std::string title;
  std::string detail;
  std::optional<double> progressFraction;  ///< 0 to 1; absent after a failure
  std::string warpID;
  std::string relativePath;
  std::optional<std::string> errorDescription;  ///< present after a failure only
  Date updatedAt;

  friend bool operator==(const TovrinWarpSharedMaterializationState&,
                         const TovrinWarpSharedMaterializationState&) = default;
};

std::string encodeMaterializationState(const TovrinWarpSharedMaterializationState& state);
Result<TovrinWarpSharedMaterializationState> decodeMaterializationState(std::string_view bytes);

/// The badge that goes with a state: opening while it is active, then issue or cached.
TovrinWarpSharedFinderBadgeState badgeOf(const TovrinWarpSharedMaterializationState& state);

/// Writes the state file, and the badge and tags that follow from the state. Thread-safe; the last writer wins. Best
/// effort: a failure to write is swallowed, so publishing never turns a success into a failure.
class MaterializationStatePublisher {
 public:
  MaterializationStatePublisher(const Platform& platform, FinderBadges& badges)
      : platform_(platform), badges_(badges) {}

  /// `updatedAt` is filled in here. `relativePath` is the absolute path of the file that gets badge and tags.
  void publish(TovrinWarpSharedMaterializationState state) noexcept;

 private:
  void writeStateFile(const TovrinWarpSharedMaterializationState& state);

  Platform platform_;
  FinderBadges& badges_;
  std::mutex fileLock_;
  AlternatingFile file_;
};

}  // namespace tovrin
