#include "apple/unimplemented_initializer.h"

#include <cstdio>
#include <string>

namespace tovrin {

void unimplementedInitializer(std::string_view className) {
  const std::string message =
      "Fatal error: Use of unimplemented initializer 'init()' for class "
      "'TovrinFileProviderExtension." +
      std::string(className) + "'\n";
  std::fputs(message.c_str(), stderr);
  __builtin_trap();
}

}  // namespace tovrin
