#include "platform/url_session.h"

#include <string_view>

#include "platform/darwin/retained.h"
#include "platform/darwin/url_session_delegate.h"
#include "platform/darwin/values.h"
#include "platform/posix/pending_transfer.h"

namespace tovrin {

namespace {

bool fitsHeaderLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

bool isHTTP(NSURL* url) {
  NSString* scheme = url.scheme.lowercaseString;
  return [scheme isEqualToString:@"http"] || [scheme isEqualToString:@"https"];
}

/// Nothing for a request that cannot be sent.
NSURLRequest* _Nullable systemRequest(const URLRequest& request) {
  NSURL* url = [NSURL URLWithString:toNSString(request.url)];
  if (url == nil || !isHTTP(url) || url.host.length == 0) return nil;
  NSMutableURLRequest* made = [NSMutableURLRequest requestWithURL:url];
  made.timeoutInterval = request.timeoutSeconds;
  for (const auto& [name, value] : request.headers) {
    if (!fitsHeaderLine(name) || !fitsHeaderLine(value)) return nil;
    [made setValue:toNSString(value) forHTTPHeaderField:toNSString(name)];
  }
  return made;
}

/// Above every timeout that a request brings.
constexpr NSTimeInterval kLongestTimeout = 3600;

/// A session of our own, since only its delegate sees the bytes as they come: a download that exceeds what the manifest
/// allows is cut off, and a password is not sent on to another host. Payloads are not worth a cache of the system's,
/// and no server is to tell one request from another.
NSURLSessionConfiguration* configuration() {
  NSURLSessionConfiguration* made = [NSURLSessionConfiguration ephemeralSessionConfiguration];
  made.URLCache = nil;
  made.HTTPCookieStorage = nil;
  made.URLCredentialStorage = nil;
  made.timeoutIntervalForRequest = kLongestTimeout;  // else it would cut the requests' own timeouts short
  return made;
}

class SystemURLSession final : public URLSession {
 public:
  SystemURLSession() {
    @autoreleasepool {
      delegate_ = Retained(autoreleased([[TovrinURLSessionDelegate alloc] init]));
      session_ = Retained([NSURLSession sessionWithConfiguration:configuration()
                                                        delegate:delegate_.get()
                                                   delegateQueue:nil]);
    }
  }
  /// The session keeps its delegate until it is told that nothing more comes.
  ~SystemURLSession() override { [session_.get() finishTasksAndInvalidate]; }

  Result<HTTPResponse> receive(const URLRequest& request, BodySink& sink, std::stop_token stop) override {
    @autoreleasepool {
      if (stop.stop_requested()) return failure(NSError::url(URLErrorCode::cancelled));
      NSURLRequest* sent = systemRequest(request);
      if (sent == nil) return failure(NSError::url(URLErrorCode::badURL));
      NSURLSessionDataTask* task = [session_.get() dataTaskWithRequest:sent];
      PendingTransfer transfer(sink);
      [delegate_.get() report:task to:transfer];
      const std::stop_callback cancel(std::move(stop), [held = Retained(task)] { [held.get() cancel]; });
      [task resume];
      return transfer.wait();
    }
  }

 private:
  Retained<TovrinURLSessionDelegate*> delegate_;
  Retained<NSURLSession*> session_;
};

}  // namespace

std::unique_ptr<URLSession> makeURLSession() { return std::make_unique<SystemURLSession>(); }

}  // namespace tovrin
