#include "host/item_state.h"

#include <algorithm>

#include "local/finder_badges.h"
#include "platform/property_list.h"

namespace tovrin::host {

namespace {

constexpr std::string_view kUserPrefix = "user.";

std::string_view nameOf(ItemState state) {
  switch (state) {
    case ItemState::remote:
      return "remote";
    case ItemState::opening:
      return "opening";
    case ItemState::cached:
      return "cached";
    case ItemState::edited:
      return "edited";
    case ItemState::issue:
      break;
  }
  return "issue";
}

TovrinWarpSharedFinderBadgeState badgeOf(ItemState state) {
  using enum TovrinWarpSharedFinderBadgeState;
  switch (state) {
    case ItemState::remote:
      return remoteOnly;
    case ItemState::opening:
      return opening;
    case ItemState::cached:
    case ItemState::edited:
      return cached;
    case ItemState::issue:
      break;
  }
  return issue;
}

std::optional<std::string> percentOf(const ItemStatus& status) {
  switch (status.state) {
    case ItemState::remote:
      return "0";
    case ItemState::opening:
      // Not 100 before it is verified and open; also a fraction that is no number counts as none.
      return std::to_string(status.fraction > 0 ? std::min(99, static_cast<int>(std::min(status.fraction, 1.0) * 100))
                                                : 0);
    case ItemState::cached:
    case ItemState::edited:
      return "100";
    case ItemState::issue:
      break;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> attributeValue(std::string_view name, const ItemStatus& status) {
  if (!name.starts_with(kUserPrefix)) return std::nullopt;
  name.remove_prefix(kUserPrefix.size());
  if (name == "tovrin.state") return std::string(nameOf(status.state));
  if (name == "tovrin.progress") return percentOf(status);
  if (name == "tovrin.error" && !status.error.empty()) return status.error;
  if (name == "tovrin.id") return status.identifier;
  if (name == kFinderTagsAttribute) return encodeBinaryPropertyList({storedFinderTag(badgeOf(status.state))});
  return std::nullopt;
}

}  // namespace tovrin::host
