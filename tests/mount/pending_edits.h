#pragma once

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace tovrin {

/// An edit that waits for the main application, as the shared journal has it.
struct PendingEdit {
  std::filesystem::path original;  ///< where the file was
  std::string bytes;               ///< of the kept copy

  friend bool operator==(const PendingEdit&, const PendingEdit&) = default;
  friend std::ostream& operator<<(std::ostream& out, const PendingEdit& edit) {
    return out << edit.original << " of " << edit.bytes.size() << " bytes: " << edit.bytes.substr(0, 80);
  }
};

/// Those of the journal in this Warp directory, in its order. Fails the test when a record contradicts its copy.
std::vector<PendingEdit> pendingEdits(const std::filesystem::path& warpDirectory);

}  // namespace tovrin
