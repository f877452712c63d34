#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/json/coding.h"
#include "foundation/json/key_order.h"
#include "foundation/json/located.h"
#include "foundation/json/member_kinds.h"
#include "foundation/json/scalar_decoding.h"
#include "foundation/json/status.h"
#include "foundation/packed_optional.h"
#include "foundation/text_arena.h"

/// Records, lists and maps, decoded where they are met.
namespace tovrin::json {

inline constexpr std::string_view kAnyObject = "Dictionary<String, Any>";

// Texts that records keep as views point into the document until their record is complete.

inline void keepText(std::string_view& text, Context& context) { text = context.arena->add(text); }
inline void keepText(PackedOptional<std::string_view>& text, Context& context) {
  if (text) text = context.arena->add(*text);
}
template <class T>
void keepText(T&, Context&) {}

// Composites.

template <CodedRecord Record>
Status decodeRecord(ondemand::object& object, Record& out, Context& context, KeyOrder<Record>& order);

template <class T>
Status decodeComposite(ondemand::value& value, const Located& located, T& out, Context& context, KeyOrder<T>& order);

template <class T>
Status decodeValue(ondemand::value& value, const Located& located, T& out, Context& context, KeyOrder<T>& order) {
  if constexpr (isComposite<T>) {
    return decodeComposite(value, located, out, context, order);
  } else {
    return decodeScalar(value, located, out, context);
  }
}

template <class T>
Status decodeElement(ondemand::value& value, const Located& located, T& out, Context& context, KeyOrder<T>& order) {
  if (Status status = decodeValue(value, located, out, context, order)) return status;
  keepText(out, context);
  return nullptr;
}

/// What a result without an error holds, where it stands: moving it out costs more than reading it.
template <class T>
T& inPlace(simdjson::simdjson_result<T>& result) {
  T&& value = std::move(result).value_unsafe();
  return static_cast<T&>(value);  // as it stands it would be an rvalue in C++23, for compilers that follow it there
}

/// Makes room for the whole list at once when enough of it was read to tell how long it will be: to half the end of the
/// document, half of the elements are still to come.
template <class List>
void makeRoom(List& list, const char* begin, const char* now, const char* end) {
  constexpr std::size_t kSample = 256;
  if (list.size() != kSample || list.capacity() > 2 * kSample) return;
  const double share = static_cast<double>(now - begin) / static_cast<double>(end - begin);
  list.reserve(static_cast<std::size_t>(1.02 * kSample / share) + kSample);
}

template <class List>
Status decodeList(ondemand::array& array, List& out, Context& context) {
  KeyOrder<typename List::value_type> order;
  const char* begin = nullptr;
  for (auto element : array) {
    if (element.error()) return context.malformed();
    ondemand::value& value = inPlace(element);
    const Located located = locate(value);
    if (located.kind == ValueKind::absent) return context.malformed();
    if (begin == nullptr) begin = located.token.data();
    makeRoom(out, begin, located.token.data(), context.end);
    if (Status status = decodeElement(value, located, out.emplace_back(), context, order))
      return under(std::to_string(out.size() - 1), status);
  }
  return nullptr;
}

/// By way of a vector on the stack: what the elements keep goes to the arena before the list itself does.
template <class Element>
Status decodeList(ondemand::array& array, ArenaList<Element>& out, Context& context) {
  bool isEmpty = false;
  if (array.is_empty().get(isEmpty)) return context.malformed();
  if (isEmpty) return nullptr;
  constexpr std::size_t kRoom = 8;
  alignas(Element) std::array<std::byte, kRoom * sizeof(Element)> room;
  std::pmr::monotonic_buffer_resource memory(room.data(), room.size());
  std::pmr::vector<Element> elements(&memory);
  elements.reserve(kRoom);
  Status status = decodeList(array, elements, context);
  if (!status) out = context.arena->add(elements);
  return status;
}

template <class Value>
Status decodeMap(ondemand::object& object, std::map<std::string, Value>& out, Context& context) {
  KeyOrder<Value> order;
  for (auto member : object) {
    if (member.error()) return context.malformed();
    ondemand::field& next = inPlace(member);
    std::string_view key;
    if (next.unescaped_key().get(key)) return context.malformed();
    std::string ownKey(key);
    Value value{};
    const Located located = locate(next.value());
    if (located.kind == ValueKind::absent) return context.malformed();
    if (Status status = decodeElement(next.value(), located, value, context, order)) return under(ownKey, status);
    out.try_emplace(std::move(ownKey), std::move(value));
  }
  return nullptr;
}

template <class T>
Status decodeComposite(ondemand::value& value, const Located& located, T& out, Context& context, KeyOrder<T>& order) {
  constexpr bool wantsArray = isList<T> || isArenaList<T>;
  if (located.kind != (wantsArray ? ValueKind::array : ValueKind::object)) [[unlikely]]
    return otherKind(context, located, wantsArray ? "Array<Any>" : kAnyObject);
  const Nesting nesting(context);
  if (nesting.isTooDeep()) return context.malformed();
  if constexpr (wantsArray) {
    ondemand::array array;
    if (value.get_array().get(array)) return context.malformed();
    return decodeList(array, out, context);
  } else {
    ondemand::object object;
    if (value.get_object().get(object)) return context.malformed();
    if constexpr (isMap<T>) {
      return decodeMap(object, out, context);
    } else {
      return decodeRecord(object, out, context, order);
    }
  }
}

// Records.

template <class Item>
concept RareField = requires(Item item) { item.holder; };

/// Whether null counts as an absent key.
template <class Item>
inline constexpr bool mayBeNull = false;
template <class Record, class Member>
inline constexpr bool mayBeNull<CodedField<Record, Member>> = isOptional<Member>;
template <class Record, class Member, class Default>
inline constexpr bool mayBeNull<CodedFieldWithDefault<Record, Member, Default>> = true;
template <RareField Item>
inline constexpr bool mayBeNull<Item> = true;

/// What is known of one field of a record's list, by its position.
template <CodedRecord Record>
struct FieldDecoding {
  bool mayBeNull = false;
  bool isComposite = false;
  Status (*decode)(ondemand::value&, const Located&, Record&, Context&) = nullptr;
};

template <class T>
Status decodeMember(ondemand::value& value, const Located& located, T& member, Context& context) {
  KeyOrder<T> order;
  return decodeValue(value, located, member, context, order);
}
template <class T>
Status decodeMember(ondemand::value& value, const Located& located, std::optional<T>& member, Context& context) {
  return decodeMember(value, located, member.emplace(), context);
}
template <class T>
Status decodeMember(ondemand::value& value, const Located& located, PackedOptional<T>& member, Context& context) {
  T decoded{};
  Status status = decodeMember(value, located, decoded, context);
  member = decoded;
  return status;
}
template <class T>
Status decodeMember(ondemand::value& value, const Located& located, ArenaOptional<T>& member, Context& context) {
  T decoded{};
  Status status = decodeMember(value, located, decoded, context);
  if (!status) member = context.arena->keep(decoded);
  return status;
}

template <CodedRecord Record, std::size_t index>
Status decodeField(ondemand::value& value, const Located& located, Record& out, Context& context) {
  constexpr auto& item = std::get<index>(fieldsOf<Record>);
  using Item = std::remove_cvref_t<decltype(item)>;
  if constexpr (RareField<Item>) {
    using Member = typename Item::MemberType;
    Member decoded;
    Status status = decodeMember(value, located, decoded, context);
    // What is empty is written by the main application too, and takes no room.
    if (!status && decoded != Member()) context.arena->filling(out.*item.holder).*item.member = decoded;
    return status;
  } else {
    return decodeMember(value, located, out.*item.member, context);
  }
}

template <CodedRecord Record, std::size_t index>
constexpr FieldDecoding<Record> describeField() {
  using Item = std::tuple_element_t<index, std::remove_cvref_t<decltype(fieldsOf<Record>)>>;
  return {mayBeNull<Item>, isComposite<typename Item::MemberType>, &decodeField<Record, index>};
}

template <CodedRecord Record>
inline constexpr auto fieldDecodings = []<std::size_t... index>(std::index_sequence<index...>) {
  return std::array{describeField<Record, index>()...};
}(std::make_index_sequence<fieldCount<Record>>());

/// The fields of a record that were met, and what was wrong with the first of them in the order of the list.
template <CodedRecord Record>
class MetFields {
 public:
  bool isNew(std::size_t index) {
    const std::uint64_t field = std::uint64_t{1} << index;
    if ((met_ & field) != 0) return false;
    met_ |= field;
    return true;
  }
  void isNull(std::size_t index) { null_ |= std::uint64_t{1} << index; }
  void hasProblem(std::size_t index, Status problem) {
    if (index >= problemAt_) return;
    problemAt_ = index;
    problem_ = problem;
  }

  /// Keeps what was decoded, fills in the rest and checks the rules, in the order of the list.
  Status complete(Record& out, Context& context) {
    return [&]<std::size_t... position>(std::index_sequence<position...>) {
      Status status = nullptr;
      std::ignore = (... && !(status = completeItem<position>(out, context)));
      return status;
    }(std::make_index_sequence<std::tuple_size_v<List>>());
  }

 private:
  static_assert(fieldCount<Record> <= 64);

  using List = std::remove_cvref_t<decltype(RecordCoding<Record>::fields)>;

  template <std::size_t position>
  static constexpr std::size_t fieldsBefore = []<std::size_t... before>(std::index_sequence<before...>) {
    return (std::size_t{0} + ... + (isCodingRule<std::tuple_element_t<before, List>> ? 0 : 1));
  }(std::make_index_sequence<position>());

  template <std::size_t position>
  Status completeItem(Record& out, Context& context) const {
    constexpr auto& item = std::get<position>(RecordCoding<Record>::fields);
    if constexpr (isCodingRule<std::tuple_element_t<position, List>>) {
      if (item.holds(std::as_const(out))) return nullptr;
      return under(item.key, context.failed(DecodingFailure::Kind::dataCorrupted, std::string(item.message)));
    } else {
      return completeField<fieldsBefore<position>>(item, out, context);
    }
  }

  template <std::size_t index, class Item>
  Status completeField(const Item& item, Record& out, Context& context) const {
    if (index == problemAt_) return under(item.key, problem_);
    if (((met_ & ~null_) >> index & 1) != 0) {
      if constexpr (!RareField<Item>) keepText(out.*item.member, context);
    } else if constexpr (requires { item.defaultValue; }) {
      out.*item.member = item.defaultValue(std::as_const(out));
    } else if constexpr (!mayBeNull<Item>) {
      return under(item.key, context.failed(DecodingFailure::Kind::keyNotFound,
                                            "No value associated with key \"" + std::string(item.key) + "\"."));
    }
    return nullptr;
  }

  std::uint64_t met_ = 0;
  std::uint64_t null_ = 0;
  std::size_t problemAt_ = fieldCount<Record>;
  Status problem_ = nullptr;
};

template <CodedRecord Record>
Status decodeRecord(ondemand::object& object, Record& out, Context& context, KeyOrder<Record>& order) {
  MetFields<Record> fields;
  order.beginObject();
  for (auto member : object) {
    if (member.error()) return context.malformed();
    ondemand::field& next = inPlace(member);
    std::size_t index = order.indexAt(next.key().raw());
    if (index == order.kUnknown) {
      std::string_view key;  // unknown, or spelled with escapes
      if (next.unescaped_key().get(key)) return context.malformed();
      index = order.indexOf(key);
    }
    const Located located = locate(next.value());
    if (located.kind == ValueKind::absent) return context.malformed();
    if (index == order.kUnknown || !fields.isNew(index)) {
      if (Status status = skip(next.value(), located, context)) return status;
      continue;
    }
    const FieldDecoding<Record>& field = fieldDecodings<Record>[index];
    if (located.kind == ValueKind::null && field.mayBeNull && located.token == "null") {
      fields.isNull(index);
      continue;
    }
    Status problem = field.decode(next.value(), located, out, context);
    if (problem) [[unlikely]] {
      if (problem->malformed && field.isComposite) return problem;
      fields.hasProblem(index, problem);
    }
  }
  return fields.complete(out, context);
}

}  // namespace tovrin::json
