#pragma once

#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/json/coding.h"
#include "foundation/packed_optional.h"
#include "foundation/text_arena.h"

/// What kinds of member a record can have.
namespace tovrin::json {

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;
template <class T>
inline constexpr bool isOptional<PackedOptional<T>> = true;
template <class T>
inline constexpr bool isOptional<ArenaOptional<T>> = true;

template <class T>
inline constexpr bool isList = false;
template <class T, class Allocator>
inline constexpr bool isList<std::vector<T, Allocator>> = true;
template <class T>
inline constexpr bool isArenaList = false;
template <class T>
inline constexpr bool isArenaList<ArenaList<T>> = true;

template <class T>
inline constexpr bool isMap = false;
template <class T>
inline constexpr bool isMap<std::map<std::string, T>> = true;

template <class T>
inline constexpr bool isComposite = isList<T> || isArenaList<T> || isMap<T> || CodedRecord<T>;
template <class T>
  requires isOptional<T>
inline constexpr bool isComposite<T> = isComposite<std::remove_cvref_t<decltype(*std::declval<T>())>>;

}  // namespace tovrin::json
