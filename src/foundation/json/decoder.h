#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/json/coding.h"
#include "foundation/json/located.h"
#include "foundation/json/scalar_decoding.h"
#include "foundation/json/scalars.h"
#include "foundation/json/source_text.h"
#include "foundation/json/status.h"
#include "foundation/result.h"
#include "foundation/text_arena.h"

/// Decodes records from JSON by their RecordCoding. The document is walked once, front to back; the scalars of a record
/// are only located on the way and decoded at its end, in the order of its list, so that the error reported is the
/// first one in that order however the keys are arranged. Of equal keys the first counts; unknown keys are skipped.
///
/// Include in sources only: the parser's header is large.
namespace tovrin {

/// The whole value, or the first error with its coding path. `arena` holds the texts of records that keep views, and
/// lists of them; it must outlive the value.
template <class Value>
Result<Value> decodeJSON(std::string_view bytes, TextArena* arena = nullptr);

namespace json {

// What kinds of member there are.

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
struct ListTraits {
  static constexpr bool isList = false;
};
template <class T>
struct ListTraits<std::vector<T>> {
  static constexpr bool isList = true;
  using Element = T;
};
template <class T>
struct ListTraits<ArenaList<T>> {
  static constexpr bool isList = true;
  using Element = T;
};

template <class T>
inline constexpr bool isMap = false;
template <class T>
inline constexpr bool isMap<std::map<std::string, T>> = true;

template <class T>
concept CodedRecord = requires { RecordCoding<T>::fields; };

template <class T>
inline constexpr bool isComposite = ListTraits<T>::isList || isMap<T> || CodedRecord<T>;
template <class T>
inline constexpr bool isComposite<std::optional<T>> = isComposite<T>;

// Composites, in place.

template <CodedRecord Record>
Status decodeRecord(ondemand::object& object, Record& out, Context& context);

template <class T>
Status decodeComposite(ondemand::value& value, const Located& located, T& out, Context& context);

template <class T>
Status decodeElement(ondemand::value& value, T& out, Context& context) {
  Located located;
  if (Status status = locate(value, located)) return status;
  if constexpr (isComposite<T>) {
    return decodeComposite(value, located, out, context);
  } else {
    Status status = decodeScalar(located, out, context);
    return status ? std::move(status) : skip(value, located, context);
  }
}

template <class Element>
Status decodeList(ondemand::array array, std::vector<Element>& out, Context& context) {
  std::size_t index = 0;
  for (auto element : array) {
    ondemand::value value;
    if (std::move(element).get(value)) return malformed();
    if (Status status = decodeElement(value, out.emplace_back(), context))
      return under(std::to_string(index), std::move(status));
    ++index;
  }
  return nullptr;
}

template <class Value>
Status decodeMap(ondemand::object object, std::map<std::string, Value>& out, Context& context) {
  for (auto member : object) {
    ondemand::field next;
    std::string_view key;
    if (std::move(member).get(next) || next.unescaped_key().get(key)) return malformed();
    std::string ownKey(key);
    Value value{};
    if (Status status = decodeElement(next.value(), value, context)) return under(ownKey, std::move(status));
    out.try_emplace(std::move(ownKey), std::move(value));
  }
  return nullptr;
}

template <class T>
Status decodeComposite(ondemand::value& value, const Located& located, T& out, Context& context) {
  constexpr bool wantsArray = ListTraits<T>::isList;
  if (Status status = requireKind(located, wantsArray ? ValueKind::array : ValueKind::object,
                                  wantsArray ? "Array<Any>" : "Dictionary<String, Any>"))
    return status;
  const Nesting nesting(context);
  if (nesting.isTooDeep()) return malformed();
  if constexpr (wantsArray) {
    ondemand::array array;
    if (value.get_array().get(array)) return malformed();
    if constexpr (std::same_as<T, ArenaList<typename ListTraits<T>::Element>>) {
      std::vector<typename ListTraits<T>::Element> elements;
      Status status = decodeList(array, elements, context);
      if (!status) out = context.arena->add(elements);
      return status;
    } else {
      return decodeList(array, out, context);
    }
  } else {
    ondemand::object object;
    if (value.get_object().get(object)) return malformed();
    if constexpr (isMap<T>) {
      return decodeMap(object, out, context);
    } else {
      return decodeRecord(object, out, context);
    }
  }
}

/// A key of the record, as it was met.
struct Slot {
  Located located;
  Status problem;  ///< of a composite, which is decoded when it is met
};

inline constexpr std::size_t kNoSlot = static_cast<std::size_t>(-1);

template <std::size_t count>
std::size_t findKey(const std::array<std::string_view, count>& keys, std::size_t expected, const char* raw) {
  // The document is padded, so comparing a few bytes too many stays inside it.
  for (std::size_t step = 0; step < count; ++step) {
    const std::size_t index = expected + step < count ? expected + step : expected + step - count;
    const std::string_view key = keys[index];
    if (std::memcmp(raw, key.data(), key.size()) == 0 && raw[key.size()] == '"') return index;
  }
  return kNoSlot;
}

template <std::size_t count>
Status findField(ondemand::field& member, const std::array<std::string_view, count>& keys, std::size_t expected,
                 std::size_t& found) {
  found = findKey(keys, expected, member.key().raw());
  if (found != kNoSlot) return nullptr;
  std::string_view key;  // unknown, or spelled with escapes
  if (member.unescaped_key().get(key)) return malformed();
  const auto at = std::ranges::find(keys, key);
  if (at != keys.end()) found = static_cast<std::size_t>(at - keys.begin());
  return nullptr;
}

template <CodedRecord Record>
constexpr auto keysOf() {
  constexpr std::size_t count = [] {
    std::size_t fields = 0;
    forEachField<Record>([&](const auto&) { ++fields; });
    return fields;
  }();
  std::array<std::string_view, count> keys;
  std::size_t next = 0;
  forEachField<Record>([&](const auto& item) { keys[next++] = item.key; });
  return keys;
}

template <class Member, class Record>
Status decodeSlotValue(std::string_view key, Slot& slot, Member Record::* member, Record& out, Context& context) {
  if constexpr (isOptional<Member>) {
    if constexpr (isComposite<Member>) {
      return under(key, std::move(slot.problem));
    } else {
      return under(key, decodeScalar(slot.located, (out.*member).emplace(), context));
    }
  } else if constexpr (isComposite<Member>) {
    return under(key, std::move(slot.problem));
  } else {
    return under(key, decodeScalar(slot.located, out.*member, context));
  }
}

inline bool isAbsentOrNull(const Located& located) {
  return located.kind == ValueKind::absent || (located.kind == ValueKind::null && located.text == "null");
}

template <class Record, class Member>
Status finishItem(const CodedField<Record, Member>& item, Slot& slot, Record& out, Context& context) {
  if constexpr (isOptional<Member>) {
    if (isAbsentOrNull(slot.located)) return nullptr;
  } else if (slot.located.kind == ValueKind::absent) {
    return under(item.key, failed(DecodingFailure::Kind::keyNotFound,
                                  "No value associated with key \"" + std::string(item.key) + "\"."));
  }
  return decodeSlotValue(item.key, slot, item.member, out, context);
}

template <class Record, class Member, class Default>
Status finishItem(const CodedFieldWithDefault<Record, Member, Default>& item, Slot& slot, Record& out,
                  Context& context) {
  if (isAbsentOrNull(slot.located)) {
    out.*item.member = item.defaultValue(std::as_const(out));
    return nullptr;
  }
  return decodeSlotValue(item.key, slot, item.member, out, context);
}

/// Decodes a composite member where it is met, or steps over what a scalar member will be decoded from. Only a
/// malformed document is an error here: every other one waits in the slot for its turn.
template <CodedRecord Record>
Status meetValue(ondemand::value& value, std::size_t index, Slot& slot, Record& out, Context& context) {
  bool isDecoded = false;
  std::size_t at = 0;
  forEachField<Record>([&](const auto& item) {
    using Member = std::remove_cvref_t<decltype(out.*item.member)>;
    if (at++ != index) return;
    if constexpr (isComposite<Member>) {
      isDecoded = true;
      if constexpr (isOptional<Member>) {
        if (!isAbsentOrNull(slot.located))
          slot.problem = decodeComposite(value, slot.located, (out.*item.member).emplace(), context);
      } else {
        slot.problem = decodeComposite(value, slot.located, out.*item.member, context);
      }
    }
  });
  if (!isDecoded) return skip(value, slot.located, context);
  return slot.problem && slot.problem->malformed ? std::move(slot.problem) : nullptr;
}

template <CodedRecord Record>
Status decodeRecord(ondemand::object& object, Record& out, Context& context) {
  static constexpr auto kKeys = keysOf<Record>();
  std::array<Slot, kKeys.size()> slots;
  std::size_t expected = 0;
  for (auto member : object) {
    ondemand::field next;
    if (std::move(member).get(next)) return malformed();
    std::size_t index = kNoSlot;
    if (Status status = findField(next, kKeys, expected, index)) return status;
    Located located;
    if (Status status = locate(next.value(), located)) return status;
    if (index == kNoSlot || slots[index].located.kind != ValueKind::absent) {
      if (Status status = skip(next.value(), located, context)) return status;
      continue;
    }
    expected = index + 1 < kKeys.size() ? index + 1 : 0;
    slots[index].located = located;
    if (Status status = meetValue(next.value(), index, slots[index], out, context)) return status;
  }

  Status status;
  std::size_t index = 0;
  const auto finish = [&](const auto& item) {
    if (status) return;
    if constexpr (isCodingRule<std::remove_cvref_t<decltype(item)>>) {
      if (!item.holds(std::as_const(out))) status = corrupted(item.key, item.message);
    } else {
      status = finishItem(item, slots[index++], out, context);
    }
  };
  std::apply([&](const auto&... items) { (finish(items), ...); }, RecordCoding<Record>::fields);
  return status;
}

/// Hands the one value of the document to `visit(value, located)`; anything behind it is an error.
template <class Visit>
Status visitDocument(std::string_view text, Visit&& visit) {
  const simdjson::padded_string padded(text);
  ondemand::parser parser;
  ondemand::document document;
  if (parser.iterate(padded).get(document)) return malformed();
  ondemand::json_type type{};
  if (document.type().get(type)) return malformed();
  // Every document of ours is an array or an object; the parser treats a lone scalar apart.
  if (type == ondemand::json_type::number) return mismatch("Dictionary<String, Any>", ValueKind::number);
  if (type == ondemand::json_type::string) return mismatch("Dictionary<String, Any>", ValueKind::string);
  if (type == ondemand::json_type::boolean) return mismatch("Dictionary<String, Any>", ValueKind::boolean);
  if (type == ondemand::json_type::null) {
    if (!document.is_null()) return malformed();
    return requireKind({ValueKind::null, false, "null"}, ValueKind::object, "Dictionary<String, Any>");
  }
  ondemand::value value;
  if (document.get_value().get(value)) return malformed();
  const Located located{type == ondemand::json_type::array ? ValueKind::array : ValueKind::object, false, {}};
  if (Status status = visit(value, located)) return status;
  return document.current_location().error() == simdjson::OUT_OF_BOUNDS ? nullptr : malformed();
}

template <class Value>
Status decodeDocument(std::string_view text, Value& out, TextArena* arena) {
  Context context{arena, 0};
  Status status = visitDocument(text, [&](ondemand::value& value, const Located& located) {
    return decodeComposite(value, located, out, context);
  });
  if (!status || status->malformed) return status;
  // A record failed before the end was seen: text that is no JSON at all comes before what is wrong with a record.
  Status structure = visitDocument(text, [&](ondemand::value& value, const Located& located) {
    Context fresh;
    return skip(value, located, fresh);
  });
  return structure ? std::move(structure) : std::move(status);
}

}  // namespace json

template <class Value>
Result<Value> decodeJSON(std::string_view bytes, TextArena* arena) {
  const std::optional<std::string> converted = json::convertedToUTF8(bytes);
  std::string_view text = converted ? *converted : bytes;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  Value value{};
  json::Status status = json::decodeDocument(text, value, arena);
  if (status && status->malformed) {
    if (const auto repaired = json::withoutTrailingCommas(text)) {
      value = Value{};
      status = json::decodeDocument(*repaired, value, arena);
    }
  }
  if (!status) return value;
  std::ranges::reverse(status->failure.codingPath);
  return failure(NSError::decoding(std::move(status->failure)));
}

}  // namespace tovrin
