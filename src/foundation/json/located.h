#pragma once

#include <simdjson.h>

#include <array>
#include <string_view>
#include <utility>

#include "foundation/json/scalars.h"
#include "foundation/json/status.h"
#include "foundation/text_arena.h"

/// Values of a document as they are passed: located, decoded later or stepped over.
namespace tovrin::json {

namespace ondemand = simdjson::ondemand;

inline constexpr int kDeepestNesting = 512;

/// What goes along with the decoding of one document.
struct Context : Problems {
  Context(TextArena* texts, const char* endOfDocument) : arena(texts), end(endOfDocument) {}

  TextArena* arena;
  const char* end;
  int depth = 0;
};

class Nesting {
 public:
  explicit Nesting(Context& context) : context_(context) { ++context_.depth; }
  ~Nesting() { --context_.depth; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
  bool isTooDeep() const { return context_.depth >= kDeepestNesting; }

 private:
  Context& context_;
};

/// A value that was met on the way: what it begins like, and its token. That of a string has its quotes, that of an
/// array or object is its bracket.
struct Located {
  ValueKind kind = ValueKind::absent;
  std::string_view token;
};

/// The kind of value that begins with each byte, `absent` for those that begin none. Whatever else is no bracket, comma
/// or colon counts as a number until it is decoded.
inline constexpr auto kKindsByFirstByte = [] {
  std::array<ValueKind, 256> kinds;
  kinds.fill(ValueKind::number);
  for (const unsigned char none : {']', '}', ',', ':'}) kinds[none] = ValueKind::absent;
  kinds['{'] = ValueKind::object;
  kinds['['] = ValueKind::array;
  kinds['"'] = ValueKind::string;
  kinds['t'] = kinds['f'] = ValueKind::boolean;
  kinds['n'] = ValueKind::null;
  return kinds;
}();

/// The size of a token without the white space behind it.
inline std::size_t trimmedSize(std::string_view token) { return token.find_last_not_of(" \n\r\t") + 1; }

/// `absent` when no value stands here. Inline by order, and all in registers: it stands in front of every value.
[[gnu::always_inline]] inline Located locate(ondemand::value& value) {
  const std::string_view raw = value.raw_json_token();
  const char* const begin = raw.data();
  std::size_t size = raw.size();
  if (size > 0 && static_cast<unsigned char>(begin[size - 1]) <= ' ') [[unlikely]]
    size = trimmedSize(raw);
  if (size == 0) return {};
  const ValueKind kind = kKindsByFirstByte[static_cast<unsigned char>(*begin)];
  const bool isOpen = kind == ValueKind::string && (size < 2 || begin[size - 1] != '"');
  return {isOpen ? ValueKind::absent : kind, {begin, size}};
}

/// Steps over a value that nobody decodes; its structure must be right all the same.
Status skip(ondemand::value& value, const Located& located, Context& context);

inline Status skipNext(ondemand::value& value, Context& context) {
  const Located located = locate(value);
  if (located.kind == ValueKind::absent) return context.malformed();
  return skip(value, located, context);
}

inline Status skip(ondemand::value& value, const Located& located, Context& context) {
  if (located.kind != ValueKind::array && located.kind != ValueKind::object) return nullptr;
  const Nesting nesting(context);
  if (nesting.isTooDeep()) return context.malformed();
  if (located.kind == ValueKind::array) {
    ondemand::array array;
    if (value.get_array().get(array)) return context.malformed();
    for (auto element : array) {
      ondemand::value next;
      if (std::move(element).get(next)) return context.malformed();
      if (Status status = skipNext(next, context)) return status;
    }
    return nullptr;
  }
  ondemand::object object;
  if (value.get_object().get(object)) return context.malformed();
  for (auto member : object) {
    ondemand::field next;
    if (std::move(member).get(next)) return context.malformed();
    if (Status status = skipNext(next.value(), context)) return status;
  }
  return nullptr;
}

}  // namespace tovrin::json
