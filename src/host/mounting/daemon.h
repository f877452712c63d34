#pragma once

#include <functional>

#include "foundation/result.h"

namespace tovrin::host {

/// What runs until it is told to stop, and calls `ready` once when it does its work.
using Service = std::function<Result<void>(const std::function<void()>& ready)>;

/// Runs `service` in a process of its own, which has no terminal, no working directory and no files of this one, and
/// waits until it is ready; from then on it has no standard streams either. Fails with the error of a service that
/// ends before. To be called before this process starts threads. The service makes StopSignals: until then it
/// receives none of them.
///
/// When `interruption`, a descriptor, becomes readable meanwhile, the service gets SIGTERM, and once it has ended this
/// fails with NSCocoaErrorDomain 3072.
Result<void> startDaemon(const Service& service, int interruption);

}  // namespace tovrin::host
