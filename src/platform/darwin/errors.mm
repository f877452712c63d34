#include "platform/darwin/errors.h"

#include "platform/darwin/values.h"

namespace tovrin {

::NSError* toNSError(const NSError& error) {
  NSMutableDictionary<NSString*, id>* details =
      [NSMutableDictionary dictionaryWithObject:toNSString(error.localizedDescription())
                                         forKey:NSLocalizedDescriptionKey];
  if (const DecodingFailure* failure = error.decodingFailure())
    [details setObject:toNSString(failure->debugDescription) forKey:NSDebugDescriptionErrorKey];
  return [::NSError errorWithDomain:toNSString(error.domain()) code:error.code() userInfo:details];
}

std::optional<NSError> fromNSError(::NSError* error) {
  if (error == nil) return std::nullopt;
  return NSError(toText(error.domain), error.code, toText(error.localizedDescription));
}

}  // namespace tovrin
