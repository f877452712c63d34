#include "platform/darwin/url_session_delegate.h"

#include "platform/darwin/errors.h"
#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"

namespace {

tovrin::URLOrigin originOf(NSURL* _Nullable url) {
  tovrin::URLOrigin origin;
  if (NSString* scheme = url.scheme; scheme != nil) origin.scheme = tovrin::toText(scheme);
  if (NSString* host = url.host; host != nil) origin.host = tovrin::toText(host);
  if (NSNumber* port = url.port; port != nil) origin.port = port.intValue;
  return origin;
}

std::optional<tovrin::HTTPResponse> responseOf(NSURLSessionTask* task) {
  NSURLResponse* response = task.response;
  if (![response isKindOfClass:[NSHTTPURLResponse class]]) return std::nullopt;
  return tovrin::HTTPResponse{static_cast<NSHTTPURLResponse*>(response).statusCode};
}

}  // namespace

@implementation TovrinURLSessionDelegate

- (void)report:(NSURLSessionTask*)task to:(tovrin::PendingTransfer&)transfer {
  const std::lock_guard hold(_lock);
  _transfers[task.taskIdentifier] = &transfer;
}

- (tovrin::PendingTransfer&)transferOf:(NSURLSessionTask*)task {
  const std::lock_guard hold(_lock);
  return *_transfers.at(task.taskIdentifier);
}

- (void)URLSession:(NSURLSession*)session dataTask:(NSURLSessionDataTask*)dataTask didReceiveData:(NSData*)data {
  tovrin::PendingTransfer& transfer = [self transferOf:dataTask];
  [data enumerateByteRangesUsingBlock:^(const void* bytes, NSRange range, BOOL* stop) {
    if (transfer.receive({static_cast<const std::byte*>(bytes), range.length})) return;
    *stop = YES;
    [dataTask cancel];
  }];
}

- (void)URLSession:(NSURLSession*)session
                          task:(NSURLSessionTask*)task
    willPerformHTTPRedirection:(NSHTTPURLResponse*)response
                    newRequest:(NSURLRequest*)request
             completionHandler:(void (^)(NSURLRequest* _Nullable))completionHandler {
  NSMutableURLRequest* next = tovrin::autoreleased([request mutableCopy]);
  if (!tovrin::isSameOrigin(originOf(task.originalRequest.URL), originOf(request.URL)))
    [next setValue:nil forHTTPHeaderField:@"Authorization"];
  completionHandler(next);
}

- (void)URLSession:(NSURLSession*)session task:(NSURLSessionTask*)task didCompleteWithError:(nullable NSError*)error {
  tovrin::PendingTransfer& transfer = [self transferOf:task];
  {
    const std::lock_guard hold(_lock);
    _transfers.erase(task.taskIdentifier);
  }
  transfer.finish(responseOf(task), tovrin::fromNSError(error));
}

@end
