#include "tovrin-worker/http_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "foundation/encoding.h"

namespace tovrin::worker {
namespace {

constexpr std::array<std::string_view, 7> kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

char lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
}

std::string_view trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t");
  return begin == std::string_view::npos ? "" : text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

std::optional<int> hexDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  const char letter = lower(character);
  if (letter >= 'a' && letter <= 'f') return letter - 'a' + 10;
  return std::nullopt;
}

std::optional<std::string> decode(std::string_view text, bool plusIsSpace) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+' && plusIsSpace) {
      decoded += ' ';
    } else if (text[i] != '%') {
      decoded += text[i];
    } else {
      if (i + 2 >= text.size()) return std::nullopt;
      const auto high = hexDigit(text[i + 1]), low = hexDigit(text[i + 2]);
      if (!high || !low) return std::nullopt;
      decoded += static_cast<char>(*high * 16 + *low);
      i += 2;
    }
  }
  return decoded;
}

std::optional<std::int64_t> parseNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

}  // namespace

bool sameHeaderName(std::string_view a, std::string_view b) { return std::ranges::equal(a, b, {}, lower, lower); }

const std::string* findHeader(const Headers& headers, std::string_view name) {
  const auto found = std::ranges::find_if(headers, [&](auto& header) { return sameHeaderName(header.first, name); });
  return found == headers.end() ? nullptr : &found->second;
}

std::optional<std::string> RequestHead::query(std::string_view name) const {
  std::string_view rest = target;
  const auto mark = rest.find('?');
  rest = mark == std::string_view::npos ? "" : rest.substr(mark + 1);
  while (!rest.empty()) {
    const std::string_view pair = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
    const auto equals = std::min(pair.find('='), pair.size());
    if (decode(pair.substr(0, equals), true) != name) continue;
    return decode(equals == pair.size() ? "" : pair.substr(equals + 1), true);
  }
  return std::nullopt;
}

std::optional<RequestHead> parseRequestHead(std::string_view text) {
  const auto nextLine = [&]() -> std::string_view {
    const auto end = text.find("\r\n");
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
    return line;
  };
  const std::string_view start = nextLine();
  const auto first = start.find(' '), last = start.rfind(' ');
  if (first == std::string_view::npos || first == 0 || last <= first + 1) return std::nullopt;
  const std::string_view version = start.substr(last + 1);
  if (version != "HTTP/1.1" && version != "HTTP/1.0") return std::nullopt;

  RequestHead head{.method = std::string(start.substr(0, first)),
                   .target = std::string(start.substr(first + 1, last - first - 1)),
                   .http10 = version == "HTTP/1.0",
                   .headers = {}};
  if (!head.target.starts_with('/') || head.target.find(' ') != std::string::npos) return std::nullopt;
  for (std::string_view line = nextLine(); !line.empty(); line = nextLine()) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0 || line[0] == ' ' || line[0] == '\t') return std::nullopt;
    head.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
  }
  return head;
}

std::optional<std::string> percentDecode(std::string_view text) { return decode(text, false); }

std::string_view reasonPhrase(int status) {
  constexpr std::array<std::pair<int, std::string_view>, 22> kPhrases{{
      {200, "OK"},
      {201, "Created"},
      {204, "No Content"},
      {206, "Partial Content"},
      {301, "Moved Permanently"},
      {302, "Found"},
      {303, "See Other"},
      {304, "Not Modified"},
      {307, "Temporary Redirect"},
      {308, "Permanent Redirect"},
      {400, "Bad Request"},
      {401, "Unauthorized"},
      {403, "Forbidden"},
      {404, "Not Found"},
      {405, "Method Not Allowed"},
      {409, "Conflict"},
      {429, "Too Many Requests"},
      {431, "Request Header Fields Too Large"},
      {500, "Internal Server Error"},
      {502, "Bad Gateway"},
      {503, "Service Unavailable"},
      {504, "Gateway Timeout"},
  }};
  const auto found = std::ranges::find(kPhrases, status, [](auto& phrase) { return phrase.first; });
  return found == kPhrases.end() ? "Status" : found->second;
}

std::string formatHTTPDate(std::time_t time) {
  std::tm parts{};
  ::gmtime_r(&time, &parts);
  return fmt::format("{}, {:02} {} {:04} {:02}:{:02}:{:02} GMT", kDays[static_cast<std::size_t>(parts.tm_wday)],
                     parts.tm_mday, kMonths[static_cast<std::size_t>(parts.tm_mon)], parts.tm_year + 1900,
                     parts.tm_hour, parts.tm_min, parts.tm_sec);
}

std::optional<std::time_t> parseHTTPDate(const std::string& text) {
  std::tm parts{};
  const char* end = ::strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
  if (!end || *end != '\0') return std::nullopt;
  return ::timegm(&parts);
}

std::optional<ByteRange> parseRange(std::string_view value, std::int64_t objectSize) {
  constexpr std::string_view kUnit = "bytes=";
  if (!value.starts_with(kUnit)) return std::nullopt;
  value.remove_prefix(kUnit.size());
  const auto dash = value.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const auto first = parseNumber(trimmed(value.substr(0, dash)));
  const auto last = parseNumber(trimmed(value.substr(dash + 1)));
  if (!first || !last || *first > *last || *last >= objectSize) return std::nullopt;
  return ByteRange{*first, *last - *first + 1};
}

std::optional<std::string> basicPassword(const RequestHead& head) {
  constexpr std::string_view kScheme = "Basic ";
  const std::string* value = head.header("Authorization");
  if (!value || value->size() < kScheme.size()) return std::nullopt;
  if (!sameHeaderName(value->substr(0, kScheme.size()), kScheme)) return std::nullopt;
  const auto credentials = base64Decode(value->substr(kScheme.size()));
  if (!credentials) return std::nullopt;
  const auto colon = credentials->find(':');
  if (colon == std::string::npos) return std::nullopt;
  return credentials->substr(colon + 1);
}

}  // namespace tovrin::worker
