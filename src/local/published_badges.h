#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "foundation/json/element_texts.h"
#include "foundation/result.h"
#include "local/finder_badges.h"

namespace tovrin {

/// The contents of the badge file, into which updates are merged. A path is the same under every canonically equivalent
/// spelling, and keeps the one that it has.
class PublishedBadges {
 public:
  using State = TovrinWarpSharedFinderBadgeState;

  PublishedBadges() = default;
  explicit PublishedBadges(TovrinWarpSharedFinderBadgeUpdate update);
  static Result<PublishedBadges> decode(std::string_view bytes);

  /// A path that is both cleared and given a state ends with the state.
  void merge(const std::map<std::string, State>& states, const std::vector<std::string>& clearPaths);

  /// The whole file, as written at this date; only what has changed is formatted. Valid until the next change.
  std::array<std::string_view, 3> pieces(Date createdAt);
  /// Whether `pieces` would be what it was the last time.
  bool isWrittenAt(Date createdAt) const;

 private:
  struct Badge {
    std::string form;  ///< canonical; that of a path makes its order
    std::string path;
    State state;
  };

  /// The badge of this path, or where it belongs.
  std::size_t positionOf(const std::string& form, const std::string& path) const;
  bool isAt(std::size_t position, const std::string& form) const;
  void set(std::string path, State state);
  void clear(std::string path);

  std::vector<std::unique_ptr<const Badge>> badges_;  ///< by form, then as they came
  JSONElementTexts members_;                          ///< of the badges
  std::map<std::string, std::string> cleared_;        ///< by form, whose order is the platform's plain text order
  std::string frame_;                                 ///< what was written last around the members
  std::string writtenAt_;                             ///< as the file says it
  bool hasChanged_ = true;                            ///< since then
};

}  // namespace tovrin
