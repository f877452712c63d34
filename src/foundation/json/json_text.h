#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tovrin {

/// A JSON text to decode. The parser looks at a few bytes behind the end: a std::string with room for them is read
/// where it lies, any other text is copied first.
class JSONText {
 public:
  JSONText(const std::string& bytes) : bytes_(bytes), readable_(bytes.capacity()) {}
  JSONText(std::string_view bytes) : bytes_(bytes), readable_(bytes.size()) {}
  JSONText(const char* bytes) : JSONText(std::string_view(bytes)) {}

  std::string_view bytes() const { return bytes_; }
  /// How many bytes may be read from the beginning, those of the text included; the others have no meaning.
  std::size_t readable() const { return readable_; }

  JSONText withoutPrefix(std::size_t count) const {
    JSONText rest(bytes_.substr(count));
    rest.readable_ = readable_ - count;
    return rest;
  }

 private:
  std::string_view bytes_;
  std::size_t readable_;
};

}  // namespace tovrin
