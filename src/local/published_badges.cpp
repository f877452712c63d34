#include "local/published_badges.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/json/encoder.h"
#include "foundation/path.h"
#include "platform/text.h"

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

std::string memberOf(const std::string& path, TovrinWarpSharedFinderBadgeState state) {
  return encodeJSON(path) + ":" + encodeJSON(state);
}

}  // namespace

std::string_view rawValue(TovrinWarpSharedFinderBadgeState state) { return jsonCase(state); }

PublishedBadges::PublishedBadges(TovrinWarpSharedFinderBadgeUpdate update) {
  std::vector<std::unique_ptr<const Badge>> badges;
  badges.reserve(update.badgeStatesByPath.size());
  for (const auto& [path, state] : update.badgeStatesByPath) {
    badges.push_back(std::make_unique<const Badge>(Badge{canonicalForm(path), path, state}));
  }
  std::ranges::stable_sort(badges, {}, [](const auto& badge) -> const std::string& { return badge->form; });
  for (const auto& badge : badges) members_.append(memberOf(badge->path, badge->state));
  badges_ = std::move(badges);
  for (std::string& path : update.clearPaths) {
    std::string form = canonicalForm(path);
    cleared_.try_emplace(std::move(form), std::move(path));
  }
}

Result<PublishedBadges> PublishedBadges::decode(std::string_view bytes) {
  TOVRIN_TRY(TovrinWarpSharedFinderBadgeUpdate update, decodeJSON<TovrinWarpSharedFinderBadgeUpdate>(bytes));
  return PublishedBadges(std::move(update));
}

std::size_t PublishedBadges::positionOf(const std::string& form, const std::string& path) const {
  const auto spellings =
      std::ranges::equal_range(badges_, form, {}, [](const auto& badge) -> const std::string& { return badge->form; });
  auto found = std::ranges::find(spellings, path, [](const auto& badge) -> const std::string& { return badge->path; });
  if (found == spellings.end()) found = spellings.begin();
  return static_cast<std::size_t>(found - badges_.begin());
}

bool PublishedBadges::isAt(std::size_t position, const std::string& form) const {
  return position < badges_.size() && badges_[position]->form == form;
}

void PublishedBadges::set(std::string path, State state) {
  std::string form = canonicalForm(path);
  hasChanged_ |= cleared_.erase(form) > 0;
  const std::size_t position = positionOf(form, path);
  const bool isKnown = isAt(position, form);
  if (isKnown && badges_[position]->state == state) return;
  hasChanged_ = true;
  if (isKnown) path = badges_[position]->path;
  const std::string member = memberOf(path, state);
  auto badge = std::make_unique<const Badge>(Badge{std::move(form), std::move(path), state});
  if (isKnown) {
    members_.replace(position, member);
    badges_[position] = std::move(badge);
  } else {
    members_.insert(position, member);
    badges_.insert(std::next(badges_.begin(), static_cast<std::ptrdiff_t>(position)), std::move(badge));
  }
}

void PublishedBadges::clear(std::string path) {
  std::string form = canonicalForm(path);
  const std::size_t position = positionOf(form, path);
  if (isAt(position, form)) {
    hasChanged_ = true;
    members_.erase({position});
    badges_.erase(std::next(badges_.begin(), static_cast<std::ptrdiff_t>(position)));
  }
  hasChanged_ |= cleared_.try_emplace(std::move(form), std::move(path)).second;
}

void PublishedBadges::merge(const std::map<std::string, State>& states, const std::vector<std::string>& clearPaths) {
  for (const std::string& path : clearPaths) clear(standardizedPath(path));
  for (const auto& [path, state] : states) set(standardizedPath(path), state);
}

std::array<std::string_view, 3> PublishedBadges::pieces(Date createdAt) {
  if (!isWrittenAt(createdAt)) {
    TovrinWarpSharedFinderBadgeUpdate frame{createdAt, {}, {}};
    for (const auto& [form, path] : cleared_) frame.clearPaths.push_back(path);
    frame_ = encodeJSON(frame);
    writtenAt_ = formatISO8601(createdAt);
    hasChanged_ = false;
  }
  const std::string_view frame = frame_;
  const std::size_t middle = frame.find("{}") + 1;
  return {frame.substr(0, middle), members_.joined(), frame.substr(middle)};
}

bool PublishedBadges::isWrittenAt(Date createdAt) const {
  return !hasChanged_ && writtenAt_ == formatISO8601(createdAt);
}

}  // namespace tovrin
