#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

namespace tovrin {

/// Finds where a path stands in a list that the caller keeps: open addressing with eight bytes per slot and no copy of
/// any path. Paths are compared byte for byte. `pathAt(position)` gives the path at a position of the caller's list.
/// Filled by one thread, then safe to read from any.
class PathTable {
 public:
  static constexpr std::uint32_t kAbsent = std::numeric_limits<std::uint32_t>::max();

  /// Room for so many paths without growing.
  void reserve(std::size_t count) {
    if (count + count / 3 + 1 > slots_.size()) growTo(count + count / 3 + 1);
  }

  template <class PathAt>
  std::uint32_t find(std::string_view path, PathAt&& pathAt) const {
    if (slots_.empty()) return kAbsent;
    return slots_[slotOf(path, hash(path), pathAt)].position;
  }

  /// The position of an equal path that was added before; without one, adds this path as the one at `position`.
  template <class PathAt>
  std::uint32_t findOrAdd(std::string_view path, std::uint32_t position, PathAt&& pathAt) {
    if (slots_.size() * 3 <= (used_ + 1) * 4) growTo(slots_.size() * 2 + 16);
    const std::uint32_t hashed = hash(path);
    Slot& slot = slots_[slotOf(path, hashed, pathAt)];
    if (slot.position != kAbsent) return slot.position;
    slot = {hashed, position};
    ++used_;
    return position;
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t position = kAbsent;
  };

  static std::uint32_t hash(std::string_view path) {
    const std::uint64_t wide = std::hash<std::string_view>{}(path);
    return static_cast<std::uint32_t>(wide ^ (wide >> 32));
  }

  std::size_t firstSlot(std::uint32_t hashed) const {
    return static_cast<std::size_t>((static_cast<std::uint64_t>(hashed) * slots_.size()) >> 32);
  }

  std::size_t following(std::size_t slot) const { return slot + 1 == slots_.size() ? 0 : slot + 1; }

  /// The slot that holds the path, or the free one where it belongs.
  template <class PathAt>
  std::size_t slotOf(std::string_view path, std::uint32_t hashed, PathAt& pathAt) const {
    std::size_t slot = firstSlot(hashed);
    while (slots_[slot].position != kAbsent && (slots_[slot].hash != hashed || pathAt(slots_[slot].position) != path)) {
      slot = following(slot);
    }
    return slot;
  }

  void growTo(std::size_t size) {
    std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(size));
    for (const Slot& kept : old) {
      if (kept.position == kAbsent) continue;
      std::size_t slot = firstSlot(kept.hash);
      while (slots_[slot].position != kAbsent) slot = following(slot);
      slots_[slot] = kept;
    }
  }

  std::vector<Slot> slots_;
  std::size_t used_ = 0;
};

}  // namespace tovrin
