#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/result.h"
#include "host/store/replica_store.h"
#include "provider/replicated_extension.h"

namespace tovrin::host {

/// How a running mount is, for `tovrin status` and `tovrin doctor`.
struct MountStatus {
  struct Opening {
    NSFileProviderItemIdentifier identifier;
    std::string filename;
    std::int64_t bytes = 0;  ///< of the whole file
    double fraction = 0;     ///< 0 to 1
    bool isQueued = false;   ///< waits for its turn
  };
  struct KeptEdit {
    NSFileProviderItemIdentifier identifier;
    std::string filename;
    EditState state = EditState::unsaved;
    std::filesystem::path file;
    std::string error;  ///< why it was not taken yet; empty while it was not refused
  };
  struct Problem {
    NSFileProviderItemIdentifier identifier;
    std::string filename;
    std::string error;
  };
  std::filesystem::path mountpoint;
  std::int64_t processID = 0;
  StoreUsage usage;
  StoreLimits limits;
  std::vector<Opening> openings;
  std::vector<KeptEdit> edits;       ///< all that the store has, `saved` ones included
  std::vector<Problem> problems;     ///< items whose last opening failed
  std::int64_t refusedCrawlers = 0;  ///< opens refused so that nothing is downloaded unasked
};

struct EvictOutcome {
  NSFileProviderItemIdentifier identifier;
  std::string filename;
  Evicted result = Evicted::notHere;
};

/// What a running mount does when it is asked from outside. Safe to use from any thread.
class MountControl {
 public:
  virtual ~MountControl() = default;

  virtual MountStatus status() = 0;
  /// Of a folder everything below it.
  virtual std::vector<EvictOutcome> evict(const std::vector<NSFileProviderItemIdentifier>& items) = 0;
  virtual std::vector<EvictOutcome> evictAll() = 0;
  /// Makes a local copy of a file, as opening it does, and waits for it.
  virtual Result<void> fetch(const NSFileProviderItemIdentifier& identifier, std::stop_token stop) = 0;
  /// Hands over what was not taken yet and waits until all of it is, `stop` is requested, or nothing more can be done
  /// by waiting. Returns what is still not handed over.
  virtual std::vector<MountStatus::KeptEdit> handOverEdits(std::stop_token stop) = 0;
};

}  // namespace tovrin::host
