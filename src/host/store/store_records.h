#pragma once

#include <cstdint>
#include <string>

#include "host/store/replica_store.h"

namespace tovrin::host {

/// What tells that a copy's file is still the one that was verified. (Its times of change move with every rename.)
struct FileMark {
  std::int64_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modificationTimeNanoseconds = 0;

  friend bool operator==(const FileMark&, const FileMark&) = default;
};

/// A copy as the index remembers it.
struct CopyRecord {
  std::int64_t row = 0;
  NSFileProviderItemIdentifier identifier;
  std::string version;
  std::string fileName;  ///< in the folder of copies
  FileMark mark{};
  std::int64_t allocatedBytes = 0;
  std::int64_t opened = 0;  ///< greater is later; counts the openings of all copies
  bool isTrusted = true;    ///< false when the machine may have stopped before the bytes were on disk
};

/// An edit as the index remembers it.
struct EditRecord {
  std::int64_t row = 0;
  NSFileProviderItemIdentifier identifier;  ///< empty when the index was lost
  std::string baseVersion;
  EditState state = EditState::writing;
  std::string fileName;  ///< in the folder that goes with the state
};

}  // namespace tovrin::host
