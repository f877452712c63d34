#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// The texts of HTTP/1.1, without any socket.
namespace tovrin::worker {

using Headers = std::vector<std::pair<std::string, std::string>>;

/// Header names compare without case.
bool sameHeaderName(std::string_view a, std::string_view b);
const std::string* findHeader(const Headers& headers, std::string_view name);

struct RequestHead {
  std::string method;
  std::string target;  ///< as sent: path and query, percent-encoded
  bool http10 = false;
  Headers headers;

  const std::string* header(std::string_view name) const { return findHeader(headers, name); }
  std::string_view rawPath() const { return std::string_view(target).substr(0, target.find('?')); }
  /// The first value of a query parameter, decoded.
  std::optional<std::string> query(std::string_view name) const;
};

/// `text` is everything up to and including the empty line. Nothing when it is not an HTTP request.
std::optional<RequestHead> parseRequestHead(std::string_view text);

/// Decodes once; "+" stays a plus sign. Nothing for an invalid escape.
std::optional<std::string> percentDecode(std::string_view text);

std::string_view reasonPhrase(int status);
std::string formatHTTPDate(std::time_t time);
std::optional<std::time_t> parseHTTPDate(const std::string& text);

struct ByteRange {
  std::int64_t offset = 0;
  std::int64_t length = 0;
};

/// Only one range with both ends given and the last byte inside the object is understood.
std::optional<ByteRange> parseRange(std::string_view value, std::int64_t objectSize);

/// The password of Basic authentication; the user name is not looked at.
std::optional<std::string> basicPassword(const RequestHead& head);

}  // namespace tovrin::worker
