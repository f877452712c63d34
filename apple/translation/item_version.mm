#include "apple/translation/item_version.h"

#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"
#include "platform/sha256.h"

namespace tovrin {

namespace {

constexpr std::size_t kLargestComponentBytes = 128;

NSData* component(const std::string& bytes) {
  return toNSData(bytes.size() <= kLargestComponentBytes ? bytes : sha256Hex(bytes));
}

}  // namespace

::NSFileProviderItemVersion* toItemVersion(const NSFileProviderItemVersion& version) {
  return autoreleased([[::NSFileProviderItemVersion alloc] initWithContentVersion:component(version.contentVersion)
                                                                  metadataVersion:component(version.metadataVersion)]);
}

NSFileProviderItemVersion fromItemVersion(::NSFileProviderItemVersion* version) {
  return {toBytes(version.contentVersion), toBytes(version.metadataVersion)};
}

std::optional<NSFileProviderItemVersion> fromOptionalItemVersion(::NSFileProviderItemVersion* version) {
  if (version == nil) return std::nullopt;
  return fromItemVersion(version);
}

}  // namespace tovrin
