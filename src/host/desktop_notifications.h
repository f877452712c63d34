#pragma once

#include <memory>
#include <string>

#include "platform/clock.h"

namespace tovrin::host {

/// Tells the user on the desktop that something went wrong. Few on purpose: of one cause at most one in ten minutes is
/// shown, and it takes the place of the one before. Makes a thread and speaks to the session bus only when there is
/// something to show; without a desktop nothing happens. Safe to use from any thread.
class DesktopNotifications {
 public:
  /// `clock` outlives this.
  explicit DesktopNotifications(const Clock& clock);
  /// Does not wait for what is not shown yet.
  ~DesktopNotifications();
  DesktopNotifications(const DesktopNotifications&) = delete;
  DesktopNotifications& operator=(const DesktopNotifications&) = delete;

  /// Never blocks. `cause` is what counts as the same trouble, such as the domain and code of an error, and is not
  /// shown; `summary` is one short line, `body` a sentence or two. Both are plain text.
  void error(const std::string& cause, std::string summary, std::string body);

 private:
  class Presenter;
  std::unique_ptr<Presenter> presenter_;
};

}  // namespace tovrin::host
