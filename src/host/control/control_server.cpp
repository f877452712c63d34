#include "host/control/control_server.h"

#include <fmt/core.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <optional>
#include <stop_token>
#include <system_error>
#include <utility>
#include <vector>

#include "foundation/caught.h"
#include "host/control/control_messages.h"
#include "host/domain_key.h"
#include "shared/warp_directory.h"

namespace tovrin::host {

namespace {

constexpr int kMillisecondsWithoutDescriptors = 100;

bool isAnswering(const std::filesystem::path& socket) { return ControlSocket::connect(socket).has_value(); }

/// Listens under a name of its own first, so that nobody meets a socket which does not listen yet.
Result<ControlSocket> listenAt(const ControlFolder& folder, const std::string& name) {
  const std::filesystem::path place = folder.pathOf(name);
  if (isAnswering(place))
    return failure(NSError::posix(EADDRINUSE, "Another process answers for the mount of this container already."));
  const std::filesystem::path temporary = folder.pathOf(fmt::format("{}.{}", name, getpid()));
  unlink(temporary.c_str());
  TOVRIN_TRY(ControlSocket listener, ControlSocket::listen(temporary));
  if (rename(temporary.c_str(), place.c_str()) != 0) {
    NSError error = NSError::posix(errno);
    unlink(temporary.c_str());
    return failure(std::move(error));
  }
  return listener;
}

/// The first place where the folder can be had.
Result<ControlFolder> makeFolder(const Directories& directories) {
  NSError error = NSError::posix(ENOENT);
  for (const std::filesystem::path& place : ControlFolder::places(directories)) {
    Result<ControlFolder> folder = ControlFolder::make(place);
    if (folder) return folder;
    error = std::move(folder).error();
  }
  return failure(std::move(error));
}

std::uint64_t inodeOf(const std::filesystem::path& path) {
  struct stat status{};
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

std::string perform(MountControl& control, const ControlRequest& request, std::stop_token stop) {
  switch (request.kind) {
    case ControlRequest::Kind::status:
      break;
    case ControlRequest::Kind::evict:
      return encodeAnswer(control.evict(request.items));
    case ControlRequest::Kind::evictAll:
      return encodeAnswer(control.evictAll());
    case ControlRequest::Kind::fetch: {
      const Result<void> fetched = control.fetch(request.items.front(), std::move(stop));
      return fetched ? encodeAnswer() : encodeAnswer(fetched.error());
    }
    case ControlRequest::Kind::handOverEdits:
      return encodeAnswer(control.handOverEdits(std::move(stop)));
  }
  return encodeAnswer(control.status());
}

}  // namespace

struct ControlServer::Connection {
  explicit Connection(ControlSocket accepted) : socket(std::move(accepted)) {}

  const ControlSocket socket;
  bool isWatched = true;  ///< until the other end is gone
  std::stop_source stop;
  std::atomic<bool> hasEnded = false;
  std::jthread thread;
};

Result<std::unique_ptr<ControlServer>> ControlServer::start(MountControl& control, const Directories& directories,
                                                            Limits limits) {
  return caught([&]() -> Result<std::unique_ptr<ControlServer>> {
    TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(directories));
    TOVRIN_TRY(ControlFolder folder, makeFolder(directories));
    std::string name = ControlFolder::socketName(domainKey(warp.path()));
    TOVRIN_TRY(ControlSocket listener, listenAt(folder, name));
    std::unique_ptr<ControlServer> server(
        new ControlServer(control, std::move(folder), std::move(name), std::move(listener), limits));
    server->thread_ = std::jthread(&ControlServer::run, server.get());
    return server;
  });
}

ControlServer::ControlServer(MountControl& control, ControlFolder folder, std::string name, ControlSocket listener,
                             Limits limits)
    : control_(control),
      folder_(std::move(folder)),
      name_(std::move(name)),
      inode_(inodeOf(folder_.pathOf(name_))),
      limits_(limits),
      listener_(std::move(listener)) {}

ControlServer::~ControlServer() {
  removeSocket();
  stopping_.signal();
}

void ControlServer::removeSocket() const {
  const std::filesystem::path place = folder_.pathOf(name_);
  if (inodeOf(place) == inode_) unlink(place.c_str());
}

void ControlServer::run() {
  pollfd stopping{stopping_.descriptor(), POLLIN, 0};
  while (poll(&stopping, 1, 0) == 0) waitForNews();
  for (Connection& connection : connections_) connection.stop.request_stop();
  connections_.clear();
}

void ControlServer::waitForNews() {
  const bool hasRoom = connections_.size() < limits_.connections;
  std::vector<pollfd> sources{{stopping_.descriptor(), POLLIN, 0},
                              {connectionEnded_.descriptor(), POLLIN, 0},
                              {hasRoom ? listener_.descriptor() : -1, POLLIN, 0}};
  const std::size_t first = sources.size();
  // Nothing is asked for, so only the end of the other side is reported.
  for (const Connection& connection : connections_)
    sources.push_back({connection.isWatched ? connection.socket.descriptor() : -1, 0, 0});
  poll(sources.data(), sources.size(), -1);

  std::size_t index = first;
  for (Connection& connection : connections_) {
    if (sources[index++].revents == 0) continue;
    connection.isWatched = false;
    connection.stop.request_stop();
  }
  forgetEnded();
  if (sources[2].revents != 0) acceptConnection();
}

void ControlServer::forgetEnded() {
  connectionEnded_.clear();
  connections_.remove_if([](const Connection& connection) { return connection.hasEnded.load(); });
}

void ControlServer::acceptConnection() {
  std::optional<ControlSocket> socket = listener_.accept();
  if (!socket) {  // no descriptor is left for it, which will not be otherwise at once
    pollfd stopping{stopping_.descriptor(), POLLIN, 0};
    poll(&stopping, 1, kMillisecondsWithoutDescriptors);
    return;
  }
  if (!socket->isTrusted()) return;
  Connection& connection = connections_.emplace_back(*std::move(socket));
  try {
    connection.thread = std::jthread([this, &connection] { serve(connection); });
  } catch (const std::system_error&) {  // no thread: the other end sees the connection close
    connections_.pop_back();
  }
}

void ControlServer::serve(Connection& connection) const {
  const ControlSocket::Waiting waiting{limits_.patience, stopping_.descriptor()};
  std::ignore = caught([&]() -> Result<void> {
    const Result<std::string> line = connection.socket.receiveLine(kLongestRequestBytes, waiting);
    if (!line) return connection.socket.sendLine(encodeAnswer(line.error()), waiting);
    const Result<ControlRequest> request = decodeRequest(*line);
    return connection.socket.sendLine(
        request ? perform(control_, *request, connection.stop.get_token()) : encodeAnswer(request.error()), waiting);
  });
  connection.hasEnded = true;
  connectionEnded_.signal();
}

}  // namespace tovrin::host
