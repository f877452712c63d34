#include "cli/container_watch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>

namespace tovrin::cli {

namespace {

constexpr int kPollMilliseconds = 500;
/// Several files change together, one after the other: what is shown should show them all.
constexpr int kSettleMilliseconds = 20;
constexpr std::uint32_t kChanges = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_ONLYDIR;

}  // namespace

ContainerWatch::ContainerWatch(std::filesystem::path folder)
    : folder_(std::move(folder)), descriptor_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {}

ContainerWatch::~ContainerWatch() {
  if (descriptor_ >= 0) close(descriptor_);
}

/// Adding a folder again changes nothing, and a folder that was made meanwhile is added.
bool ContainerWatch::watches() {
  if (descriptor_ < 0 || inotify_add_watch(descriptor_, folder_.c_str(), kChanges) < 0) return false;
  std::error_code error;
  bool all = true;
  for (const auto& child : std::filesystem::directory_iterator(folder_, error)) {
    std::error_code ignored;
    if (child.is_directory(ignored)) all &= inotify_add_watch(descriptor_, child.path().c_str(), kChanges) >= 0;
  }
  return all && !error;
}

bool ContainerWatch::waitForChange(const InterruptWatch& interruption) {
  std::array<pollfd, 2> sources{pollfd{interruption.descriptor(), POLLIN, 0}, pollfd{descriptor_, POLLIN, 0}};
  poll(sources.data(), sources.size(), watches() ? -1 : kPollMilliseconds);
  if (interruption.requested()) return false;
  poll(sources.data(), 1, kSettleMilliseconds);
  std::array<char, 4096> events;
  while (descriptor_ >= 0 && read(descriptor_, events.data(), events.size()) > 0) {
  }
  return !interruption.requested();
}

}  // namespace tovrin::cli
