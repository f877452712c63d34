#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "foundation/encoding.h"
#include "platform/property_list.h"

// Attribute bytes come from anybody, and a decoder that follows every reference can be led through a tree of 10^20
// nodes by a few hundred of them. This one knows nothing but an array of strings, and how much text it will make of it.

namespace tovrin {

namespace {

constexpr std::string_view kHeader = "bplist00";
constexpr std::size_t kTrailerBytes = 32;
constexpr std::size_t kLargestIntegerBytes = 8;
// Far above what an extended attribute holds (64 KiB); equal strings are stored once and may be referred to often.
constexpr std::uint64_t kLargestTextBytes = 1 << 20;

enum Marker : std::uint8_t { integerMarker = 0x1, asciiMarker = 0x5, utf16Marker = 0x6, arrayMarker = 0xA };

/// The start of an object: what it is, how many elements it has, and where they begin.
struct ObjectHeader {
  std::uint8_t marker = 0;
  std::uint64_t count = 0;
  std::uint64_t contents = 0;
};

std::uint64_t bigEndian(std::string_view digits) {
  std::uint64_t value = 0;
  for (const char digit : digits) value = value << 8 | static_cast<std::uint8_t>(digit);
  return value;
}

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

  /// The object's elements of `size` bytes each; nothing when they do not end before the offset table.
  std::optional<std::string_view> elements(const ObjectHeader& object, std::uint64_t size) const {
    if (!holds(object.contents, object.count, size)) return std::nullopt;
    return bytes_.substr(object.contents, object.count * size);
  }

  std::uint64_t referenceBytes() const { return referenceBytes_; }

 private:
  bool holds(std::uint64_t start, std::uint64_t count, std::uint64_t size) const {
    return start <= offsetTable_ && count <= (offsetTable_ - start) / size;
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

/// Halves of a pair that stand alone become U+FFFD.
std::string fromUTF16(std::string_view bigEndianUnits) {
  icu::UnicodeString text;
  for (std::size_t at = 0; at < bigEndianUnits.size(); at += 2) {
    const auto high = static_cast<std::uint8_t>(bigEndianUnits[at]);
    const auto low = static_cast<std::uint8_t>(bigEndianUnits[at + 1]);
    text.append(static_cast<char16_t>(high << 8 | low));
  }
  std::string result;
  return text.toUTF8String(result);
}

std::optional<std::string> stringAt(const Reader& reader, std::uint64_t index) {
  const std::optional<ObjectHeader> header = reader.object(index);
  if (!header) return std::nullopt;
  if (header->marker == asciiMarker) {
    const std::optional<std::string_view> text = reader.elements(*header, 1);
    if (!text || !isASCII(*text)) return std::nullopt;
    return std::string(*text);
  }
  if (header->marker == utf16Marker) {
    const std::optional<std::string_view> units = reader.elements(*header, 2);
    if (!units) return std::nullopt;
    return fromUTF16(*units);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<std::string>> decodeStringArrayPropertyList(std::string_view bytes) {
  const std::optional<Reader> reader = Reader::open(bytes);
  if (!reader) return std::nullopt;
  const std::optional<ObjectHeader> root = reader->object(reader->root());
  if (!root || root->marker != arrayMarker) return std::nullopt;
  const std::optional<std::string_view> references = reader->elements(*root, reader->referenceBytes());
  if (!references) return std::nullopt;

  std::vector<std::string> strings;
  std::uint64_t textBytes = 0;
  for (std::size_t at = 0; at < references->size(); at += reader->referenceBytes()) {
    const std::uint64_t index = bigEndian(references->substr(at, reader->referenceBytes()));
    std::optional<std::string> string = stringAt(*reader, index);
    if (!string) return std::nullopt;
    textBytes += string->size();
    if (textBytes > kLargestTextBytes) return std::nullopt;
    strings.push_back(std::move(*string));
  }
  return strings;
}

}  // namespace tovrin
