#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Text as the platform compares it. All texts are valid UTF-8. Safe to use from any thread.
namespace tovrin {

/// A text such that two texts are canonically equivalent exactly when these are equal byte for byte, and `<` on it is
/// the platform's plain text order.
std::string canonicalForm(std::string_view text);
bool canonicallyEqual(std::string_view a, std::string_view b);
/// Prefix test by canonical equivalence and whole characters: "e\u0301" does not have the prefix "e".
bool hasCanonicalPrefix(std::string_view text, std::string_view prefix);

/// The texts' indexes in Finder's order: localized, numeric ("file2" before "file10"); of equal numbers the shorter run
/// first; last by code units. Equal texts stay in the order given.
std::vector<std::uint32_t> finderOrder(std::span<const std::string_view> texts);

}  // namespace tovrin
