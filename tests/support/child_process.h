#pragma once

#include <functional>

namespace tovrin {

/// The exit status of a child that cannot run its test on this machine.
inline constexpr int kCannotTest = 77;

/// Runs in a process of its own, for what is one for the whole process. Returns its exit status: 0 when no expectation
/// failed in it; negative when a signal ended it.
int inChild(const std::function<void()>& run);

/// What this process, a child, mounts from here on is seen by nobody else and is gone with it. Ends a process that may
/// not do so with `kCannotTest`.
void keepMountsPrivate();

}  // namespace tovrin
