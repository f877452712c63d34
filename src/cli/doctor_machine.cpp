#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include "cli/doctor_checks.h"
#include "materialize/renterd_client.h"
#include "platform/file_system.h"
#include "shared/warp_directory.h"

namespace tovrin::cli {

namespace {

/// The process that holds the lock file's lock, if any. Asking takes no lock.
std::optional<pid_t> lockHolder(const std::filesystem::path& lockFile) {
  const auto file = FileHandle::forReading(lockFile);
  if (!file) return std::nullopt;
  struct flock wish{};
  wish.l_type = F_WRLCK;
  wish.l_whence = SEEK_SET;
  if (fcntl(file->descriptor(), F_GETLK, &wish) != 0 || wish.l_type == F_UNLCK) return std::nullopt;
  return wish.l_pid;
}

std::string programName(pid_t pid) {
  const auto name = readWholeFile(fmt::format("/proc/{}/comm", pid));
  return name && !name->bytes.empty() ? name->bytes.substr(0, name->bytes.size() - 1) : "unknown program";
}

}  // namespace

void checkLocks(const Platform& platform, Findings& findings) {
  const auto warp = locateWarpDirectory(platform.directories);
  if (!warp) return;
  for (const auto& file : {warp->mutationLock(), warp->cachedItemsLock()}) {
    if (const auto holder = lockHolder(file)) {
      findings.push_back(note("locks", file.filename().string(),
                              fmt::format("Held by process {} ({}).", *holder, programName(*holder))));
    }
  }
}

void checkWorker(const Platform& platform, Findings& findings) {
  const auto warp = locateWarpDirectory(platform.directories);
  if (!warp) return;
  const auto snapshot = readConnectionSnapshot(warp->path());
  if (!snapshot) return findings.push_back(problem("worker", "renterd-connection.json", snapshot.error()));
  const auto outcome = RenterdClient(platform).probeAccounts(*snapshot, {});
  if (!outcome) return findings.push_back(problem("worker", snapshot->httpAddress, outcome.error()));
  if (const auto* waiting = std::get_if<WorkerWaiting>(&*outcome)) {
    const std::string message = fmt::format("Not ready: {} of {} accounts are ready, or the worker does not answer.",
                                            waiting->readyAccounts, kRequiredReadyAccounts);
    return findings.push_back(problem("worker", snapshot->httpAddress, message));
  }
  findings.push_back(well("worker", snapshot->httpAddress, "Ready."));
}

void checkFUSE(Findings& findings) {
  if (access("/dev/fuse", R_OK | W_OK) == 0) return findings.push_back(well("fuse", "/dev/fuse", "Available."));
  findings.push_back(note("fuse", "/dev/fuse", "Not available to this user: the domain cannot be mounted here."));
}

}  // namespace tovrin::cli
