#include "foundation/json/source_text.h"

#include <cstddef>
#include <cstdint>

namespace tovrin::json {
namespace {

enum class ByteOrder { little, big };

struct WideEncoding {
  std::size_t unitBytes = 0;
  ByteOrder order = ByteOrder::little;
  std::size_t markBytes = 0;
};

std::optional<WideEncoding> detect(std::string_view bytes) {
  using namespace std::string_view_literals;
  if (bytes.starts_with("\xFF\xFE\0\0"sv)) return WideEncoding{4, ByteOrder::little, 4};
  if (bytes.starts_with("\0\0\xFE\xFF"sv)) return WideEncoding{4, ByteOrder::big, 4};
  if (bytes.starts_with("\xFF\xFE"sv)) return WideEncoding{2, ByteOrder::little, 2};
  if (bytes.starts_with("\xFE\xFF"sv)) return WideEncoding{2, ByteOrder::big, 2};
  if (bytes.size() < 2) return std::nullopt;
  // A JSON text begins with an ASCII character, so the zeros around it tell the width and the order.
  const auto isZero = [&](std::size_t at) { return at < bytes.size() && bytes[at] == 0; };
  if (isZero(0) && isZero(1) && isZero(2)) return WideEncoding{4, ByteOrder::big, 0};
  if (isZero(1) && isZero(2) && isZero(3)) return WideEncoding{4, ByteOrder::little, 0};
  if (isZero(0)) return WideEncoding{2, ByteOrder::big, 0};
  if (isZero(1)) return WideEncoding{2, ByteOrder::little, 0};
  return std::nullopt;
}

std::uint32_t unitAt(std::string_view bytes, std::size_t at, const WideEncoding& encoding) {
  std::uint32_t unit = 0;
  for (std::size_t i = 0; i < encoding.unitBytes; ++i) {
    const std::size_t index = encoding.order == ByteOrder::big ? i : encoding.unitBytes - 1 - i;
    unit = unit << 8 | static_cast<std::uint8_t>(bytes[at + index]);
  }
  return unit;
}

void appendUTF8(std::string& text, std::uint32_t c) {
  const auto put = [&](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6), put(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    put(0xE0 | c >> 12), put(0x80 | (c >> 6 & 0x3F)), put(0x80 | (c & 0x3F));
  } else {
    put(0xF0 | c >> 18), put(0x80 | (c >> 12 & 0x3F)), put(0x80 | (c >> 6 & 0x3F)), put(0x80 | (c & 0x3F));
  }
}

constexpr bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

std::optional<std::string> convertedToUTF8(std::string_view bytes) {
  const auto encoding = detect(bytes);
  if (!encoding || bytes.size() % encoding->unitBytes != 0) return std::nullopt;
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t at = encoding->markBytes; at < bytes.size(); at += encoding->unitBytes) {
    std::uint32_t c = unitAt(bytes, at, *encoding);
    const bool leads = c >= 0xD800 && c < 0xDC00;
    if (encoding->unitBytes == 2 && leads && at + 4 <= bytes.size()) {
      const std::uint32_t trail = unitAt(bytes, at + 2, *encoding);
      if (trail < 0xDC00 || trail > 0xDFFF) return std::nullopt;
      c = 0x10000 + ((c - 0xD800) << 10) + (trail - 0xDC00);
      at += 2;
    }
    if (c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) return std::nullopt;
    appendUTF8(text, c);
  }
  return text;
}

std::optional<std::string> withoutTrailingCommas(std::string_view text) {
  std::string kept;
  kept.reserve(text.size());
  bool inString = false;
  bool dropped = false;
  char previous = 0;        // the last character that is not white space
  char beforePrevious = 0;  // and the one before it
  std::size_t commaAt = 0;  // where `previous` stands in `kept`, when it is a comma
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (inString) {
      kept.push_back(c);
      if (c == '\\' && at + 1 < text.size()) kept.push_back(text[++at]);
      if (c == '"') inString = false;
      continue;
    }
    const bool followsValue = beforePrevious != 0 && beforePrevious != '[' && beforePrevious != '{' &&
                              beforePrevious != ',' && beforePrevious != ':';
    if ((c == ']' || c == '}') && previous == ',' && followsValue) {
      kept[commaAt] = ' ';
      dropped = true;
    }
    if (c == ',') commaAt = kept.size();
    kept.push_back(c);
    if (c == '"') inString = true;
    if (!isSpace(c)) {
      beforePrevious = previous;
      previous = c;
    }
  }
  if (!dropped) return std::nullopt;
  return kept;
}

}  // namespace tovrin::json
