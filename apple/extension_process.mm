#include "apple/extension_process.h"

#include "platform/darwin/provider_directories.h"
#include "platform/darwin/values.h"
#include "provider/extension.h"

namespace tovrin {

namespace {

/// The extension and what it works with, which outlives it.
struct ServedExtension {
  explicit ServedExtension(::NSFileProviderDomain* domain)
      : directories(makeProviderDirectories(TOVRIN_APP_GROUP, domain)),
        extension({toText(domain.identifier), toText(domain.displayName)},
                  {systemClock(), *directories, *urlSession, *notifications}) {}

  const std::unique_ptr<Directories> directories;
  const std::unique_ptr<URLSession> urlSession = makeURLSession();
  const std::unique_ptr<NotificationCenter> notifications = makeDistributedNotificationCenter();
  TovrinFileProviderExtension extension;
};

}  // namespace

std::shared_ptr<NSFileProviderReplicatedExtension> makeExtension(::NSFileProviderDomain* domain) {
  auto served = std::make_shared<ServedExtension>(domain);
  return {served, &served->extension};
}

}  // namespace tovrin
