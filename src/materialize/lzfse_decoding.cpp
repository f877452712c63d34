#include "materialize/lzfse_decoding.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "materialize/errors.h"
#include "platform/compression_stream.h"

namespace tovrin {
namespace {

/// The stream of the system library, destroyed on every path.
class LZFSEStream {
 public:
  LZFSEStream() = default;
  LZFSEStream(const LZFSEStream&) = delete;
  LZFSEStream& operator=(const LZFSEStream&) = delete;
  ~LZFSEStream() {
    if (initialised_) compression_stream_destroy(&stream_);
  }

  Result<void> initialise() {
    initialised_ =
        compression_stream_init(&stream_, COMPRESSION_STREAM_DECODE, COMPRESSION_LZFSE) == COMPRESSION_STATUS_OK;
    if (!initialised_) return failure(NSError::cocoa(CocoaErrorCode::coderInvalidValue));
    return {};
  }

  void offer(std::span<const std::byte> input) {
    stream_.src_ptr = reinterpret_cast<const std::uint8_t*>(input.data());
    stream_.src_size = input.size();
  }

  struct Step {
    bool reachedEnd = false;
    std::size_t produced = 0;
  };
  Result<Step> decodeInto(std::span<std::byte> room) {
    stream_.dst_ptr = reinterpret_cast<std::uint8_t*>(room.data());
    stream_.dst_size = room.size();
    // Flags 0 throughout: LZFSE carries its own end, and with FINALIZE a stream cut short would pass for a whole one.
    const compression_status status = compression_stream_process(&stream_, 0);
    if (status == COMPRESSION_STATUS_ERROR) return failure(NSError::cocoa(CocoaErrorCode::coderReadCorrupt));
    return Step{status == COMPRESSION_STATUS_END, room.size() - stream_.dst_size};
  }

  std::size_t unreadInput() const { return stream_.src_size; }

 private:
  compression_stream stream_;
  bool initialised_ = false;
};

/// Writes what is within the limit.
class LimitedOutput {
 public:
  LimitedOutput(FileHandle& file, const DecodedSizeLimit& limit, const WrittenBytes& written)
      : file_(file), limit_(limit), written_(written) {}

  Result<void> write(std::span<const std::byte> bytes) {
    const auto room = static_cast<std::size_t>(
        std::min<std::int64_t>(limit_.bytes - length_, static_cast<std::int64_t>(bytes.size())));
    if (room < bytes.size() && limit_.surplus == DecodedSizeLimit::Surplus::isAnError) return failure(checksumError());
    TOVRIN_CHECK(file_.write(bytes.first(room)));
    length_ += static_cast<std::int64_t>(room);
    written_(length_);
    return {};
  }

 private:
  FileHandle& file_;
  const DecodedSizeLimit limit_;
  const WrittenBytes& written_;
  std::int64_t length_ = 0;
};

}  // namespace

Result<void> decodeLZFSE(FileHandle& input, FileHandle& output, const DecodedSizeLimit& limit,
                         const WrittenBytes& written, std::stop_token stop) {
  std::vector<std::byte> inputBuffer(kDecodeChunkBytes);
  std::vector<std::byte> outputBuffer(kDecodeChunkBytes);
  LimitedOutput sink(output, limit, written);
  LZFSEStream stream;
  TOVRIN_CHECK(stream.initialise());
  while (true) {
    TOVRIN_TRY(const std::size_t count, input.read(inputBuffer));
    if (count == 0) return failure(NSError::cocoa(CocoaErrorCode::coderInvalidValue));
    stream.offer(std::span(inputBuffer).first(count));
    bool outputPending = true;
    while (outputPending) {
      if (stop.stop_requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
      TOVRIN_TRY(const LZFSEStream::Step step, stream.decodeInto(outputBuffer));
      TOVRIN_CHECK(sink.write(std::span(outputBuffer).first(step.produced)));
      if (step.reachedEnd) return {};
      outputPending = stream.unreadInput() > 0 || step.produced == outputBuffer.size();
    }
  }
}

}  // namespace tovrin
