#pragma once

#include <time.h>

#include <filesystem>

/// What the systems have different calls for, asked by the sources that they share.
namespace tovrin {

/// The clock that starts with the system and stops while it sleeps.
clockid_t uptimeClock();

/// 0 or an errno, EEXIST when something has the name already.
int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to);

}  // namespace tovrin
