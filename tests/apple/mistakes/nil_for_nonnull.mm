#include "platform/darwin/errors.h"
#include "platform/darwin/values.h"

NSString* _Nonnull pathOf(NSURL* url) { return url.path; }
