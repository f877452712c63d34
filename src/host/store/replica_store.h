#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"
#include "provider/replicated_extension.h"

namespace tovrin::host {

/// Where one domain's replica lies. The two folders are this domain's own and are made when missing.
struct StoreFolders {
  std::filesystem::path cache;  ///< copies that can be fetched again; a cache cleaner may empty it
  std::filesystem::path state;  ///< the index, and edits that exist nowhere else
  std::string belongsTo{};      ///< the container, as a text in the state folder names it to people; none when empty
};

struct StoreLimits {
  std::int64_t cacheBytes = std::int64_t{10} << 30;  ///< what copies may take on disk
  double keepFree = 0.1;                             ///< the share of the disk that is left to others
};

/// Contents that are open. The file stays while this exists, whatever is evicted; reads never go to the network.
class LocalFile {
 public:
  virtual ~LocalFile() = default;
  /// Of the open file; for reading, and of an edit for writing too. Shared by all who have the file open, so that its
  /// position is nobody's: use pread and pwrite.
  virtual int descriptor() const = 0;
  /// Where it was when it was opened; an edit that is set aside or becomes a copy moves.
  virtual const std::filesystem::path& path() const = 0;
};

/// Room that a download may fill; given back when destroyed.
class Reservation {
 public:
  virtual ~Reservation() = default;
};

enum class EditState {
  writing,      ///< changed and never flushed: not yet a save
  unsaved,      ///< flushed, still to be handed over to the extension
  saved,        ///< handed over; waits until the main application has uploaded it
  interrupted,  ///< was `writing` when the host ended; set aside for the user, the item shows its stored contents
};

struct Edit {
  NSFileProviderItemIdentifier identifier;  ///< empty for a file that was found without a record of whose it is
  std::string baseVersion;                  ///< of the contents that were edited
  EditState state = EditState::writing;
  std::filesystem::path file;
};

enum class Evicted { dropped, notHere, open, edited };

struct StoreUsage {
  std::int64_t cachedBytes = 0;  ///< on disk, edits not counted, dropped copies that are still open counted
  std::int64_t cachedItems = 0;
};

/// The local copies and edits of one domain: files in two folders with an index in SQLite, loaded once and then kept in
/// memory. One process at a time; the second is refused with the first one's process number. A copy is keyed by its
/// item's version and serves only what was verified: files enter by a rename, and one whose size, times or inode differ
/// from the index is dropped. Killed at any moment, it opens again as of the last change that returned. Copies are
/// synced when the store is closed, all at once; when the machine stops before that, those that came since are dropped
/// at the next opening. Files and reservations may outlive the store. Thread-safe.
class ReplicaStore {
 public:
  /// Sweeps what earlier processes left half done. A store of a newer version is refused, with the way out in the
  /// error. A broken index is put aside: then copies are dropped, and edits become interrupted ones.
  static Result<std::unique_ptr<ReplicaStore>> open(const StoreFolders& folders, const StoreLimits& limits);
  virtual ~ReplicaStore() = default;

  /// What is here of an item.
  struct Local {
    bool isCopy = false;              ///< a verified copy of `version` that is not edited
    std::optional<EditState> edit;    ///< an edit that the item shows (never `interrupted`)
    std::string version;              ///< of the copy, or the edit's base version
    std::filesystem::path file;       ///< of the copy or the edit
    std::int64_t allocatedBytes = 0;  ///< on disk; of a copy only
  };
  virtual std::optional<Local> find(std::string_view identifier) const = 0;

  /// Evicts the least recently opened copies that are not open until `bytes` more fit besides all reservations; evicts
  /// nothing, and fails with NSPOSIXErrorDomain ENOSPC and the numbers, when they cannot.
  virtual Result<std::unique_ptr<Reservation>> reserve(std::int64_t bytes) = 0;
  /// Takes over a file that was verified, as the copy of this version; one of another version is dropped. The file is
  /// gone from its old place whatever the result.
  virtual Result<std::shared_ptr<LocalFile>> adopt(const NSFileProviderItemIdentifier& identifier,
                                                   const std::string& version, const std::filesystem::path& file,
                                                   std::unique_ptr<Reservation> reservation) = 0;
  /// The copy of exactly this version, and the moment counts as its last opening; null when it is not here, and while
  /// the item is edited.
  virtual std::shared_ptr<LocalFile> openCopy(std::string_view identifier, std::string_view version) = 0;
  /// The item has another version: its copy is of no use any more. Edits stay.
  virtual void dropCopy(std::string_view identifier) = 0;
  virtual Evicted evict(std::string_view identifier) = 0;
  /// Identifiers of all copies and edits, interrupted ones left out.
  virtual std::vector<NSFileProviderItemIdentifier> items() const = 0;

  /// A private copy of `from` to write to (sharing blocks where the file system can), or an empty file. Recorded before
  /// this returns, so that no byte written to it is forgotten. An item has at most one: a second fails with EEXIST. The
  /// item's copy stays below it until there is no room, and is shown again when the edit is given up.
  virtual Result<std::shared_ptr<LocalFile>> beginEdit(const NSFileProviderItemIdentifier& identifier,
                                                       const std::string& baseVersion, const LocalFile* from) = 0;
  /// The item's edit (never an interrupted one); null when it has none.
  virtual std::shared_ptr<LocalFile> openEdit(std::string_view identifier) = 0;
  /// When `durable`, the state is synced before this returns, the file's bytes included. `interrupted` sets the edit
  /// aside at once. Fails with ENOENT when the item has none.
  virtual Result<void> markEdit(std::string_view identifier, EditState state, bool durable) = 0;
  /// The edit turned out to be the stored contents: it becomes the copy of its base version. Nobody may write to it any
  /// more; whoever has it open keeps the copy from being evicted.
  virtual Result<void> turnEditIntoCopy(std::string_view identifier) = 0;
  /// The main application has the edit, or the user gave it up: its file goes. Interrupted ones stay.
  virtual void forgetEdit(std::string_view identifier) = 0;
  /// With the interrupted ones, until the user has removed their files.
  virtual std::vector<Edit> edits() const = 0;

  virtual StoreUsage usage() const = 0;
  /// Bytes that edits may still take on their disk.
  virtual std::int64_t roomForEdits() const = 0;
};

}  // namespace tovrin::host
