#include "local/finder_badges.h"

#include <exception>
#include <utility>

#include "local/published_badges.h"
#include "platform/file_system.h"
#include "shared/deployment.h"
#include "shared/warp_directory.h"

namespace tovrin {

FinderBadges::FinderBadges(const Platform& platform) : platform_(platform) {}

FinderBadges::~FinderBadges() = default;

bool FinderBadges::mergeIntoFile(const std::map<std::string, TovrinWarpSharedFinderBadgeState>& states,
                                 const std::vector<std::string>& clearPaths) {
  const auto warp = locateWarpDirectory(platform_.directories);
  const Date now = platform_.clock.now();
  if (!warp || !now.isFinite()) return false;
  const std::filesystem::path path = warp->finderBadgeUpdate();

  const std::lock_guard hold(publishLock_);
  // Not kept unless all goes well.
  std::unique_ptr<PublishedBadges> badges = std::move(published_);
  const bool isOurs = badges && file_.isAt(path);
  if (!isOurs) {
    const auto contents = readWholeFile(path);
    Result<PublishedBadges> decoded = contents ? PublishedBadges::decode(contents->bytes) : PublishedBadges();
    badges = std::make_unique<PublishedBadges>(decoded ? *std::move(decoded) : PublishedBadges());
  }
  badges->merge(states, clearPaths);
  if (!isOurs || !badges->isWrittenAt(now)) {
    if (!file_.replace(path, badges->pieces(now), Durability::disposable)) return false;
  }
  published_ = std::move(badges);
  return true;
}

void FinderBadges::publish(const std::map<std::string, TovrinWarpSharedFinderBadgeState>& states,
                           const std::vector<std::string>& clearPaths) try {
  if (mergeIntoFile(states, clearPaths))
    platform_.notifications.post(std::string(kApplicationBundleIdentifier) + ".finderBadgeUpdate");
} catch (const std::exception&) {
  // Decoration: without memory for it there is none.
}

}  // namespace tovrin
