#include "platform/linux/curl_transfer.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tovrin {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr long kMaximumRedirects = 20;
constexpr long kReceiveBufferBytes = 256 * 1024;
// A week: no wait is longer, and its milliseconds fit every integer of libcurl.
constexpr double kLongestTimeoutSeconds = 7 * 24 * 60 * 60;

// Only a redirect leads to a server that needs it.
constexpr std::int64_t kSecureConnectionFailed = -1200;

using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

bool fitsHeaderLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

Result<HeaderList> headerList(const URLRequest& request) {
  HeaderList list(nullptr, curl_slist_free_all);
  for (const auto& [name, value] : request.headers) {
    if (!fitsHeaderLine(name) || !fitsHeaderLine(value)) return failure(NSError::url(URLErrorCode::badURL));
    // "Name:" would make libcurl leave the header out; "Name;" is how it is told to send one without a value.
    const std::string line = value.empty() ? name + ";" : name + ": " + value;
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) return failure(NSError::url(URLErrorCode::unknown));
    std::ignore = list.release();
    list.reset(longer);
  }
  return list;
}

/// What libcurl's callbacks leave behind for the transfer that they belong to.
struct Reception {
  BodySink& sink;
  std::optional<NSError> sinkError;
  bool enough = false;
};

// Called by C code, which an exception must not cross: without memory the transfer just ends.
std::size_t receiveBody(char* bytes, std::size_t, std::size_t count, void* context) noexcept try {
  auto& reception = *static_cast<Reception*>(context);
  const Result<BodySink::Verdict> verdict = reception.sink.receive(std::as_bytes(std::span(bytes, count)));
  if (!verdict) reception.sinkError = verdict.error();
  reception.enough = verdict && *verdict == BodySink::Verdict::enough;
  return verdict && !reception.enough ? count : CURL_WRITEFUNC_ERROR;
} catch (const std::bad_alloc&) {
  return CURL_WRITEFUNC_ERROR;
}

std::chrono::milliseconds timeoutOf(const URLRequest& request) {
  const double seconds = std::clamp(request.timeoutSeconds, 0.001, kLongestTimeoutSeconds);
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

void configure(CURL* easy, const URLRequest& request, const curl_slist* headers, const std::string& noProxyHosts,
               Reception& reception) {
  curl_easy_reset(easy);
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_MAXREDIRS, kMaximumRedirects);
  // Every "//" and ".." of an object key is part of its name.
  curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
  curl_easy_setopt(easy, CURLOPT_NOPROXY, noProxyHosts.c_str());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // A cancelled transfer does not wait for a name server that does not answer.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  // libcurl's own limit of 300 s must not undercut the request's; silence is what ends a transfer here.
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeoutOf(request).count()));
  curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, receiveBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &reception);
}

NSError errorFor(CURLcode code, CURL* easy) {
  long requestBytes = 0;
  curl_easy_getinfo(easy, CURLINFO_REQUEST_SIZE, &requestBytes);
  switch (code) {
    case CURLE_URL_MALFORMAT:
    case CURLE_UNSUPPORTED_PROTOCOL:
      // After a request went out it is the server that named such a URL, or that does not speak HTTP.
      return NSError::url(requestBytes > 0 ? URLErrorCode::badServerResponse : URLErrorCode::badURL);
    case CURLE_OPERATION_TIMEDOUT:
      return NSError::url(URLErrorCode::timedOut);
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return NSError::url(URLErrorCode::cannotFindHost);
    case CURLE_COULDNT_CONNECT:
      return NSError::url(URLErrorCode::cannotConnectToHost);
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
      return {NSURLErrorDomain, kSecureConnectionFailed,
              "An SSL error has occurred and a secure connection to the server cannot be made."};
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
      return NSError::url(URLErrorCode::networkConnectionLost);
    case CURLE_TOO_MANY_REDIRECTS:
      return NSError::url(URLErrorCode::httpTooManyRedirects);
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
      return NSError::url(URLErrorCode::badServerResponse);
    default:
      return NSError::url(URLErrorCode::unknown);
  }
}

/// A slot's easy handle inside its multi handle, for as long as a transfer runs.
class Running {
 public:
  explicit Running(const CurlSlot& slot) : slot_(slot) { curl_multi_add_handle(slot.multi(), slot.easy()); }
  ~Running() { curl_multi_remove_handle(slot_.multi(), slot_.easy()); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  const CurlSlot& slot_;
};

/// Drives the transfer to its end, or to an end of ours: a request to stop, or silence.
Result<CURLcode> drive(CURLM* multi, std::chrono::milliseconds timeout, const std::stop_token& stop) {
  const std::stop_callback wakeUp(stop, [multi] { curl_multi_wakeup(multi); });
  SteadyClock::time_point lastSignOfLife = SteadyClock::now();
  for (;;) {
    int running = 0;
    if (curl_multi_perform(multi, &running) != CURLM_OK) return failure(NSError::url(URLErrorCode::unknown));
    int queued = 0;
    if (const CURLMsg* message = curl_multi_info_read(multi, &queued); message != nullptr) return message->data.result;
    if (stop.stop_requested()) return failure(NSError::url(URLErrorCode::cancelled));

    const auto silence = std::chrono::floor<std::chrono::milliseconds>(SteadyClock::now() - lastSignOfLife);
    const auto left = std::max(timeout - silence, std::chrono::milliseconds(0));
    // A socket with something to say is a sign of life, however little arrives and however long the disk kept us busy.
    int readySockets = 0;
    if (curl_multi_poll(multi, nullptr, 0, static_cast<int>(left.count()), &readySockets) != CURLM_OK)
      return failure(NSError::url(URLErrorCode::unknown));
    const SteadyClock::time_point now = SteadyClock::now();
    if (readySockets > 0)
      lastSignOfLife = now;
    else if (now - lastSignOfLife >= timeout)
      return failure(NSError::url(URLErrorCode::timedOut));
  }
}

}  // namespace

Result<HTTPResponse> runTransfer(const CurlSlot& slot, const URLRequest& request, const std::string& noProxyHosts,
                                 BodySink& sink, std::stop_token stop) {
  if (stop.stop_requested()) return failure(NSError::url(URLErrorCode::cancelled));
  if (request.url.find('\0') != std::string::npos) return failure(NSError::url(URLErrorCode::badURL));
  TOVRIN_TRY(const HeaderList headers, headerList(request));

  Reception reception{sink, std::nullopt};
  configure(slot.easy(), request, headers.get(), noProxyHosts, reception);
  const Running running(slot);
  TOVRIN_TRY(const CURLcode code, drive(slot.multi(), timeoutOf(request), stop));
  if (reception.sinkError) return failure(*reception.sinkError);
  if (code != CURLE_OK && !reception.enough) return failure(errorFor(code, slot.easy()));

  long status = 0;
  curl_easy_getinfo(slot.easy(), CURLINFO_RESPONSE_CODE, &status);
  return HTTPResponse{status};
}

}  // namespace tovrin
