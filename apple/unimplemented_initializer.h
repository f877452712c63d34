#pragma once

#include <string_view>

namespace tovrin {

/// What `init` of a class does that cannot be made without arguments: says so as the system's languages do, and stops
/// the process.
[[noreturn]] void unimplementedInitializer(std::string_view className);

}  // namespace tovrin
