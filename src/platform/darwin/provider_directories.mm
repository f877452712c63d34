#include "platform/darwin/provider_directories.h"

#include <optional>

#include "platform/darwin/errors.h"
#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"

namespace tovrin {

namespace {

using std::filesystem::path;

std::optional<path> containerOf(const std::string& appGroup) {
  @autoreleasepool {
    return toPath([NSFileManager.defaultManager containerURLForSecurityApplicationGroupIdentifier:toNSString(appGroup)]);
  }
}

class ProviderDirectories final : public Directories {
 public:
  ProviderDirectories(const std::string& appGroup, ::NSFileProviderDomain* domain)
      : container_(containerOf(appGroup)), domain_(domain) {}

  std::optional<path> appGroupContainer() const override { return container_; }

  std::optional<path> applicationSupport() const override {
    @autoreleasepool {
      NSString* first =
          NSSearchPathForDirectoriesInDomains(NSApplicationSupportDirectory, NSUserDomainMask, YES).firstObject;
      if (first == nil) return std::nullopt;
      return path(first.fileSystemRepresentation);
    }
  }

  /// macOS has one place for both.
  std::optional<path> localState() const override { return applicationSupport(); }

  std::optional<Result<path>> providerTemporaryDirectory() const override {
    @autoreleasepool {
      ::NSFileProviderManager* manager = [::NSFileProviderManager managerForDomain:domain_.get()];
      if (manager == nil) return std::nullopt;
      ::NSError* error = nil;
      if (const auto directory = toPath([manager temporaryDirectoryURLWithError:&error]))
        return Result<path>(*directory);
      if (const auto reported = fromNSError(error)) return Result<path>(failure(*reported));
      return Result<path>(failure(NSError::cocoa(CocoaErrorCode::fileNoSuchFile)));
    }
  }

  path temporaryDirectory() const override {
    @autoreleasepool {
      return path(NSTemporaryDirectory().fileSystemRepresentation);
    }
  }

 private:
  /// Asked once: whoever writes and whoever locks must mean the same place.
  const std::optional<path> container_;
  const Retained<::NSFileProviderDomain*> domain_;
};

}  // namespace

std::unique_ptr<Directories> makeProviderDirectories(std::string appGroup, ::NSFileProviderDomain* domain) {
  return std::make_unique<ProviderDirectories>(appGroup, domain);
}

}  // namespace tovrin
