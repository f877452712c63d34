#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/session.h"
#include "foundation/error.h"

namespace tovrin::cli {

/// One thing that was looked at, and what was seen.
struct Finding {
  /// `well` is as it should be; `note` is worth knowing and no fault; `problem` is wrong.
  enum class Level { well, note, problem };

  Level level = Level::well;
  std::string check;    ///< what was looked at, such as "manifests"
  std::string subject;  ///< the file, Warp or path that it is about; may be empty
  std::string message;
  std::optional<NSError> error;  ///< what the message was made from
};

std::string_view rawValue(Finding::Level level);

using Findings = std::vector<Finding>;

/// The shared container: manifests, indexes, hidden Warps, journal and pending copies, and who holds the locks.
void checkManifests(const Platform& platform, Findings& findings);
void checkIndexes(const Platform& platform, Findings& findings);
void checkJournal(const Platform& platform, Findings& findings);
void checkLocks(const Platform& platform, Findings& findings);

/// The folders that must be there and take files: the container and the cache.
void checkFolders(const Platform& platform, Findings& findings);

/// The machine: the worker, asked for at most five seconds, the mounts that there are, and whether one can be made.
void checkWorker(const Platform& platform, Findings& findings);
void checkMounts(const Platform& platform, Findings& findings);
void checkFUSE(Findings& findings);

/// Items that a file system here shows under another name than their own.
void checkNames(Session& session, Findings& findings);

Finding well(std::string check, std::string subject, std::string message);
Finding note(std::string check, std::string subject, std::string message);
Finding problem(std::string check, std::string subject, std::string message);
Finding problem(std::string check, std::string subject, const NSError& error);

}  // namespace tovrin::cli
