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

Finding workerFault(const NSError& error, std::string_view prefix, const std::string& address) {
  Finding finding = problem("worker", address, error);
  finding.message.insert(0, prefix);
  return finding;
}

/// A fetch treats several faults alike. Whoever looks for the fault wants them told apart.
Finding judged(const ReceivedData& answer, const std::string& address) {
  const std::int64_t statusCode = answer.response.statusCode;
  if (statusCode == 401 || statusCode == 403) {
    return problem(
        "worker", address,
        fmt::format("It answered with status {}: the password in renterd-connection.json is not the worker’s.",
                    statusCode));
  }
  if (statusCode != 404 && (statusCode < 200 || statusCode > 299)) {
    return problem("worker", address, fmt::format("It answered, but not as expected: status {}.", statusCode));
  }
  const auto outcome = RenterdClient::outcomeOf(answer);
  if (!outcome) return workerFault(outcome.error(), "It answered, but not as a worker does: ", address);
  if (const auto* waiting = std::get_if<WorkerWaiting>(&*outcome)) {
    return problem(
        "worker", address,
        fmt::format("Not ready: {} of {} accounts are ready.", waiting->readyAccounts, kRequiredReadyAccounts));
  }
  return well("worker", address, "Ready.");
}

/// Whether files can be made there, or the folder itself can be.
bool isWritable(std::filesystem::path folder) {
  std::error_code error;
  while (!std::filesystem::exists(folder, error) && !error && folder.has_relative_path()) folder = folder.parent_path();
  return !error && std::filesystem::is_directory(folder, error) && access(folder.c_str(), W_OK | X_OK) == 0;
}

}  // namespace

void checkFolders(const Platform& platform, Findings& findings) {
  std::error_code ignored;
  if (const auto container = platform.directories.appGroupContainer();
      container && !std::filesystem::is_directory(*container, ignored)) {
    findings.push_back(problem("container", container->string(), "There is no such folder."));
  } else if (const auto warp = locateWarpDirectory(platform.directories); warp && !isWritable(warp->path())) {
    findings.push_back(problem("container", warp->path().string(),
                               "Cannot be written to: edits and what is being opened cannot be recorded."));
  }
  const auto cache = platform.directories.providerTemporaryDirectory();
  if (cache && !*cache) {
    findings.push_back(problem("cache", {}, cache->error()));
  } else if (cache && !isWritable(**cache)) {
    findings.push_back(problem("cache", (*cache)->string(), "Cannot be written to: no file can be opened."));
  }
}

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
  const auto answer = RenterdClient(platform).accountsAnswer(*snapshot, {});
  findings.push_back(answer ? judged(*answer, snapshot->httpAddress)
                            : workerFault(answer.error(), "Does not answer: ", snapshot->httpAddress));
}

}  // namespace tovrin::cli
