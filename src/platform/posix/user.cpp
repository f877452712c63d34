#include "platform/user.h"

#include <unistd.h>

namespace tovrin {

std::uint32_t currentUserID() { return getuid(); }
std::uint32_t currentGroupID() { return getgid(); }

}  // namespace tovrin
