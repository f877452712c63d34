#pragma once

#include <string>

namespace tovrin {

/// A fresh random (version 4) UUID: 36 characters, upper-case, with hyphens.
std::string makeUUIDString();

}  // namespace tovrin
