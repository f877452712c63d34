#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "foundation/result.h"
#include "platform/alternating_file.h"
#include "platform/extended_attributes.h"
#include "platform/platform.h"

namespace tovrin {

enum class TovrinWarpSharedFinderBadgeState { warpedRoot, remoteOnly, cached, opening, issue };

std::string_view rawValue(TovrinWarpSharedFinderBadgeState state);
/// The Finder tag of the state, such as "Tovrin Cached".
std::string_view finderTagName(TovrinWarpSharedFinderBadgeState state);
/// Exact and case-sensitive; nothing for a tag that is not one of the system's.
std::optional<TovrinWarpSharedFinderBadgeState> stateOfFinderTag(std::string_view name);
/// The attribute that holds a file's tags, as a binary property list of stored tags.
inline constexpr std::string_view kFinderTagsAttribute = "com.apple.metadata:_kMDItemUserTags";
/// The whole tag as it is stored: its name and, for the states that files are put in here, a colour.
std::string storedFinderTag(TovrinWarpSharedFinderBadgeState state);

/// The file that tells the main application which badges to draw.
struct TovrinWarpSharedFinderBadgeUpdate {
  Date createdAt;
  std::map<std::string, TovrinWarpSharedFinderBadgeState> badgeStatesByPath;
  std::vector<std::string> clearPaths;
};

class PublishedBadges;

/// Badges, tags and label colours. All of it is decoration: no operation reports an error. Thread-safe.
class FinderBadges {
 public:
  explicit FinderBadges(const Platform& platform);
  ~FinderBadges();

  /// Merges into the shared file and posts the notification after a successful write, which is left out when the file
  /// would stay as it is to the byte. A path both cleared and given a
  /// state ends with the state. Paths are standardized, and the same path when they are canonically equivalent.
  void publish(const std::map<std::string, TovrinWarpSharedFinderBadgeState>& states,
               const std::vector<std::string>& clearPaths);

  /// Keeps the user's tags in their order, drops the system's own, and puts `state`'s tag with its colour last; the
  /// label takes that colour. A missing file is no error.
  void tag(const std::filesystem::path& file, TovrinWarpSharedFinderBadgeState state, LinkPolicy links);

 private:
  bool mergeIntoFile(const std::map<std::string, TovrinWarpSharedFinderBadgeState>& states,
                     const std::vector<std::string>& clearPaths);

  Platform platform_;
  std::mutex publishLock_;  ///< from reading the old file to writing the new one

  AlternatingFile file_;
  std::unique_ptr<PublishedBadges> published_;  ///< what was written here last
};

/// Writes the tags attribute when it differs, then the label colour that the tags carry (the last one that carries
/// one).
void applyFinderTags(const std::vector<std::string>& tagNames, const std::filesystem::path& file, LinkPolicy links);
/// Colour 0 to 7 (others are clamped) into bits 1 to 3 of byte 9 of FinderInfo; everything else stays.
void setLabelColour(const std::filesystem::path& file, int colour, LinkPolicy links);

}  // namespace tovrin
