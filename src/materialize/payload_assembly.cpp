#include "materialize/payload_assembly.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include "materialize/errors.h"
#include "platform/file_system.h"

namespace tovrin {
namespace {

/// The bytes of an object that belong to the stored file.
struct Slice {
  std::int64_t offset = 0;
  std::int64_t length = 0;
};

/// Appends a slice of the object that arrives to the stored file, and cuts the object off behind it.
class SliceSink final : public BodySink {
 public:
  SliceSink(FileHandle& file, const Slice& slice, WrittenBytes written)
      : file_(file), unwanted_(slice.offset), missing_(slice.length), written_(std::move(written)) {}

  Result<Verdict> receive(std::span<const std::byte> bytes) override {
    bytes = bytes.subspan(take(unwanted_, bytes.size()));
    const std::size_t wanted = take(missing_, bytes.size());
    TOVRIN_CHECK(file_.write(bytes.first(wanted)));
    appended_ += static_cast<std::int64_t>(wanted);
    written_(appended_);
    return wanted < bytes.size() ? Verdict::enough : Verdict::goOn;
  }

  std::int64_t appended() const { return appended_; }

 private:
  /// As many of `available` bytes as are left; they are left no more.
  static std::size_t take(std::int64_t& left, std::size_t available) {
    const std::int64_t taken = std::min(left, static_cast<std::int64_t>(available));
    left -= taken;
    return static_cast<std::size_t>(taken);
  }

  FileHandle& file_;
  std::int64_t unwanted_;  ///< bytes still to come before the slice
  std::int64_t missing_;   ///< bytes of the slice still to come
  std::int64_t appended_ = 0;
  const WrittenBytes written_;
};

/// The objects of this strategy hold other files too; a part is the slice that belongs to this one. Other objects are
/// appended whole; but one byte more than the stored file lacks shows that the object is too long, and the rest of it
/// would only fill the disk.
Slice sliceOf(const TovrinWarpSharedPayloadPart& part, const TovrinWarpSharedEntry& payload, std::int64_t appended) {
  if (payload.uploadStrategy == "bundle-direct-unpacked")
    return {std::max<std::int64_t>(part.offset, 0), std::max<std::int64_t>(part.size, 0)};
  const std::int64_t lacking = std::max<std::int64_t>(payload.storedSize - appended, 0);
  return {0, lacking < std::numeric_limits<std::int64_t>::max() ? lacking + 1 : lacking};
}

}  // namespace

std::vector<TovrinWarpSharedPayloadPart> effectiveParts(const TovrinWarpSharedEntry& payload) {
  if (payload.payloadParts.empty()) {
    if (!payload.payloadKey) return {};
    return {{.key = *payload.payloadKey, .offset = 0, .size = payload.storedSize, .namespace_ = std::nullopt}};
  }
  std::vector<TovrinWarpSharedPayloadPart> parts(payload.payloadParts.begin(), payload.payloadParts.end());
  std::ranges::stable_sort(parts, {}, &TovrinWarpSharedPayloadPart::offset);
  return parts;
}

Result<void> assembleStoredFile(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                const TovrinWarpSharedEntry& payload, const std::filesystem::path& stored,
                                const AssemblyProgress& progress, const WrittenBytes& written, std::stop_token stop) {
  const double denominator = static_cast<double>(std::max<std::int64_t>(payload.storedSize, 1));
  TOVRIN_TRY(FileHandle file, FileHandle::create(stored));
  std::int64_t appended = 0;
  for (const TovrinWarpSharedPayloadPart& part : effectiveParts(payload)) {
    SliceSink sink(file, sliceOf(part, payload, appended), [&](std::int64_t bytes) { written(appended + bytes); });
    TOVRIN_CHECK(client.downloadObject(snapshot, {part.key, part.namespace_}, sink, stop));
    appended += sink.appended();
    progress(static_cast<double>(appended) / denominator);
  }
  TOVRIN_CHECK(file.close());
  if (appended != payload.storedSize) return failure(checksumError());
  return {};
}

}  // namespace tovrin
