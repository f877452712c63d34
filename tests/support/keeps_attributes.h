#pragma once

#include <filesystem>

#include "platform/extended_attributes.h"

namespace tovrin {

/// Asked with an attribute of its own: that the one under test is missing must fail the test, not skip it.
inline bool keepsExtendedAttributes(const std::filesystem::path& file) {
  return setExtendedAttribute(file, "com.tovrin.probe", "1", LinkPolicy::noFollow);
}

}  // namespace tovrin
