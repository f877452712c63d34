#pragma once

#include "support/test_platform.h"

namespace tovrin {

/// While this exists, the tests' file manager and provider manager name these directories to the extension, as the
/// system names its own.
class ServedDirectories {
 public:
  explicit ServedDirectories(const TestDirectories& directories);
  ~ServedDirectories();
  ServedDirectories(const ServedDirectories&) = delete;
  ServedDirectories& operator=(const ServedDirectories&) = delete;
};

/// Those of the moment; null when none are served.
const TestDirectories* servedDirectories();

}  // namespace tovrin
