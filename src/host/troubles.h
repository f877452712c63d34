#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/control/mount_control.h"
#include "host/desktop_notifications.h"
#include "provider/item.h"

namespace tovrin::host {

/// What went wrong with items and was not made good since: remembered for the attributes and `status`, logged, and
/// shown on the desktop. Thread-safe.
class Troubles {
 public:
  /// `desktop` may be null.
  explicit Troubles(DesktopNotifications* desktop) : desktop_(desktop) {}

  void openFailed(const TovrinFileProviderItem& item, const NSError& error);
  void editRefused(const TovrinFileProviderItem& item, const NSError& error);
  void cleared(std::string_view identifier);

  std::optional<std::string> sentence(std::string_view identifier) const;
  std::vector<MountStatus::Problem> all() const;

 private:
  DesktopNotifications* desktop_;
  mutable std::mutex lock_;
  std::unordered_map<NSFileProviderItemIdentifier, MountStatus::Problem> problems_;
};

}  // namespace tovrin::host
