#include <curl/curl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "tovrin-warp/object_sink.h"

namespace tovrin::warp {
namespace {

/// Everything but unreserved characters and "/" is escaped.
std::string encodedKey(std::string_view key) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  std::string encoded;
  for (const char character : key) {
    if (kPlain.find(character) != std::string_view::npos) {
      encoded += character;
    } else {
      encoded += fmt::format("%{:02X}", static_cast<unsigned char>(character));
    }
  }
  return encoded;
}

struct Source {
  const ObjectSlice& slice;
  std::int64_t sent = 0;
  std::optional<NSError> error;
};

std::size_t readSource(char* buffer, std::size_t, std::size_t capacity, void* context) {
  auto& source = *static_cast<Source*>(context);
  const std::int64_t left = source.slice.length - source.sent;
  const auto count = static_cast<std::size_t>(std::min<std::int64_t>(left, static_cast<std::int64_t>(capacity)));
  if (const auto read = source.slice.bytes.readAt(source.slice.offset + source.sent, {buffer, count}); !read) {
    source.error = read.error();
    return CURL_READFUNC_ABORT;
  }
  source.sent += static_cast<std::int64_t>(count);
  return count;
}

std::size_t dropAnswer(char*, std::size_t, std::size_t count, void*) { return count; }

struct CurlCloser {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

class WorkerSink final : public ObjectSink {
 public:
  WorkerSink(CURL* handle, std::string url, std::string password)
      : handle_(handle), url_(std::move(url)), password_(std::move(password)) {}

  Result<void> createBucket(std::string_view bucket) override {
    constexpr long kExists = 409;
    prepare(url_ + "/api/bus/buckets");
    const std::string body = fmt::format(R"({{"name":"{}","policy":{{"publicReadAccess":false}}}})", bucket);
    curl_easy_setopt(handle_.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(handle_.get(), CURLOPT_COPYPOSTFIELDS, body.c_str());
    TOVRIN_TRY(const long status, perform(fmt::format("The bucket \"{}\"", bucket)));
    if (status == kExists) return {};
    return expectSuccess(status, fmt::format("The bucket \"{}\"", bucket));
  }

  Result<void> put(std::string_view bucket, std::string_view key, const ObjectSlice& slice) override {
    const std::string what = fmt::format("The object \"{}\"", key);
    Source source{slice, 0, std::nullopt};
    prepare(fmt::format("{}/api/worker/object/{}?bucket={}", url_, encodedKey(key), bucket));
    curl_easy_setopt(handle_.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(handle_.get(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(slice.length));
    curl_easy_setopt(handle_.get(), CURLOPT_READFUNCTION, readSource);
    curl_easy_setopt(handle_.get(), CURLOPT_READDATA, &source);
    const auto status = perform(what);
    if (source.error) return failure(*source.error);
    if (!status) return failure(status.error());
    return expectSuccess(*status, what);
  }

 private:
  void prepare(const std::string& url) {
    constexpr long kPatienceSeconds = 120;
    curl_easy_reset(handle_.get());
    curl_easy_setopt(handle_.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_.get(), CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(handle_.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_.get(), CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(handle_.get(), CURLOPT_LOW_SPEED_TIME, kPatienceSeconds);
    curl_easy_setopt(handle_.get(), CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(handle_.get(), CURLOPT_USERNAME, "");
    curl_easy_setopt(handle_.get(), CURLOPT_PASSWORD, password_.c_str());
    curl_easy_setopt(handle_.get(), CURLOPT_WRITEFUNCTION, dropAnswer);
  }

  Result<long> perform(std::string_view what) {
    const CURLcode code = curl_easy_perform(handle_.get());
    if (code != CURLE_OK) {
      return failure(NSError::posix(EIO, fmt::format("{} could not be sent: {}.", what, curl_easy_strerror(code))));
    }
    long status = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    return status;
  }

  static Result<void> expectSuccess(long status, std::string_view what) {
    if (status >= 200 && status <= 299) return {};
    return failure(NSError::posix(EIO, fmt::format("{} was refused with HTTP status {}.", what, status)));
  }

  std::unique_ptr<CURL, CurlCloser> handle_;
  std::string url_;
  std::string password_;
};

}  // namespace

Result<std::unique_ptr<ObjectSink>> makeWorkerSink(std::string url, std::string password) {
  while (url.ends_with('/')) url.pop_back();
  CURL* handle = curl_easy_init();
  if (!handle) return failure(NSError::posix(ENOMEM));
  return std::make_unique<WorkerSink>(handle, std::move(url), std::move(password));
}

}  // namespace tovrin::warp
