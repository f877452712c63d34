#include "host/control/control_client.h"

#include <cerrno>
#include <utility>

#include "foundation/path.h"
#include "host/control/control_folder.h"
#include "host/control/control_messages.h"
#include "host/control/control_socket.h"
#include "host/domain_key.h"
#include "host/wake_event.h"
#include "shared/warp_directory.h"

namespace tovrin::host {

namespace {

/// What went wrong on the socket, in words about the mount.
NSError aboutTheMount(const NSError& error) {
  if (error.domain() != NSPOSIXErrorDomain) return error;
  switch (error.code()) {
    case ETIMEDOUT:
      return NSError::posix(ETIMEDOUT, "The mount does not answer.");
    case ECONNRESET:
    case EPIPE:
      return NSError::posix(ECONNRESET, "The mount ended before it answered.");
    case ECONNREFUSED:
    case ENOENT:
      return NSError::posix(ECONNREFUSED, "The mount is not running any more.");
    default:
      return error;
  }
}

/// The mountpoint's folder with links resolved; the mountpoint itself is not looked at.
std::filesystem::path comparable(const std::filesystem::path& mountpoint) {
  std::error_code error;
  const std::filesystem::path absolute = standardizedPath(std::filesystem::absolute(mountpoint, error).native());
  const std::filesystem::path parent = std::filesystem::weakly_canonical(absolute.parent_path(), error);
  return error ? absolute : parent / absolute.filename();
}

}  // namespace

std::optional<ControlClient> ControlClient::find(const Directories& directories) {
  const auto warp = locateWarpDirectory(directories);
  if (!warp) return std::nullopt;
  const std::string socketName = ControlFolder::socketName(domainKey(warp->path()));
  for (std::filesystem::path& place : ControlFolder::places(directories)) {
    ControlClient client(std::move(place), socketName);
    if (client.isAnswering()) return client;
  }
  return std::nullopt;
}

std::vector<ControlClient> ControlClient::findAll(const Directories& directories) {
  std::vector<ControlClient> clients;
  for (const std::filesystem::path& place : ControlFolder::places(directories)) {
    const auto folder = ControlFolder::open(place);
    if (!folder) continue;
    for (std::string& socketName : folder->socketNames()) {
      ControlClient client(place, std::move(socketName));
      if (client.isAnswering()) clients.push_back(std::move(client));
    }
  }
  return clients;
}

bool ControlClient::isAnswering() const {
  const auto folder = ControlFolder::open(folder_);
  return folder && ControlSocket::connect(folder->pathOf(socketName_)).has_value();
}

template <class Value>
Result<Value> ControlClient::ask(const ControlRequest& request, std::stop_token stop,
                                 std::optional<std::chrono::milliseconds> patience) const {
  const WakeEvent stopped;
  const std::stop_callback wake(std::move(stop), [&stopped] { stopped.signal(); });
  const ControlSocket::Waiting waiting{patience, stopped.descriptor()};
  const auto exchange = [&]() -> Result<std::string> {
    TOVRIN_TRY(const ControlFolder folder, ControlFolder::open(folder_));
    TOVRIN_TRY(const ControlSocket socket, ControlSocket::connect(folder.pathOf(socketName_)));
    // A request that is refused before it was read whole has an answer all the same.
    const Result<void> sent = socket.sendLine(encodeRequest(request), waiting);
    Result<std::string> answer = socket.receiveLine(kLongestAnswerBytes, waiting);
    if (!answer && !sent) return failure(sent.error());
    return answer;
  };
  const Result<std::string> answer = exchange();
  if (!answer) return failure(aboutTheMount(answer.error()));
  return decodeAnswer<Value>(*answer);
}

Result<MountStatus> ControlClient::status(std::chrono::milliseconds patience) const {
  return ask<MountStatus>({ControlRequest::Kind::status, {}}, {}, patience);
}

Result<std::vector<EvictOutcome>> ControlClient::evict(const std::vector<NSFileProviderItemIdentifier>& items) const {
  return ask<std::vector<EvictOutcome>>({ControlRequest::Kind::evict, items}, {}, std::nullopt);
}

Result<std::vector<EvictOutcome>> ControlClient::evictAll() const {
  return ask<std::vector<EvictOutcome>>({ControlRequest::Kind::evictAll, {}}, {}, std::nullopt);
}

Result<void> ControlClient::fetch(const NSFileProviderItemIdentifier& identifier, std::stop_token stop) const {
  return ask<void>({ControlRequest::Kind::fetch, {identifier}}, std::move(stop), std::nullopt);
}

Result<std::vector<MountStatus::KeptEdit>> ControlClient::handOverEdits(std::stop_token stop) const {
  return ask<std::vector<MountStatus::KeptEdit>>({ControlRequest::Kind::handOverEdits, {}}, std::move(stop),
                                                 std::nullopt);
}

std::vector<RunningMount> runningMounts(const Directories& directories) {
  std::vector<RunningMount> mounts;
  for (ControlClient& client : ControlClient::findAll(directories)) {
    if (auto status = client.status()) mounts.push_back({std::move(client), *std::move(status)});
  }
  return mounts;
}

std::optional<RunningMount> runningMountAt(const std::filesystem::path& mountpoint, const Directories& directories) {
  const std::filesystem::path wanted = comparable(mountpoint);
  for (RunningMount& mount : runningMounts(directories)) {
    if (comparable(mount.status.mountpoint) == wanted) return std::move(mount);
  }
  return std::nullopt;
}

}  // namespace tovrin::host
