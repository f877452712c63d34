#pragma once

#include <memory>
#include <string>

namespace tovrin {

/// Tells other processes of the same user that something changed. Carries a name and nothing else.
class NotificationCenter {
 public:
  virtual ~NotificationCenter() = default;
  /// Best effort: where nobody can be reached, nothing happens. Safe to use from any thread.
  virtual void post(const std::string& name) = 0;
};

/// On Linux: a D-Bus signal on the session bus; docs/notification.md has path, interface and member.
std::unique_ptr<NotificationCenter> makeDistributedNotificationCenter();

}  // namespace tovrin
