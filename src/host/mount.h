#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/result.h"
#include "host/store/replica_store.h"

namespace tovrin::host {

enum class OwnerMode { mountingUser, manifest };
enum class CrawlerMode { deny, allow };

/// What a mount is asked to be: the words of `tovrin mount`, checked.
struct MountRequest {
  std::filesystem::path mountpoint;                ///< absolute
  std::optional<std::filesystem::path> container;  ///< the app-group container; nothing for the fallback
  std::vector<std::string>
      fuseOptions;  ///< for the kernel and libfuse, one word each ("allow_other", "ro", "fsname=x")
  OwnerMode owner = OwnerMode::mountingUser;
  std::optional<std::uint32_t> userID;  ///< shown instead of the mounting user's
  std::optional<std::uint32_t> groupID;
  std::uint32_t umask = 0;  ///< permission bits taken off everything shown
  StoreLimits limits;
  CrawlerMode crawlers = CrawlerMode::deny;
  std::vector<std::string> moreCrawlers;  ///< names of programs besides the built-in list
  unsigned maxFetches = 8;                ///< downloads at once
  bool offline = false;                   ///< what is not here fails at once
  bool notifyErrors = true;               ///< on the desktop
  bool isReadOnly = false;
};

/// Presents the domain at the mountpoint until it is unmounted or `stop` is requested, which unmounts it. Calls
/// `answering` once the mount answers. Fails before that with the reason; a mountpoint that is not an empty folder is
/// the caller's to refuse. Starts threads: daemonize before.
Result<void> serveMount(const MountRequest& request, std::stop_token stop, const std::function<void()>& answering);

}  // namespace tovrin::host
