#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <type_traits>

/// How a record stands in JSON: its fields, listed once, in the order in which they are decoded and written, with the
/// rules between them. Decoding runs through the list and stops at the first field or rule that fails.
///
///     template <> struct RecordCoding<Part> {
///       static constexpr std::tuple fields{
///           field("key", &Part::key),
///           field("size", &Part::size),
///           rule("size", [](const Part& part) { return part.size >= 0; }, "Sizes cannot be negative."),
///       };
///     };
namespace tovrin {

/// Specialised for every record: `static constexpr std::tuple fields`.
template <class Record>
struct RecordCoding;

/// Specialised for every enumeration coded as a string: its `name` and, in the order of its values from 0, its `cases`.
template <class Enumeration>
struct JSONEnumeration;

template <class Enumeration>
constexpr std::string_view jsonCase(Enumeration value) {
  return JSONEnumeration<Enumeration>::cases[static_cast<std::size_t>(value)];
}

template <class Record, class Member>
struct CodedField {
  using MemberType = Member;
  std::string_view key;
  Member Record::* member;

  constexpr const Member& of(const Record& record) const { return record.*member; }
};

template <class Record, class Member, class Default>
struct CodedFieldWithDefault {
  using MemberType = Member;
  std::string_view key;
  Member Record::* member;
  Default defaultValue;

  constexpr const Member& of(const Record& record) const { return record.*member; }
};

template <class Record, class Holder, class Rare, class Member>
struct CodedRareField {
  using MemberType = Member;
  std::string_view key;
  Holder Record::* holder;
  Member Rare::* member;

  const Member& of(const Record& record) const { return (*(record.*holder)).*member; }
};

template <class Predicate>
struct CodingRule {
  std::string_view key;
  Predicate holds;
  std::string_view message;
};

/// A required key; an optional one when the member is a std::optional (null counts as absent).
template <class Record, class Member>
constexpr CodedField<Record, Member> field(std::string_view key, Member Record::* member) {
  return {key, member};
}

/// An optional key; when it is absent or null the member is what `defaultValue` makes of the fields before it.
template <class Record, class Member, class Default>
constexpr CodedFieldWithDefault<Record, Member, Default> defaulted(std::string_view key, Member Record::* member,
                                                                   Default defaultValue) {
  return {key, member, defaultValue};
}

/// An optional key whose member stands in a record that `holder` leads to, an ArenaRecord. Absent, null and empty are
/// the same.
template <class Record, class Holder, class Rare, class Member>
constexpr CodedRareField<Record, Holder, Rare, Member> rareField(std::string_view key, Holder Record::* holder,
                                                                 Member Rare::* member) {
  return {key, holder, member};
}

/// Must hold once the fields before it are decoded; else the record is corrupt at `key`, with the message.
template <class Predicate>
constexpr CodingRule<Predicate> rule(std::string_view key, Predicate holds, std::string_view message) {
  return {key, holds, message};
}

template <class Item>
inline constexpr bool isCodingRule = false;
template <class Predicate>
inline constexpr bool isCodingRule<CodingRule<Predicate>> = true;

/// The record's list without its rules.
template <class Record>
inline constexpr auto fieldsOf = std::apply(
    [](const auto&... items) {
      return std::tuple_cat([&] {
        if constexpr (isCodingRule<std::remove_cvref_t<decltype(items)>>) {
          return std::tuple();
        } else {
          return std::tuple(items);
        }
      }()...);
    },
    RecordCoding<Record>::fields);

/// Calls `visit(item)` for every field of the record's list.
template <class Record, class Visit>
constexpr void forEachField(Visit&& visit) {
  std::apply([&](const auto&... items) { (visit(items), ...); }, fieldsOf<Record>);
}

template <class T>
concept CodedRecord = requires { RecordCoding<T>::fields; };

}  // namespace tovrin
