#include "platform/url_session.h"

#include <curl/curl.h>

#include <cstdlib>
#include <limits>
#include <string_view>

#include "platform/linux/curl_transfer.h"
#include "platform/linux/curl_transfer_pool.h"
#include "platform/linux/partial_file.h"

namespace tovrin {

namespace {

constexpr std::size_t kLargestDataBytes = 16 * 1024 * 1024;

class FileSink final : public BodySink {
 public:
  FileSink(PartialFile& file, std::optional<std::int64_t> byteLimit)
      : file_(file), room_(byteLimit.value_or(std::numeric_limits<std::int64_t>::max())) {}

  Result<Verdict> receive(std::span<const std::byte> bytes) override {
    TOVRIN_CHECK(file_.write(bytes));
    const auto count = static_cast<std::int64_t>(bytes.size());
    if (count > room_) return Verdict::enough;
    room_ -= count;
    return Verdict::goOn;
  }

 private:
  PartialFile& file_;
  std::int64_t room_;
};

class MemorySink final : public BodySink {
 public:
  Result<Verdict> receive(std::span<const std::byte> bytes) override {
    if (bytes.size() > kLargestDataBytes - body_.size()) return failure(NSError::url(URLErrorCode::badServerResponse));
    body_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return Verdict::goOn;
  }

  std::string takeBody() { return std::move(body_); }

 private:
  std::string body_;
};

/// A worker on this machine is reached directly, whatever proxy the environment names.
std::string hostsReachedDirectly() {
  const char* configured = std::getenv("no_proxy");
  if (configured == nullptr) configured = std::getenv("NO_PROXY");
  const std::string_view others = configured == nullptr ? "" : configured;
  if (others == "*") return "*";
  return "localhost,127.0.0.0/8,::1," + std::string(others);
}

class CurlURLSession final : public URLSession {
 public:
  Result<DownloadedFile> download(const URLRequest& request, const DownloadOptions& options,
                                  std::stop_token stop) override {
    TOVRIN_TRY(PartialFile file, PartialFile::create(options.directory));
    FileSink sink(file, options.byteLimit);
    TOVRIN_TRY(const HTTPResponse response, transfer(request, sink, std::move(stop)));
    TOVRIN_TRY(std::filesystem::path path, file.finish());
    return DownloadedFile{response, std::move(path)};
  }

  Result<ReceivedData> data(const URLRequest& request, std::stop_token stop) override {
    MemorySink sink;
    TOVRIN_TRY(const HTTPResponse response, transfer(request, sink, std::move(stop)));
    return ReceivedData{response, sink.takeBody()};
  }

 private:
  Result<HTTPResponse> transfer(const URLRequest& request, BodySink& sink, std::stop_token stop) {
    std::unique_ptr<CurlSlot> slot = pool_.take();
    if (slot == nullptr) return failure(NSError::url(URLErrorCode::unknown));
    Result<HTTPResponse> response = runTransfer(*slot, request, noProxyHosts_, sink, std::move(stop));
    pool_.giveBack(std::move(slot));
    return response;
  }

  const std::string noProxyHosts_ = hostsReachedDirectly();
  CurlTransferPool pool_;
};

}  // namespace

std::unique_ptr<URLSession> makeURLSession() {
  // Once per process, and before any thread uses libcurl; never undone, as other sessions may live on.
  [[maybe_unused]] static const CURLcode initialized = curl_global_init(CURL_GLOBAL_DEFAULT);
  return std::make_unique<CurlURLSession>();
}

}  // namespace tovrin
