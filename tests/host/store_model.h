#pragma once

#include <array>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/store/replica_store.h"

namespace tovrin::host {

/// One thing that is done to one item of a store.
struct StoreStep {
  enum class Kind { adopt, evict, drop, begin, write, flush, save, rewrite, turn, forget };
  Kind kind = Kind::adopt;
  int item = 0;
  int version = 0;  ///< what a copy or an edit is of
};

/// What a store should hold of one item. A number stands for a version, and for the contents that go with it.
struct ModelItem {
  struct ModelEdit {
    int version = 0;
    EditState state = EditState::writing;
    bool isWritten = false;
    friend bool operator==(const ModelEdit&, const ModelEdit&) = default;
  };
  std::optional<int> copy{};
  std::optional<ModelEdit> edit{};
  int interrupted = 0;

  friend bool operator==(const ModelItem&, const ModelItem&) = default;
};

inline constexpr int kModelItems = 5;
using StoreModel = std::array<ModelItem, kModelItems>;

std::string modelIdentifier(int item);
/// Tells the item and the version; of many sizes.
std::string modelContents(int item, int version);

/// A step that makes sense now; its version is new.
StoreStep randomStep(const StoreModel& model, int version, std::mt19937& random);
ModelItem after(ModelItem item, const StoreStep& step);
/// What is there after the process was killed: an edit that was not flushed is set aside.
ModelItem afterKill(ModelItem item);
/// All that may be there after the process was killed during the step.
std::vector<ModelItem> afterKillDuring(const ModelItem& item, const StoreStep& step);

/// Does it; empty, or what went wrong.
std::string perform(ReplicaStore& store, const ModelItem& item, const StoreStep& step,
                    const std::filesystem::path& scratch);

}  // namespace tovrin::host
