#include "materialize/materialization_state.h"

#include <exception>
#include <span>
#include <tuple>
#include <utility>

#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/json/encoder.h"
#include "shared/warp_directory.h"

namespace tovrin {

template <>
struct RecordCoding<TovrinWarpSharedMaterializationState> {
  using State = TovrinWarpSharedMaterializationState;
  static constexpr std::tuple fields{
      field("isActive", &State::isActive),
      field("title", &State::title),
      field("detail", &State::detail),
      field("progressFraction", &State::progressFraction),
      field("warpID", &State::warpID),
      field("relativePath", &State::relativePath),
      field("errorDescription", &State::errorDescription),
      field("updatedAt", &State::updatedAt),
  };
};

std::string encodeMaterializationState(const TovrinWarpSharedMaterializationState& state) { return encodeJSON(state); }

Result<TovrinWarpSharedMaterializationState> decodeMaterializationState(std::string_view bytes) {
  return decodeJSON<TovrinWarpSharedMaterializationState>(bytes);
}

TovrinWarpSharedFinderBadgeState badgeOf(const TovrinWarpSharedMaterializationState& state) {
  using enum TovrinWarpSharedFinderBadgeState;
  if (state.isActive) return opening;
  return state.errorDescription ? issue : cached;
}

void MaterializationStatePublisher::publish(TovrinWarpSharedMaterializationState state) noexcept {
  try {
    state.updatedAt = platform_.clock.now();
    writeStateFile(state);
    const TovrinWarpSharedFinderBadgeState badge = badgeOf(state);
    badges_.publish({{state.relativePath, badge}}, {});
    // Where a link stands in the file's place, the tags must not land on whatever it points to.
    badges_.tag(state.relativePath, badge, LinkPolicy::noFollow);
  } catch (const std::exception&) {
    // Out of memory: what is shown to the user lags behind, the operation itself goes on.
  }
}

void MaterializationStatePublisher::writeStateFile(const TovrinWarpSharedMaterializationState& state) {
  const auto warp = locateWarpDirectory(platform_.directories);
  if (!warp) return;
  const std::string text = encodeMaterializationState(state);
  const std::string_view piece = text;
  const std::lock_guard hold(fileLock_);
  std::ignore = file_.replace(warp->materializationState(), std::span(&piece, 1), Durability::disposable);
}

}  // namespace tovrin
