#pragma once

#include <simdjson.h>

#include <cstring>
#include <string_view>
#include <utility>

#include "foundation/json/scalars.h"
#include "foundation/json/status.h"
#include "foundation/text_arena.h"

/// Values of a document as they are passed: located, decoded later or stepped over.
namespace tovrin::json {

namespace ondemand = simdjson::ondemand;

inline constexpr int kDeepestNesting = 512;

struct Context {
  TextArena* arena = nullptr;
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

/// A value that was passed on the way: what it is and, for a scalar, its text. A string's text stands without quotes;
/// one that held escapes was unescaped into the parser's own memory.
struct Located {
  ValueKind kind = ValueKind::absent;
  bool broken = false;  ///< a string that cannot be unescaped: an error only for whoever decodes it
  std::string_view text;
};

inline Status locate(ondemand::value& value, Located& located) {
  std::string_view token = value.raw_json_token();
  while (!token.empty() &&
         (token.back() == ' ' || token.back() == '\n' || token.back() == '\r' || token.back() == '\t'))
    token.remove_suffix(1);
  if (token.empty()) return malformed();
  switch (token.front()) {
    case '{':
      located.kind = ValueKind::object;
      return nullptr;
    case '[':
      located.kind = ValueKind::array;
      return nullptr;
    case '"':
      located.kind = ValueKind::string;
      if (token.size() < 2 || token.back() != '"') return malformed();
      located.text = token.substr(1, token.size() - 2);
      if (std::memchr(located.text.data(), '\\', located.text.size()) != nullptr)
        located.broken = value.get_string().get(located.text) != simdjson::SUCCESS;
      return nullptr;
    case 't':
    case 'f':
      located.kind = ValueKind::boolean;
      located.text = token;
      return nullptr;
    case 'n':
      located.kind = ValueKind::null;
      located.text = token;
      return nullptr;
    case ']':
    case '}':
    case ',':
    case ':':
      return malformed();
    default:
      located.kind = ValueKind::number;
      located.text = token;
      return nullptr;
  }
}

/// Steps over a value that nobody decodes; its structure must be right all the same.
Status skip(ondemand::value& value, const Located& located, Context& context);

inline Status skipNext(ondemand::value& value, Context& context) {
  Located located;
  if (Status status = locate(value, located)) return status;
  return skip(value, located, context);
}

inline Status skip(ondemand::value& value, const Located& located, Context& context) {
  if (located.kind != ValueKind::array && located.kind != ValueKind::object) return nullptr;
  const Nesting nesting(context);
  if (nesting.isTooDeep()) return malformed();
  if (located.kind == ValueKind::array) {
    ondemand::array array;
    if (value.get_array().get(array)) return malformed();
    for (auto element : array) {
      ondemand::value next;
      if (std::move(element).get(next)) return malformed();
      if (Status status = skipNext(next, context)) return status;
    }
    return nullptr;
  }
  ondemand::object object;
  if (value.get_object().get(object)) return malformed();
  for (auto member : object) {
    ondemand::field next;
    if (std::move(member).get(next)) return malformed();
    if (Status status = skipNext(next.value(), context)) return status;
  }
  return nullptr;
}

}  // namespace tovrin::json
