#include "platform/posix/streamed_url_session.h"

#include <cstdint>
#include <limits>
#include <utility>

#include "platform/posix/partial_file.h"

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

}  // namespace

Result<DownloadedFile> StreamedURLSession::download(const URLRequest& request, const DownloadOptions& options,
                                                    std::stop_token stop) {
  TOVRIN_TRY(PartialFile file, PartialFile::create(options.directory));
  FileSink sink(file, options.byteLimit);
  TOVRIN_TRY(const HTTPResponse response, transfer(request, sink, std::move(stop)));
  TOVRIN_TRY(std::filesystem::path path, file.finish());
  return DownloadedFile{response, std::move(path)};
}

Result<ReceivedData> StreamedURLSession::data(const URLRequest& request, std::stop_token stop) {
  MemorySink sink;
  TOVRIN_TRY(const HTTPResponse response, transfer(request, sink, std::move(stop)));
  return ReceivedData{response, sink.takeBody()};
}

}  // namespace tovrin
