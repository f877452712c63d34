#include "cli/container_watch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace tovrin::cli {

namespace {

constexpr std::chrono::milliseconds kPollInterval{500};
/// Several files change together, one after the other: what is shown should show them all.
constexpr int kSettleMilliseconds = 20;
constexpr std::uint32_t kChanges = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_ONLYDIR;

}  // namespace

ContainerWatch::ContainerWatch(std::filesystem::path folder)
    : folder_(std::move(folder)), descriptor_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

ContainerWatch::~ContainerWatch() {
  if (descriptor_ >= 0) close(descriptor_);
}

/// Watching a folder again changes nothing. One that is watched for the first time may have changed before that.
ContainerWatch::Coverage ContainerWatch::cover(const std::filesystem::path& folder) {
  const int watch = descriptor_ < 0 ? -1 : inotify_add_watch(descriptor_, folder.c_str(), kChanges);
  if (watch < 0) return Coverage::partial;
  return watched_.insert(watch).second ? Coverage::changed : Coverage::complete;
}

ContainerWatch::Coverage ContainerWatch::cover() {
  Coverage coverage = cover(folder_);
  std::error_code error;
  for (const auto& child : std::filesystem::directory_iterator(folder_, error)) {
    std::error_code ignored;
    if (child.is_directory(ignored)) coverage = std::max(coverage, cover(child.path()));
  }
  return error ? std::max(coverage, Coverage::partial) : coverage;
}

bool ContainerWatch::waitForChange(const InterruptWatch& interruption, std::chrono::milliseconds longest) {
  const Coverage coverage = cover();
  if (coverage == Coverage::changed) return !interruption.requested();
  std::array<pollfd, 3> sources{pollfd{interruption.descriptor(), POLLIN, 0}, pollfd{STDOUT_FILENO, 0, 0},
                                pollfd{descriptor_, POLLIN, 0}};
  const auto patience = coverage == Coverage::complete ? longest : std::min(longest, kPollInterval);
  poll(sources.data(), sources.size(), static_cast<int>(patience.count()));
  if (interruption.requested() || (sources[1].revents & (POLLERR | POLLHUP)) != 0) return false;
  poll(sources.data(), 1, kSettleMilliseconds);
  std::array<char, 4096> events;
  while (descriptor_ >= 0 && read(descriptor_, events.data(), events.size()) > 0) {
  }
  return !interruption.requested();
}

}  // namespace tovrin::cli
