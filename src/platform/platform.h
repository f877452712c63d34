#pragma once

#include "platform/clock.h"
#include "platform/directories.h"
#include "platform/notification_center.h"
#include "platform/url_session.h"

namespace tovrin {

/// The operating system's services that have more than one implementation, handed to everything that needs them. The
/// services outlive whoever holds this; the struct itself is cheap to copy.
struct Platform {
  Clock& clock;
  const Directories& directories;
  URLSession& urlSession;
  NotificationCenter& notifications;
};

}  // namespace tovrin
