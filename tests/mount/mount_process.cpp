#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "host/log.h"
#include "host/mount.h"
#include "host/mounting/mount_options.h"
#include "host/mounting/stop_signals.h"

/// tovrin_test_mount CONTAINER MOUNTPOINT [OPTION...]: mounts until SIGTERM, and says "mounted" once it answers. The
/// options are those of `-o`; "debug" logs every request of the kernel.
int main(int argc, char** argv) {
  using namespace tovrin::host;
  if (argc < 3) return 2;
  MountRequest request = usualMountRequest();
  request.container = argv[1];
  request.mountpoint = argv[2];
  request.notifyErrors = false;
  request.limits.keepFree = 0;  // however full the disk of this machine is
  for (int i = 3; i < argc; ++i) {
    if (const auto applied = applyMountOption(argv[i], argv[1], request); !applied) {
      std::fprintf(stderr, "%s\n", applied.error().message.c_str());
      return 2;
    }
  }
  log::setUp(log::Destination::standardError, isDebugging(request) ? log::Level::debug : log::Level::info);
  const StopSignals signals([] { _exit(3); });
  const auto served = serveMount(request, signals.token(), [] {
    std::puts("mounted");
    std::fflush(stdout);
  });
  if (served) return 0;
  std::fprintf(stderr, "%s\n", served.error().localizedDescription().c_str());
  return 1;
}
