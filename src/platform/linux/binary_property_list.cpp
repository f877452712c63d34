#include "platform/linux/binary_property_list.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace tovrin {

namespace {

constexpr std::string_view kHeader = "bplist00";
constexpr std::size_t kTrailerBytes = 32;
constexpr std::size_t kLargestIntegerBytes = 8;
// Far above what an extended attribute holds (64 KiB); equal strings are stored once and may be referred to often.
constexpr std::uint64_t kLargestTotalBytes = 1 << 20;

enum Marker : std::uint8_t { integerMarker = 0x1, asciiMarker = 0x5, utf16Marker = 0x6, arrayMarker = 0xA };

/// The start of an object: what it is, how many elements it has, and where they begin.
struct ObjectHeader {
  std::uint8_t marker = 0;
  std::uint64_t count = 0;
  std::uint64_t contents = 0;
};

/// Reads numbers and objects of a property list; every position is checked against the bytes.
class Reader {
 public:
  static std::optional<Reader> open(std::string_view bytes) {
    if (bytes.size() < kHeader.size() + kTrailerBytes || !bytes.starts_with(kHeader)) return std::nullopt;
    const std::string_view trailer = bytes.substr(bytes.size() - kTrailerBytes);
    Reader reader;
    reader.bytes_ = bytes;
    reader.offsetBytes_ = static_cast<std::uint8_t>(trailer[6]);
    reader.referenceBytes_ = static_cast<std::uint8_t>(trailer[7]);
    reader.objectCount_ = bigEndian(trailer.substr(8, 8));
    reader.root_ = bigEndian(trailer.substr(16, 8));
    reader.offsetTable_ = bigEndian(trailer.substr(24, 8));
    return reader.isConsistent() ? std::optional(reader) : std::nullopt;
  }

  std::uint64_t root() const { return root_; }

  std::optional<ObjectHeader> object(std::uint64_t index) const {
    if (index >= objectCount_) return std::nullopt;
    const std::uint64_t offset = bigEndian(bytes_.substr(offsetTable_ + index * offsetBytes_, offsetBytes_));
    if (offset < kHeader.size() || offset >= offsetTable_) return std::nullopt;
    const auto first = static_cast<std::uint8_t>(bytes_[offset]);
    ObjectHeader header{static_cast<std::uint8_t>(first >> 4), first & 0x0FU, offset + 1};
    if (header.count == 0x0F && !readLongCount(header)) return std::nullopt;
    return header;
  }

  /// True when `count` elements of `size` bytes that begin at `start` end before the offset table.
  bool holds(std::uint64_t start, std::uint64_t count, std::uint64_t size) const {
    return start <= offsetTable_ && count <= (offsetTable_ - start) / size;
  }

  std::uint64_t reference(const ObjectHeader& array, std::uint64_t index) const {
    return bigEndian(bytes_.substr(array.contents + index * referenceBytes_, referenceBytes_));
  }
  std::uint64_t referenceBytes() const { return referenceBytes_; }

 private:
  static std::uint64_t bigEndian(std::string_view digits) {
    std::uint64_t value = 0;
    for (const char digit : digits) value = value << 8 | static_cast<std::uint8_t>(digit);
    return value;
  }

  bool isConsistent() const {
    const std::uint64_t end = bytes_.size() - kTrailerBytes;
    return offsetBytes_ >= 1 && offsetBytes_ <= kLargestIntegerBytes && referenceBytes_ >= 1 &&
           referenceBytes_ <= kLargestIntegerBytes && offsetTable_ > kHeader.size() && offsetTable_ <= end &&
           objectCount_ <= (end - offsetTable_) / offsetBytes_ && root_ < objectCount_;
  }

  /// A count of 15 or more follows its object's first byte as an integer object.
  bool readLongCount(ObjectHeader& header) const {
    if (!holds(header.contents, 1, 1)) return false;
    const auto first = static_cast<std::uint8_t>(bytes_[header.contents]);
    const std::uint64_t size = std::uint64_t{1} << (first & 0x0F);
    if (first >> 4 != integerMarker || size > kLargestIntegerBytes || !holds(header.contents + 1, 1, size))
      return false;
    header.count = bigEndian(bytes_.substr(header.contents + 1, size));
    header.contents += 1 + size;
    return true;
  }

  std::string_view bytes_;
  std::uint64_t offsetBytes_ = 0;
  std::uint64_t referenceBytes_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t offsetTable_ = 0;
};

/// Bytes that a string takes up; nothing when the object is no string or does not fit.
std::optional<std::uint64_t> stringBytes(const Reader& reader, std::uint64_t index) {
  const std::optional<ObjectHeader> header = reader.object(index);
  if (!header || (header->marker != asciiMarker && header->marker != utf16Marker)) return std::nullopt;
  const std::uint64_t unitBytes = header->marker == asciiMarker ? 1 : 2;
  if (!reader.holds(header->contents, header->count, unitBytes)) return std::nullopt;
  return header->count * unitBytes;
}

}  // namespace

bool isPlainStringArray(std::string_view bytes) {
  if (bytes.size() > kLargestTotalBytes) return false;
  const std::optional<Reader> reader = Reader::open(bytes);
  if (!reader) return false;
  const std::optional<ObjectHeader> root = reader->object(reader->root());
  if (!root || root->marker != arrayMarker) return false;
  if (!reader->holds(root->contents, root->count, reader->referenceBytes())) return false;

  std::uint64_t total = 0;
  for (std::uint64_t index = 0; index < root->count; ++index) {
    const std::optional<std::uint64_t> size = stringBytes(*reader, reader->reference(*root, index));
    if (!size || *size > kLargestTotalBytes - total) return false;
    total += *size;
  }
  return true;
}

}  // namespace tovrin
