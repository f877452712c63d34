#include "platform/uniform_type.h"

#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

#include <functional>
#include <mutex>
#include <set>

#include "platform/darwin/values.h"

namespace tovrin {

namespace {

/// The same text for as long as the process lives. There are as many as the system declares types.
std::string_view kept(const std::string& identifier) {
  static std::mutex lock;
  static auto& identifiers = *new std::set<std::string, std::less<>>;
  const std::lock_guard hold(lock);
  return *identifiers.insert(identifier).first;
}

}  // namespace

UTType UTType::forFilenameExtension(std::string_view extension) {
  if (extension.empty()) return data();
  @autoreleasepool {
    ::UTType* type = [::UTType typeWithFilenameExtension:toNSString(extension) conformingToType:UTTypeData];
    // What is dynamic was declared by nobody.
    if (type == nil || type.dynamic) return data();
    return UTType(kept(toText(type.identifier)));
  }
}

}  // namespace tovrin
