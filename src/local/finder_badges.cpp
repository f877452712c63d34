#include "local/finder_badges.h"

#include <algorithm>
#include <array>
#include <exception>
#include <tuple>
#include <utility>

#include "foundation/encoding.h"
#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/json/encoder.h"
#include "foundation/path.h"
#include "platform/text.h"
#include "shared/deployment.h"
#include "shared/warp_directory.h"

namespace tovrin {

template <>
struct JSONEnumeration<TovrinWarpSharedFinderBadgeState> {
  static constexpr std::string_view name = "TovrinWarpSharedFinderBadgeState";
  static constexpr std::array<std::string_view, 5> cases{"warpedRoot", "remoteOnly", "cached", "opening", "issue"};
};

template <>
struct RecordCoding<TovrinWarpSharedFinderBadgeUpdate> {
  using Update = TovrinWarpSharedFinderBadgeUpdate;
  static constexpr std::tuple fields{
      field("createdAt", &Update::createdAt),
      field("badgeStatesByPath", &Update::badgeStatesByPath),
      field("clearPaths", &Update::clearPaths),
  };
};

namespace {

using State = TovrinWarpSharedFinderBadgeState;
using StatesByPath = std::map<std::string, State>;

/// Paths by canonical form: equivalent ones are the same, and their order is the platform's plain text order.
using PathSet = std::map<std::string, std::string>;

/// The path's entry, under whichever equivalent spelling it is kept.
StatesByPath::iterator findEquivalent(StatesByPath& states, const std::string& path) {
  const auto exact = states.find(path);
  if (exact != states.end() || isASCII(path)) return exact;
  const std::string form = canonicalForm(path);
  return std::ranges::find_if(
      states, [&form](const auto& entry) { return !isASCII(entry.first) && canonicalForm(entry.first) == form; });
}

void merge(TovrinWarpSharedFinderBadgeUpdate& update, const StatesByPath& states,
           const std::vector<std::string>& clearPaths) {
  PathSet cleared;
  for (std::string& path : update.clearPaths) {
    std::string form = canonicalForm(path);
    cleared.try_emplace(std::move(form), std::move(path));
  }
  for (const std::string& path : clearPaths) {
    std::string standardized = standardizedPath(path);
    const auto entry = findEquivalent(update.badgeStatesByPath, standardized);
    if (entry != update.badgeStatesByPath.end()) update.badgeStatesByPath.erase(entry);
    std::string form = canonicalForm(standardized);
    cleared.try_emplace(std::move(form), std::move(standardized));
  }
  for (const auto& [path, state] : states) {
    std::string standardized = standardizedPath(path);
    cleared.erase(canonicalForm(standardized));
    const auto entry = findEquivalent(update.badgeStatesByPath, standardized);
    if (entry != update.badgeStatesByPath.end()) {
      entry->second = state;
    } else {
      update.badgeStatesByPath.emplace(std::move(standardized), state);
    }
  }
  update.clearPaths.clear();
  for (auto& [form, path] : cleared) update.clearPaths.push_back(std::move(path));
}

}  // namespace

std::string_view rawValue(State state) { return jsonCase(state); }

bool FinderBadges::mergeIntoFile(const StatesByPath& states, const std::vector<std::string>& clearPaths) {
  const auto warp = locateWarpDirectory(platform_.directories);
  if (!warp) return false;
  const std::filesystem::path path = warp->finderBadgeUpdate();

  const std::lock_guard hold(publishLock_);
  const auto previous = file_.load(path, platform_.clock, [](const std::string& bytes) {
    return decodeJSON<TovrinWarpSharedFinderBadgeUpdate>(bytes);
  });
  TovrinWarpSharedFinderBadgeUpdate update;
  if (previous) update = **previous;
  merge(update, states, clearPaths);
  update.createdAt = platform_.clock.now();
  if (!update.createdAt.isFinite() || !createDirectories(path.parent_path())) return false;
  const auto written = writeFileAtomically(path, encodeJSON(update), Durability::disposable);
  if (written) file_.remember(path, *written, platform_.clock, std::move(update));
  return written.has_value();
}

void FinderBadges::publish(const StatesByPath& states, const std::vector<std::string>& clearPaths) try {
  if (mergeIntoFile(states, clearPaths))
    platform_.notifications.post(std::string(kApplicationBundleIdentifier) + ".finderBadgeUpdate");
} catch (const std::exception&) {
  // Decoration: without memory for it there is none.
}

}  // namespace tovrin
