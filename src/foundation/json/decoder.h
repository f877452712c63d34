#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "foundation/json/coding.h"
#include "foundation/json/composite_decoding.h"
#include "foundation/json/json_text.h"
#include "foundation/json/located.h"
#include "foundation/json/source_text.h"
#include "foundation/json/status.h"
#include "foundation/result.h"
#include "foundation/text_arena.h"

/// Decodes records from JSON by their RecordCoding. The document is walked once, front to back, and every member is
/// decoded where it is met; what is wrong waits until the end of its record, so that the error reported is the first
/// one in the order of the list however the keys are arranged. Of equal keys the first counts; unknown keys are
/// skipped.
///
/// Include in sources only: the parser's header is large.
namespace tovrin {

/// The whole value, or the first error with its coding path. `arena` holds the texts of records that keep views, and
/// lists of them; it must outlive the value.
template <class Value>
Result<Value> decodeJSON(const JSONText& text, TextArena* arena = nullptr);

namespace json {

/// Memory that the parser may read beyond the end of the text.
class PaddedText {
 public:
  explicit PaddedText(const JSONText& text) : view_(text.bytes().data(), text.bytes().size(), text.readable()) {
    if (text.readable() - text.bytes().size() >= simdjson::SIMDJSON_PADDING) return;
    copy_ = simdjson::padded_string(text.bytes());
    view_ = copy_;
  }
  simdjson::padded_string_view view() const { return view_; }
  const char* end() const { return view_.data() + view_.size(); }

 private:
  simdjson::padded_string copy_;
  simdjson::padded_string_view view_;
};

/// Hands the one value of the document to `visit(value, located)`; anything behind it is an error.
template <class Visit>
Status visitDocument(const PaddedText& text, Context& context, Visit&& visit) {
  ondemand::parser parser;
  ondemand::document document;
  if (parser.iterate(text.view()).get(document)) return context.malformed();
  ondemand::json_type type{};
  if (document.type().get(type)) return context.malformed();
  // Every document of ours is an array or an object; the parser treats a lone scalar apart.
  if (type == ondemand::json_type::number) return context.mismatch(kAnyObject, ValueKind::number);
  if (type == ondemand::json_type::string) return context.mismatch(kAnyObject, ValueKind::string);
  if (type == ondemand::json_type::boolean) return context.mismatch(kAnyObject, ValueKind::boolean);
  if (type == ondemand::json_type::null) {
    if (!document.is_null()) return context.malformed();
    return otherKind(context, {ValueKind::null, "null"}, kAnyObject);
  }
  ondemand::value value;
  if (document.get_value().get(value)) return context.malformed();
  const Located located{type == ondemand::json_type::array ? ValueKind::array : ValueKind::object, {}};
  if (Status status = visit(value, located)) return status;
  return document.current_location().error() == simdjson::OUT_OF_BOUNDS ? nullptr : context.malformed();
}

template <class Value>
std::optional<Problem> decodeDocument(const JSONText& text, Value& out, TextArena* arena) {
  const PaddedText padded(text);
  Context context(arena, padded.end());
  Status status = visitDocument(padded, context, [&](ondemand::value& value, const Located& located) {
    return decodeMember(value, located, out, context);
  });
  if (!status) return std::nullopt;
  if (!status->malformed) {
    // A record failed before the end was seen: text that is no JSON at all comes before what is wrong with a record.
    const Status structure = visitDocument(
        padded, context, [&](ondemand::value& value, const Located& located) { return skip(value, located, context); });
    if (structure) status = structure;
  }
  return std::move(*status);
}

}  // namespace json

template <class Value>
Result<Value> decodeJSON(const JSONText& text, TextArena* arena) {
  const std::optional<std::string> converted = json::convertedToUTF8(text.bytes());
  const JSONText encoded = converted ? JSONText(*converted) : text;
  const JSONText unmarked = encoded.bytes().starts_with("\xEF\xBB\xBF") ? encoded.withoutPrefix(3) : encoded;
  Value value{};
  std::optional<json::Problem> problem = json::decodeDocument(unmarked, value, arena);
  if (problem && problem->malformed) {
    if (const auto repaired = json::withoutTrailingCommas(unmarked.bytes())) {
      value = Value{};
      problem = json::decodeDocument(JSONText(*repaired), value, arena);
    }
  }
  if (!problem) return value;
  std::ranges::reverse(problem->failure.codingPath);
  return failure(NSError::decoding(std::move(problem->failure)));
}

}  // namespace tovrin
